#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "sdk/telemetry_record.h"

namespace kestrune::simulated {

/// A time as the card's records carry it: value = seconds × 1e9 + nanoseconds, both parts with the value's
/// sign.
struct SecondsNanoseconds {
  std::int32_t seconds;
  std::int32_t nanoseconds;
};

/// Splits `nanoseconds`; beyond what 32-bit seconds hold, the nearest value that they do hold.
SecondsNanoseconds SplitNanoseconds(std::int64_t nanoseconds);

/// The samples of one timing quantity in one telemetry interval.
class SampleStatistics {
 public:
  /// Samples that an interval can hold: one per Sync or Delay_Req.
  static constexpr std::size_t capacity = 8;

  /// `nanoseconds` within ±100 s; at most `capacity` samples between two calls of Clear.
  void Add(std::int64_t nanoseconds) { samples_[count_++] = nanoseconds; }
  void Clear() { count_ = 0; }

  std::size_t Count() const { return count_; }

  /// In nanoseconds; 0 without samples.
  double Mean() const;

  /// All zero without samples. The summed squared deviation from the mean is in square nanoseconds, split as
  /// a time is.
  QuantityFigures Figures() const;

 private:
  std::array<std::int64_t, capacity> samples_{};
  std::size_t count_ = 0;
};

}  // namespace kestrune::simulated
