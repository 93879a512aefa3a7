#include "report/fleet_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <span>

#include "report/fleet.h"
#include "report/page/page_assets.h"
#include "report/page_fields.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::size_t longestList = 200;
constexpr std::size_t mostBarsOfAMachine = 500;
constexpr std::size_t mostNamesInARow = 12;
constexpr std::size_t masterColours = 6;
constexpr int tickCount = 6;

struct VerdictLook {
  std::string_view key;   ///< in JSON
  std::string_view text;  ///< on the page
  std::string_view mark;
  int exitStatus;
};

/// The worst first; the last stands for what couldn't be read.
constexpr std::array<VerdictLook, 5> looks = {{{"fail", "FAIL", "\u2715", 2},
                                               {"warn", "WARN", "!", 1},
                                               {"none", "NO VERDICT", "?", 3},
                                               {"pass", "PASS", "\u2713", 0},
                                               {"", "NOT READ", "?", 4}}};

const VerdictLook& LookOf(const Machine& machine) {
  const auto look = std::ranges::find(looks, machine.verdict, &VerdictLook::key);
  return machine.error.empty() && look != looks.end() ? *look : looks.back();
}

std::string ClassOf(const VerdictLook& look) { return std::string(look.key.empty() ? "none" : look.key); }

const VerdictLook& WorstLook(const std::vector<Machine>& machines) {
  const VerdictLook* worst = &looks.back();
  for (const Machine& machine : machines) {
    if (machine.error.empty()) worst = std::min(worst, &LookOf(machine));
  }
  return *worst;
}

/// "1 fail, 2 pass".
std::string CountsText(const std::vector<Machine>& machines) {
  std::string text;
  for (const VerdictLook& look : looks) {
    const auto count = std::ranges::count_if(machines, [&](const auto& m) { return &LookOf(m) == &look; });
    if (count == 0) continue;
    std::string word(look.text);
    std::ranges::transform(word, word.begin(),
                           [](char c) { return c >= 'A' ? static_cast<char>(c | 32) : c; });
    text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + word;
  }
  return text;
}

std::string MachinesText(std::size_t count) {
  return CountText(static_cast<std::int64_t>(count), "machine", "machines");
}

std::string MoreText(std::size_t all, const char* what) {
  if (all <= longestList) return "";
  return "The first " + std::to_string(longestList) + " of " + std::to_string(all) + ' ' + what + '.';
}

/// The time that all machines' recordings span.
struct Axis {
  std::int64_t from = 0;
  std::int64_t to = 0;

  explicit Axis(const std::vector<Machine>& machines) {
    for (const Machine& machine : machines) {
      if (machine.end <= machine.first) continue;
      from = to == from ? machine.first : std::min(from, machine.first);
      to = std::max(to, machine.end);
    }
  }
  bool Empty() const { return to <= from; }
  std::string Percent(std::int64_t seconds) const {
    char text[32];
    std::snprintf(text, sizeof text, "%.6f",
                  100.0 * static_cast<double>(seconds) / static_cast<double>(to - from));
    return text;
  }
  /// Where [begin, end) lies.
  std::string Left(std::int64_t begin) const { return Percent(std::clamp(begin, from, to) - from); }
  std::string Width(std::int64_t begin, std::int64_t end) const {
    return Percent(std::max<std::int64_t>(0, std::clamp(end, from, to) - std::clamp(begin, from, to)));
  }
};

/// Which colour a grandmaster has: those that were followed longest differ.
class MasterLooks {
 public:
  explicit MasterLooks(const std::vector<Machine>& machines) {
    std::map<std::string, std::int64_t> seconds;
    for (const Machine& machine : machines) {
      for (const MachineMaster& master : machine.masters)
        seconds[master.grandmaster] += master.to - master.from;
    }
    for (const auto& [grandmaster, followed] : seconds) order_.push_back(grandmaster);
    std::ranges::stable_sort(order_, std::ranges::greater{}, [&](const auto& name) { return seconds[name]; });
  }
  std::string ClassOf(const std::string& grandmaster) const {
    const auto place = std::ranges::find(order_, grandmaster) - order_.begin();
    return "g" + std::to_string(std::min<std::size_t>(static_cast<std::size_t>(place), masterColours - 1));
  }
  std::span<const std::string> Shown() const {
    return std::span(order_).first(std::min(order_.size(), masterColours));
  }

 private:
  std::vector<std::string> order_;  ///< the longest followed first
};

