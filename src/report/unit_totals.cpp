#include "report/unit_totals.h"

#include <algorithm>
#include <cstdlib>

namespace kestrune::report {
namespace {

constexpr std::uint32_t recordsLately = 256;
constexpr std::size_t mostClockSteps = 1000;

/// Counts an interval of 2^-7 to 2^8 seconds.
template <typename Counts>
void CountInterval(std::int32_t log2, Counts& counts) {
  if (log2 >= -7 && log2 < static_cast<std::int32_t>(counts.size()) - 7)
    ++counts[static_cast<std::size_t>(log2 + std::int64_t{7})];
}

/// The commonest interval as a rate a second; 0 when it is longer, or nothing was counted.
template <typename Counts>
std::int32_t CommonRate(const Counts& counts) {
  const auto most = std::max_element(counts.begin(), counts.end());
  const auto log2 = static_cast<std::int32_t>(most - counts.begin()) - 7;
  return *most > 0 && log2 <= 0 ? 1 << -log2 : 0;
}

}  // namespace

void AddClockStep(std::vector<ClockStep>& steps, const ClockStep& step) {
  const auto isTold = [&](const ClockStep& told) {
    return std::llabs(told.at - step.at) <= 5 && std::llabs(told.by - step.by) <= 5;
  };
  if (steps.size() < mostClockSteps && std::ranges::none_of(steps, isTold)) steps.push_back(step);
}

void UnitTotals::Rate::Add(std::uint64_t value) {
  const auto rate = static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX));
  sum += static_cast<double>(rate);
  least = std::min(least, rate);
  greatest = std::max(greatest, rate);
}

UnitTotals::UnitTotals(Recording& recording) : recording_(recording), starts_(recording.eventLog.starts) {
  std::ranges::sort(starts_);
}

void UnitTotals::OnUnit(const RawDataUnit& unit, const CounterSteps& steps, std::uint64_t place) {
  const TelemetryRecord& record = unit.record;
  Sfp& sfp = sfps_[record.sfp];
  Lately& lately = sfp.lately;
  lately.byLock[record.state == followerLocked ? 1 : 0].Add(record.performanceMonitoring);
  lately.rates[0].Add(record.linkTransmitRate);
  lately.rates[1].Add(record.linkReceiveRate);
  if (++lately.records == recordsLately) MergeLately(record.sfp);
  sfp.messages.announcesForeign += steps.announcesForeign;
  sfp.messages.delayReqsSent += steps.delayReqsSent;
  sfp.messages.delayRespsReceived += steps.delayResps;
  CountInterval(record.logSyncInterval, syncIntervals_);
  CountInterval(record.logMinDelayReqInterval, respIntervals_);
  ++sfp.records;
  if (unit.epochTime != sfp.stamp) ++sfp.stamps;
  sfp.stamp = unit.epochTime;
  sfp.linkSpeed.Set(unit.epochTime, static_cast<std::int32_t>(record.linkSpeed));
  FollowRuns(unit, place);
}

void UnitTotals::MergeLately(std::size_t sfp) {
  SfpRecording& all = recording_.sfp[sfp];
  Lately& lately = sfps_[sfp].lately;
  for (const Quantity quantity : {toFollower, originJitter, offset, pathDelay, toMaster, reqToResp}) {
    const Stat locked = lately.byLock[1].Of(quantity);
    all.locked[quantity].Merge(locked);
    all.all[quantity].Merge(lately.byLock[0].Of(quantity));
    all.all[quantity].Merge(locked);
  }
  if (lately.records > 0) {
    const auto [transmit, receive] = lately.rates;
    all.transmitRate.Merge(Stat::Of(lately.records, transmit.sum, transmit.least, transmit.greatest, 0));
    all.receiveRate.Merge(Stat::Of(lately.records, receive.sum, receive.least, receive.greatest, 0));
  }
  lately = {};
}

/// A run begins with its first record behind its start document, and where the time stamps go back.
void UnitTotals::FollowRuns(const RawDataUnit& unit, std::uint64_t place) {
  const std::int64_t stamp = unit.epochTime;
  bool begins = recording_.runs.empty();
  while (nextStart_ < starts_.size() && starts_[nextStart_] <= stamp + startBeforeRecord) {
    begins |= lastStamp_ <= starts_[nextStart_];
    ++nextStart_;
  }
  if (lastStamp_ != INT64_MIN && stamp < lastStamp_ - 1)
    AddClockStep(recording_.clockSteps, {lastStamp_, stamp - lastStamp_ - 1, place});
  if (begins && recording_.runs.size() < Recording::listLimit)
    recording_.runs.push_back({stamp, stamp + 1, place, 0});
  RecorderRun& run = recording_.runs.back();
  ++run.records;
  run.to = std::max(run.to, stamp + 1);
  lastStamp_ = stamp;
}

std::int32_t UnitTotals::NumberOf(const Master& master) {
  const std::int32_t number = JoinMasters(masters_, master);
  if (number != 0 && masters_[static_cast<std::size_t>(number)] != master) ++recording_.mastersDropped;
  return number;
}

void UnitTotals::Finish() {
  std::uint64_t stamps = 0;
  std::uint64_t records = 0;
  for (std::size_t k = 0; k < sfpCount; ++k) {
    MergeLately(k);
    Sfp& sfp = sfps_[k];
    MessageCounts& messages = recording_.sfp[k].messages;
    messages.announcesForeign = sfp.messages.announcesForeign;
    messages.delayReqsSent = sfp.messages.delayReqsSent;
    messages.delayRespsReceived = sfp.messages.delayRespsReceived;
    recording_.sfp[k].linkSpeed = std::move(sfp.linkSpeed);
    stamps += sfp.stamps;
    records += sfp.records;
  }
  recording_.batched = stamps + records / 100 < records;
  recording_.syncRate = CommonRate(syncIntervals_);
  recording_.respRate = CommonRate(respIntervals_);
}

}  // namespace kestrune::report
