#include "report/unit_totals.h"

#include <algorithm>
#include <cstdlib>

#include "report/unit_sums.h"

namespace kestrune::report {
namespace {

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

UnitTotals::UnitTotals(Recording& recording) : recording_(recording), starts_(recording.eventLog.starts) {
  std::ranges::sort(starts_);
}

void UnitTotals::OnUnit(const RawDataUnit& unit, const CounterSteps& steps, std::uint64_t place) {
  const TelemetryRecord& record = unit.record;
  Sfp& sfp = sfps_[record.sfp];
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

void UnitTotals::OnUnits(int sfp, const UnitSums& sums) {
  SfpRecording& all = recording_.sfp[static_cast<std::size_t>(sfp)];
  const auto& [unlocked, locked] = sums.figures;
  for (const Quantity quantity : {toFollower, originJitter, offset, pathDelay, toMaster, reqToResp}) {
    const Stat inLock = locked.Of(quantity);
    all.locked[quantity].Merge(inLock);
    all.all[quantity].Merge(unlocked.Of(quantity));
    all.all[quantity].Merge(inLock);
  }
  all.transmitRate.Merge(sums.transmitRate.Of(sums.records));
  all.receiveRate.Merge(sums.receiveRate.Of(sums.records));
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
  const std::int32_t number = JoinMasters(masters_, finder_, master);
  if (number != 0 && masters_[static_cast<std::size_t>(number)] != master) ++recording_.mastersDropped;
  return number;
}

void UnitTotals::Finish() {
  std::uint64_t stamps = 0;
  std::uint64_t records = 0;
  for (std::size_t k = 0; k < sfpCount; ++k) {
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
