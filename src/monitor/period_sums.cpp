#include "monitor/period_sums.h"

#include <thread>
#include <utility>

namespace kestrune {

void PeriodSums::Add(const PerformanceSample& sample) {
  const std::uint32_t begun = state_.fetch_add(step, std::memory_order_acq_rel);
  AccumulatePerformanceSample(sample, accumulators_[begun & indexBit]);
  state_.fetch_add(step, std::memory_order_acq_rel);
}

PeriodAccumulator PeriodSums::Take() {
  const std::uint32_t before = state_.fetch_xor(indexBit, std::memory_order_acq_rel);
  const bool inside = (before & step) != 0;
  // An Add that began before the switch still adds to the old accumulator; every later one to the new.
  while (inside && (state_.load(std::memory_order_acquire) ^ before) / step == 0) std::this_thread::yield();
  return std::exchange(accumulators_[before & indexBit], {});
}

}  // namespace kestrune
