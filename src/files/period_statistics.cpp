#include "files/period_statistics.h"

#include <cmath>

namespace kestrune {
namespace {

double Nanoseconds(const SecondsNanoseconds& time) { return time.seconds * 1e9 + time.nanoseconds; }

QuantitySums MakeSums(const QuantityFigures& figures) {
  return {Nanoseconds(figures.sum), Nanoseconds(figures.minimum), Nanoseconds(figures.maximum),
          Nanoseconds(figures.summedSquaredDeviation)};
}

/// 32-bit addition that wraps: a day's count is not guarded against overflow.
std::int32_t Add(std::int32_t left, std::int32_t right) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(left) + static_cast<std::uint32_t>(right));
}

void Accumulate(const GroupSample& sample, GroupAccumulator& group) {
  if (sample.count <= 0) return;
  group.count = Add(group.count, sample.count);
  for (std::size_t i = 0; i < quantitiesPerGroup; ++i) {
    const QuantitySums& added = sample.quantities[i];
    QuantitySums& held = group.quantities[i];
    held.sum += added.sum;
    held.summedSquaredDeviation += added.summedSquaredDeviation;
    if (!group.started || held.minimum > added.minimum) held.minimum = added.minimum;
    if (!group.started || added.maximum > held.maximum) held.maximum = added.maximum;
  }
  group.started = true;
}

GroupResults Compute(const GroupAccumulator& group) {
  GroupResults results{group.count, {}};
  for (std::size_t i = 0; i < quantitiesPerGroup; ++i) {
    results.quantities[i] = ComputeQuantityResults(group.quantities[i], group.count);
  }
  return results;
}

}  // namespace

PerformanceSample MakePerformanceSample(const PerformanceMonitoring& pm) {
  return {{pm.numberOfSyncSinceLastTelemetry,
           {MakeSums(pm.masterToFollowerDelay), MakeSums(pm.originTimestampJitter),
            MakeSums(pm.offsetFromMaster)}},
          {pm.numberOfDelayRespSinceLastTelemetry,
           {MakeSums(pm.meanPathDelay), MakeSums(pm.followerToMasterDelay),
            MakeSums(pm.delayReqToDelayRespDelay)}}};
}

void AccumulatePerformanceSample(const PerformanceSample& sample, PeriodAccumulator& accumulator) {
  Accumulate(sample.syncGroup, accumulator.syncGroup);
  Accumulate(sample.delayRespGroup, accumulator.delayRespGroup);
}

PeriodResults ComputePeriodResults(PeriodAccumulator& accumulator) {
  const PeriodResults results{Compute(accumulator.syncGroup), Compute(accumulator.delayRespGroup)};
  accumulator = {};
  return results;
}

QuantityResults ComputeQuantityResults(const QuantitySums& sums, std::int32_t count) {
  QuantityResults results{SplitNanoseconds(sums.minimum), SplitNanoseconds(sums.maximum), {}, {}};
  if (count != 0) {
    results.average = SplitNanoseconds(sums.sum / count);
    results.standardDeviation = SplitNanoseconds(std::sqrt(sums.summedSquaredDeviation / count));
  }
  return results;
}

SecondsNanoseconds SplitNanoseconds(double nanoseconds) {
  // What no 64-bit integer holds, such as the root of a negative deviation, becomes the smallest, as on x86.
  constexpr double limit = 0x1p63;
  const bool fits = nanoseconds >= -limit && nanoseconds < limit;
  return SplitNanoseconds(fits ? static_cast<std::int64_t>(nanoseconds) : INT64_MIN);
}

}  // namespace kestrune
