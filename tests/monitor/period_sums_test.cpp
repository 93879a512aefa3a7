#include "monitor/period_sums.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace kestrune {
namespace {

/// Records as fast as they can come, while period after period is taken: what all periods hold is what came.
TEST(PeriodSums, EveryRecordIsInOnePeriodWhole) {
  constexpr std::int32_t value = 1000;
  PeriodSums sums;
  std::atomic<bool> done = false;
  std::int64_t records = 0;
  std::thread telemetry([&] {
    PerformanceSample sample;
    sample.syncGroup.count = 1;
    sample.delayRespGroup.count = 2;
    for (auto* group : {&sample.syncGroup, &sample.delayRespGroup}) {
      for (auto& quantity : group->quantities) quantity = {double{value} * group->count, value, value, 1};
    }
    for (; !done; ++records) sums.Add(sample);
  });
  std::int64_t syncs = 0;
  const auto take = [&] {
    const PeriodAccumulator period = sums.Take();
    const std::int32_t count = period.syncGroup.count;
    EXPECT_EQ(period.delayRespGroup.count, 2 * count);
    for (const auto* group : {&period.syncGroup, &period.delayRespGroup}) {
      for (const auto& quantity : group->quantities) {
        EXPECT_EQ(quantity.sum, double{value} * group->count) << "an average of anything but the one value";
        EXPECT_EQ(quantity.minimum, count > 0 ? value : 0);
        EXPECT_EQ(quantity.summedSquaredDeviation, count);
      }
    }
    syncs += count;
    return count > 0;
  };
  for (int periods = 0; periods < 200 && !HasFailure();) periods += take();
  done = true;
  telemetry.join();
  take();
  EXPECT_EQ(syncs, records);
}

}  // namespace
}  // namespace kestrune
