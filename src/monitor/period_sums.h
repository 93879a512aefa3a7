#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "files/period_statistics.h"

namespace kestrune {

/// The sums of the period under way, which one thread adds to and another takes when the period ends. Neither
/// takes a mutex, so neither waits for what the other does outside these two functions; every sample is in
/// exactly one period, whole.
class PeriodSums {
 public:
  /// Adds a sample. By one thread at a time.
  void Add(const PerformanceSample& sample);

  /// What has been added since the last time. By one thread at a time, which waits out an Add that is under
  /// way, some dozens of floating-point operations.
  PeriodAccumulator Take();

 private:
  static constexpr std::uint32_t indexBit = 1;
  static constexpr std::uint32_t step = 2;  ///< Add begins and ends with one: odd counts of them are inside

  std::array<PeriodAccumulator, 2> accumulators_;
  /// Which accumulator is added to, and behind that bit how often Add has begun or ended.
  std::atomic<std::uint32_t> state_ = 0;
};

}  // namespace kestrune