/// All that the parts of the page look at.
struct Fleet {
  explicit Fleet(const std::vector<Machine>& all)
      : machines(all),
        axis(all),
        masterLooks(all),
        disagreements(FindDisagreements(all)),
        moments(FindCommonMoments(all)) {}

  const std::vector<Machine>& machines;
  Axis axis;
  MasterLooks masterLooks;
  std::vector<Disagreement> disagreements;
  std::vector<CommonMoment> moments;
};

std::string RangeText(std::int64_t from, std::int64_t to) {
  return to <= from ? "no telemetry" : TimeText(from) + " \u2013 " + TimeText(to);
}

std::string RowId(std::size_t machine) { return "m" + std::to_string(machine + 1); }

std::string WorstText(const Machine& machine) {
  if (machine.worst.empty()) return "";
  const MachineEpisode& worst = machine.episodes[machine.worst.front()];
  return TimeText(worst.from) + ": " + worst.title;
}

/// Names of machines; of many, the first ones.
template <typename Indices>
std::string NamesText(const std::vector<Machine>& machines, const Indices& indices) {
  std::string text;
  std::size_t shown = 0;
  for (const std::size_t index : indices) {
    if (shown++ == mostNamesInARow) {
      return text + " and " + std::to_string(indices.size() - mostNamesInARow) + " more";
    }
    text += (text.empty() ? "" : ", ") + machines[index].name;
  }
  return text;
}

PageField MachineRows(const Fleet& fleet) {
  PageField list = PageList();
  for (std::size_t i = 0; i < fleet.machines.size(); ++i) {
    const Machine& machine = fleet.machines[i];
    const VerdictLook& look = LookOf(machine);
    const bool hasMaster = !machine.masters.empty();
    PageField row = PageFields(
        {{"id", RowId(i)},
         {"class", ClassOf(look)},
         {"name", machine.name},
         {"file", machine.file},
         {"verdict", std::string(look.text)},
         {"mark", std::string(look.mark)},
         {"error", machine.error},
         {"worst", WorstText(machine)},
         {"redundancyClass", std::string(SeverityText(machine.redundancy.severity))},
         {"redundancy", machine.redundancy.value},
         {"grandmaster", hasMaster ? machine.masters.back().grandmaster : ""},
         {"grandmasterClass", hasMaster ? fleet.masterLooks.ClassOf(machine.masters.back().grandmaster) : ""},
         {"domain", hasMaster ? std::to_string(machine.masters.back().domain) : ""},
         {"recorded", machine.error.empty() ? RangeText(machine.first, machine.end) : ""}});
    PageField notPassed = PageList();
    for (const MachineCheck& check : machine.notPassed) {
      notPassed << PageFields(
          {{"class", std::string(SeverityText(check.severity))}, {"text", check.name + ": " + check.value}});
    }
    row.set("notPassed", notPassed);
    list << row;
  }
  return list;
}

std::string AgreementText(const Fleet& fleet) {
  std::map<std::int64_t, std::size_t> domains;
  for (const Machine& machine : fleet.machines) {
    if (!machine.masters.empty()) ++domains[machine.masters.back().domain];
  }
  if (domains.empty()) return "No machine followed a grandmaster.";
  const auto read = std::ranges::count_if(fleet.machines, [](const auto& m) { return m.error.empty(); });
  std::string text = MachinesText(static_cast<std::size_t>(read)) + ", " +
                     CountText(static_cast<std::int64_t>(domains.size()), "domain", "domains") + ": ";
  if (fleet.disagreements.empty()) {
    return text + "within a domain, all followed the same grandmaster, changes of up to " +
           std::to_string(shortestDisagreement) + " s apart.";
  }
  std::int64_t seconds = 0;
  for (const Disagreement& disagreement : fleet.disagreements) seconds += disagreement.to - disagreement.from;
  return text + CountText(static_cast<std::int64_t>(fleet.disagreements.size()), "stretch", "stretches") +
         " of time in which machines of one domain followed different grandmasters, " +
         DurationText(seconds) + " in all.";
}

PageField DisagreementRows(const Fleet& fleet) {
  PageField list = PageList();
  for (std::size_t i = 0; i < std::min(fleet.disagreements.size(), longestList); ++i) {
    const Disagreement& disagreement = fleet.disagreements[i];
    PageField row = PageFields({{"from", TimeText(disagreement.from)},
                                {"lasted", DurationText(disagreement.to - disagreement.from)},
                                {"domain", std::to_string(disagreement.domain)}});
    PageField sides = PageList();
    for (const Disagreement::Side& side : disagreement.sides) {
      sides << PageFields({{"class", fleet.masterLooks.ClassOf(side.grandmaster)},
                           {"grandmaster", side.grandmaster},
                           {"machines", MachinesText(side.machines.size()) + ": " +
                                            NamesText(fleet.machines, side.machines)}});
    }
    row.set("sides", sides);
    list << row;
  }
  return list;
}

