#include "report/fleet.h"

#include <algorithm>
#include <map>
#include <set>
#include <span>

namespace kestrune::report {
namespace {

/// A machine takes a master up, or leaves it.
struct Turn {
  std::int64_t time = 0;
  bool begins = false;
  std::size_t machine = 0;
  std::string grandmaster;
};

/// By domain, in the order of time; at one moment the ends come first.
std::map<std::int64_t, std::vector<Turn>> TurnsByDomain(const std::vector<Machine>& machines) {
  std::map<std::int64_t, std::vector<Turn>> domains;
  for (std::size_t i = 0; i < machines.size(); ++i) {
    for (const MachineMaster& master : machines[i].masters) {
      std::vector<Turn>& turns = domains[master.domain];
      turns.push_back({master.from, true, i, master.grandmaster});
      turns.push_back({master.to, false, i, master.grandmaster});
    }
  }
  for (auto& [domain, turns] : domains) {
    std::ranges::stable_sort(turns, [](const Turn& left, const Turn& right) {
      return std::pair(left.time, left.begins) < std::pair(right.time, right.begins);
    });
  }
  return domains;
}

/// The disagreements of one domain.
class DomainWatch {
 public:
  DomainWatch(std::int64_t domain, std::vector<Disagreement>& found) : domain_(domain), found_(found) {}

  /// All turns of one moment.
  void At(std::int64_t time, std::span<const Turn> turns) {
    for (const Turn& turn : turns) {
      if (turn.begins) {
        following_[turn.grandmaster].insert(turn.machine);
      } else if (following_[turn.grandmaster].erase(turn.machine) != 0 &&
                 following_[turn.grandmaster].empty()) {
        following_.erase(turn.grandmaster);
      }
    }
    if (following_.size() < 2) return End(time);
    if (begin_ < 0) begin_ = time;
    for (const auto& [grandmaster, machines] : following_)
      sides_[grandmaster].insert(machines.begin(), machines.end());
  }

 private:
  void End(std::int64_t time) {
    if (begin_ >= 0 && time - begin_ > shortestDisagreement) {
      Disagreement disagreement{begin_, time, domain_, {}};
      for (const auto& [grandmaster, machines] : sides_)
        disagreement.sides.push_back({grandmaster, {machines.begin(), machines.end()}});
      std::ranges::stable_sort(disagreement.sides, std::ranges::greater{},
                               [](const Disagreement::Side& side) { return side.machines.size(); });
      found_.push_back(std::move(disagreement));
    }
    begin_ = -1;
    sides_.clear();
  }

  std::int64_t domain_;
  std::vector<Disagreement>& found_;
  std::map<std::string, std::set<std::size_t>> following_;
  std::map<std::string, std::set<std::size_t>> sides_;  ///< of the disagreement under way
  std::int64_t begin_ = -1;                             ///< -1: they agree
};

}  // namespace

std::vector<Disagreement> FindDisagreements(const std::vector<Machine>& machines) {
  std::vector<Disagreement> found;
  for (const auto& [domain, turns] : TurnsByDomain(machines)) {
    DomainWatch watch(domain, found);
    for (std::size_t i = 0; i < turns.size();) {
      std::size_t next = i;
      while (next < turns.size() && turns[next].time == turns[i].time) ++next;
      watch.At(turns[i].time, std::span(turns).subspan(i, next - i));
      i = next;
    }
  }
  std::ranges::stable_sort(found, {}, &Disagreement::from);
  return found;
}

Severity CommonMoment::SeverityIn(const std::vector<Machine>& all) const {
  Severity worst = Severity::Info;
  for (const Part& part : parts) worst = std::max(worst, all[part.machine].episodes[part.episode].severity);
  return worst;
}

std::vector<CommonMoment> FindCommonMoments(const std::vector<Machine>& machines) {
  std::vector<CommonMoment::Part> begins;
  for (std::size_t i = 0; i < machines.size(); ++i) {
    for (std::size_t j = 0; j < machines[i].episodes.size(); ++j) {
      if (machines[i].episodes[j].cause != "start") begins.push_back({i, j});
    }
  }
  const auto beginOf = [&](const CommonMoment::Part& part) {
    return machines[part.machine].episodes[part.episode].from;
  };
  std::ranges::stable_sort(begins, {}, beginOf);

  std::vector<CommonMoment> moments;
  for (std::size_t i = 0; i < begins.size();) {
    CommonMoment moment{beginOf(begins[i]), beginOf(begins[i]), {}, 0};
    std::set<std::size_t> different;
    for (; i < begins.size() && beginOf(begins[i]) - moment.to <= togetherWithin; ++i) {
      moment.to = beginOf(begins[i]);
      moment.parts.push_back(begins[i]);
      different.insert(begins[i].machine);
    }
    moment.machines = different.size();
    if (moment.machines > 1) moments.push_back(std::move(moment));
  }
  return moments;
}

}  // namespace kestrune::report
