#pragma once

#include <cstdint>

#include "sdk/telemetry_record.h"

namespace kestrune::ptp {

/// A time as the card's records carry it; beyond what 32-bit seconds hold, the nearest that they do hold.
SecondsNanoseconds NearestPair(std::int64_t nanoseconds);

/// The samples of one timing quantity in one telemetry interval.
class IntervalStatistics {
 public:
  /// `nanoseconds` within ±1e16, which is four months; of such values 900, of those within a day 100,000.
  void Add(std::int64_t nanoseconds);

  std::int32_t Count() const { return count_; }

  /// In nanoseconds; 0 without samples.
  double Mean() const;

  /// All zero without samples. The summed squared deviation from the mean is in square nanoseconds, split as
  /// a time is.
  QuantityFigures Figures() const;

 private:
  /// Holds the square of a sample.
  __extension__ using Wide = __int128;

  std::int64_t SummedSquaredDeviation() const;

  std::int32_t count_ = 0;
  std::int64_t sum_ = 0;
  std::int64_t minimum_ = 0;
  std::int64_t maximum_ = 0;
  Wide squares_ = 0;
};

}  // namespace kestrune::ptp
