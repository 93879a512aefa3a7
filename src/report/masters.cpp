#include "report/masters.h"

#include <functional>
#include <string_view>
#include <tuple>
#include <utility>

namespace kestrune::report {
namespace {

auto WhatIsJudged(const Master& master) {
  return std::tie(master.grandmaster, master.clockClass, master.utcOffset, master.leap59, master.leap61,
                  master.domain, master.logAnnounceInterval, master.logSyncInterval,
                  master.logDelayReqInterval);
}

std::size_t HashOf(const Master& master) {
  constexpr std::size_t bytes = offsetof(Master, logDelayReqInterval) + sizeof master.logDelayReqInterval;
  static_assert(bytes == 2 * sizeof(std::uint64_t) + 25 * sizeof(std::uint32_t), "no gap between members");
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(&master), bytes});
}

std::size_t HashOfJudged(const Master& master) {
  std::uint64_t hash = 0;
  std::apply(
      [&](auto... value) { ((hash = (hash ^ static_cast<std::uint64_t>(value)) * 0x9e3779b97f4a7c15), ...); },
      WhatIsJudged(master));
  return hash >> 32;
}

}  // namespace

void MasterFinder::Chains::Add(std::size_t hash) {
  std::int32_t& newest = newest_[hash % newest_.size()];
  before_.push_back(std::exchange(newest, static_cast<std::int32_t>(before_.size())));
}

template <typename Is>
std::int32_t MasterFinder::Chains::First(std::size_t hash, Is is) const {
  std::int32_t number = newest_[hash % newest_.size()];
  while (number >= 0 && !is(static_cast<std::size_t>(number)))
    number = before_[static_cast<std::size_t>(number)];
  return number;
}

std::int32_t MasterFinder::Find(const Master& master) {
  constexpr std::size_t enough = 4096;
  if (master.grandmaster == 0) return 0;
  const std::vector<Master>& masters = *masters_;
  for (; seen_ < masters.size(); ++seen_) {
    all_.Add(HashOf(masters[seen_]));
    judged_.Add(HashOfJudged(masters[seen_]));
  }
  const std::int32_t known = all_.First(HashOf(master), [&](std::size_t i) { return masters[i] == master; });
  if (known >= 0 || masters.size() < enough) return known;
  return judged_.First(HashOfJudged(master), [&, judged = WhatIsJudged(master)](std::size_t i) {
    return WhatIsJudged(masters[i]) == judged;
  });
}

std::int32_t JoinMasters(std::vector<Master>& masters, MasterFinder& finder, const Master& master) {
  if (const std::int32_t known = finder.Find(master); known >= 0) return known;
  if (masters.size() < mostMasters) masters.push_back(master);
  return static_cast<std::int32_t>(masters.size()) - 1;
}

}  // namespace kestrune::report