PageField MasterBars(const Fleet& fleet, const Machine& machine) {
  PageField list = PageList();
  for (const MachineMaster& master : machine.masters) {
    list << PageFields({{"class", fleet.masterLooks.ClassOf(master.grandmaster)},
                        {"left", fleet.axis.Left(master.from)},
                        {"width", fleet.axis.Width(master.from, master.to)},
                        {"title", master.grandmaster + ", " + RangeText(master.from, master.to)}});
  }
  return list;
}

/// The bars that are drawn: of too many episodes the worst, in the order of time.
std::vector<const MachineEpisode*> ShownEpisodes(const Machine& machine) {
  std::vector<const MachineEpisode*> shown;
  for (const MachineEpisode& episode : machine.episodes) shown.push_back(&episode);
  std::ranges::stable_sort(shown, std::ranges::greater{}, &MachineEpisode::severity);
  shown.resize(std::min(shown.size(), mostBarsOfAMachine));
  std::ranges::stable_sort(shown, {}, &MachineEpisode::from);
  return shown;
}

PageField EpisodeBars(const Fleet& fleet, const Machine& machine) {
  PageField list = PageList();
  for (const MachineEpisode* episode : ShownEpisodes(machine)) {
    list << PageFields({{"class", std::string(SeverityText(episode->severity))},
                        {"left", fleet.axis.Left(episode->from)},
                        {"width", fleet.axis.Width(episode->from, episode->to)},
                        {"title", TimeText(episode->from) + ", " + DurationText(episode->to - episode->from) +
                                      ": " + episode->title}});
  }
  return list;
}

PageField AxisRows(const Fleet& fleet) {
  PageField list = PageList();
  for (std::size_t i = 0; i < fleet.machines.size(); ++i) {
    const Machine& machine = fleet.machines[i];
    PageField row = PageFields({{"id", RowId(i)},
                                {"name", machine.name},
                                {"summary", machine.name + ": " +
                                                CountText(static_cast<std::int64_t>(machine.episodes.size()),
                                                          "incident", "incidents")}});
    const bool drawn = !fleet.axis.Empty();
    row.set("masters", drawn ? MasterBars(fleet, machine) : PageList());
    row.set("episodes", drawn ? EpisodeBars(fleet, machine) : PageList());
    list << row;
  }
  return list;
}

PageField Ticks(const Axis& axis) {
  PageField list = PageList();
  for (int i = 0; i < tickCount && !axis.Empty(); ++i) {
    const std::int64_t time = axis.from + (axis.to - axis.from) * i / tickCount;
    list << PageFields({{"left", axis.Left(time)}, {"text", TimeText(time)}});
  }
  return list;
}

/// What happened at a moment: each different title with how many machines tell it, the most frequent first.
std::string WhatText(const std::vector<Machine>& machines, const CommonMoment& moment) {
  std::map<std::string, std::int64_t> titles;
  for (const CommonMoment::Part& part : moment.parts)
    ++titles[machines[part.machine].episodes[part.episode].title];
  std::vector<std::pair<std::string, std::int64_t>> order(titles.begin(), titles.end());
  std::ranges::stable_sort(order, std::ranges::greater{}, &std::pair<std::string, std::int64_t>::second);
  std::string text;
  for (const auto& [title, count] : std::span(order).first(std::min<std::size_t>(order.size(), 3))) {
    text += (text.empty() ? "" : "; ") + title;
    if (count > 1) text += " (" + std::to_string(count) + "\u00d7)";
  }
  return order.size() > 3 ? text + "; and " + std::to_string(order.size() - 3) + " more" : text;
}

std::vector<std::size_t> MachinesOf(const CommonMoment& moment) {
  std::vector<std::size_t> machines;
  for (const CommonMoment::Part& part : moment.parts) machines.push_back(part.machine);
  std::ranges::sort(machines);
  machines.erase(std::unique(machines.begin(), machines.end()), machines.end());
  return machines;
}

