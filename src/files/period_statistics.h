#pragma once

#include <array>
#include <cstdint>

#include "sdk/seconds_nanoseconds.h"
#include "sdk/telemetry_record.h"

namespace kestrune {

/// One quantity's figures, in nanoseconds: of a record, or of all records of a period.
struct QuantitySums {
  double sum = 0;
  double minimum = 0;
  double maximum = 0;
  double summedSquaredDeviation = 0;
};

/// One quantity over a period.
struct QuantityResults {
  SecondsNanoseconds minimum;
  SecondsNanoseconds maximum;
  SecondsNanoseconds average;
  SecondsNanoseconds standardDeviation;

  bool operator==(const QuantityResults&) const = default;
};

inline constexpr std::size_t quantitiesPerGroup = 3;

/// The quantities that one message count weighs. Group by group, they stand in the order of
/// PerformanceMonitoring: masterToFollowerDelay, originTimestampJitter, offsetFromMaster for the sync group;
/// meanPathDelay, followerToMasterDelay, delayReqToDelayRespDelay for the delay-response group.
struct GroupSample {
  std::int32_t count = 0;
  std::array<QuantitySums, quantitiesPerGroup> quantities;
};

/// One record's performance-monitoring section, ready for accumulation.
struct PerformanceSample {
  GroupSample syncGroup;
  GroupSample delayRespGroup;
};

struct GroupAccumulator : GroupSample {
  bool started = false;  ///< has a record with a positive count been added?
};

/// What has been added since the last reset; all zero after it.
struct PeriodAccumulator {
  GroupAccumulator syncGroup;
  GroupAccumulator delayRespGroup;
};

struct GroupResults {
  std::int32_t count = 0;
  std::array<QuantityResults, quantitiesPerGroup> quantities;

  bool operator==(const GroupResults&) const = default;
};

/// One SFP over one period.
struct PeriodResults {
  GroupResults syncGroup;
  GroupResults delayRespGroup;

  bool operator==(const PeriodResults&) const = default;
};

PerformanceSample MakePerformanceSample(const PerformanceMonitoring& performanceMonitoring);

/// Adds a sample, group by group; a group whose count isn't positive adds nothing. The first sample sets the
/// extremes.
void AccumulatePerformanceSample(const PerformanceSample& sample, PeriodAccumulator& accumulator);

/// The period's results; the accumulator is all zero afterwards.
PeriodResults ComputePeriodResults(PeriodAccumulator& accumulator);

/// average = sum / count, standard deviation = sqrt(summed squared deviation / count), both 0 for a count of
/// 0. The records' own deviations are pooled; how far apart the records' averages lie is not in it.
QuantityResults ComputeQuantityResults(const QuantitySums& sums, std::int32_t count);

/// Splits a time in nanoseconds; fractions of a nanosecond are cut off.
SecondsNanoseconds SplitNanoseconds(double nanoseconds);

}  // namespace kestrune