PageField MomentRows(const Fleet& fleet) {
  PageField list = PageList();
  for (std::size_t i = 0; i < std::min(fleet.moments.size(), longestList); ++i) {
    const CommonMoment& moment = fleet.moments[i];
    list << PageFields(
        {{"class", std::string(SeverityText(moment.SeverityIn(fleet.machines)))},
         {"t", std::to_string(moment.from)},
         {"time", TimeText(moment.from)},
         {"machines", std::to_string(moment.machines) + " of " + std::to_string(fleet.machines.size())},
         {"what", WhatText(fleet.machines, moment)},
         {"where", NamesText(fleet.machines, MachinesOf(moment))}});
  }
  return list;
}

PageField MomentColumns(const Fleet& fleet) {
  PageField list = PageList();
  for (const CommonMoment& moment : fleet.moments) {
    if (fleet.axis.Empty()) break;
    list << PageFields({{"class", std::string(SeverityText(moment.SeverityIn(fleet.machines)))},
                        {"left", fleet.axis.Left(moment.from)},
                        {"width", fleet.axis.Width(moment.from, moment.to)},
                        {"title", TimeText(moment.from) + ": " + MachinesText(moment.machines)}});
  }
  return list;
}

PageField MasterLegend(const MasterLooks& masterLooks) {
  PageField list = PageList();
  for (const std::string& grandmaster : masterLooks.Shown())
    list << PageFields({{"class", masterLooks.ClassOf(grandmaster)}, {"grandmaster", grandmaster}});
  return list;
}

std::string LeftOutText(const std::vector<Machine>& machines) {
  std::size_t leftOut = 0;
  for (const Machine& machine : machines)
    leftOut += machine.episodes.size() - std::min(machine.episodes.size(), mostBarsOfAMachine);
  return leftOut == 0 ? "" : std::to_string(leftOut) + " of the mildest incidents are not drawn.";
}

}  // namespace

std::string RenderFleetPage(const std::vector<Machine>& machines, const std::string& name,
                            const std::string& version, std::int64_t generated) {
  const Fleet fleet(machines);
  const VerdictLook& worst = WorstLook(machines);
  PageField model =
      PageFields({{"name", name},
                  {"verdict", std::string(worst.text)},
                  {"verdictClass", ClassOf(worst)},
                  {"verdictMark", std::string(worst.mark)},
                  {"range", RangeText(fleet.axis.from, fleet.axis.to) + (fleet.axis.Empty() ? "" : " UTC")},
                  {"counts", MachinesText(machines.size()) + ": " + CountsText(machines)},
                  {"count", MachinesText(machines.size())},
                  {"agreement", AgreementText(fleet)},
                  {"disagreementsMore", MoreText(fleet.disagreements.size(), "such times")},
                  {"momentsMore", MoreText(fleet.moments.size(), "moments")},
                  {"episodesMore", LeftOutText(machines)},
                  {"together", std::to_string(togetherWithin)},
                  {"axisFrom", std::to_string(fleet.axis.from)},
                  {"axisTo", std::to_string(fleet.axis.to)},
                  {"generated", TimeText(generated) + " UTC"},
                  {"version", version}});
  model.set("css", std::string(fleetStyle));
  model.set("script", std::string(fleetScript));
  model.set("scriptHash", std::string(fleetScriptHash));
  model.set("machines", MachineRows(fleet));
  model.set("disagreements", DisagreementRows(fleet));
  model.set("rows", AxisRows(fleet));
  model.set("columns", MomentColumns(fleet));
  model.set("ticks", Ticks(fleet.axis));
  model.set("grandmasters", MasterLegend(fleet.masterLooks));
  model.set("moments", MomentRows(fleet));
  kainjow::mustache::mustache page{std::string(fleetTemplate)};
  return page.render(model);
}

std::string FleetSummary(const std::vector<Machine>& machines) {
  const Fleet fleet(machines);
  std::string text = std::string(WorstLook(machines).text) + "  " + MachinesText(machines.size()) + ": " +
                     CountsText(machines) + '\n' + AgreementText(fleet) + '\n';
  if (!fleet.moments.empty()) {
    text += CountText(static_cast<std::int64_t>(fleet.moments.size()), "moment is", "moments are") +
            " shared by several machines\n";
  }
  return AsciiText(text);
}

void PutWorstFirst(std::vector<Machine>& machines) {
  std::ranges::stable_sort(machines, {}, [](const Machine& machine) { return &LookOf(machine); });
}

int FleetExitStatus(const std::vector<Machine>& machines) {
  const bool allRead = std::ranges::all_of(machines, [](const auto& m) { return LookOf(m).key != ""; });
  return allRead ? WorstLook(machines).exitStatus : looks.back().exitStatus;
}

}  // namespace kestrune::report
