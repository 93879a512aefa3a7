#include "ptp/path_delay_filter.h"

#include <gtest/gtest.h>

namespace kestrune::ptp {
namespace {

TEST(PathDelayFilter, MovesItsMedianLittleForALateStampAndFollowsAChange) {
  PathDelayFilter filter(PathDelayFilter::Kind::MovingMedian);
  EXPECT_EQ(filter.Mean(), 0);
  for (const double sample : {600.0, 610.0, 20'000'000.0, 620.0}) filter.Add(sample);
  EXPECT_EQ(filter.Mean(), 615);
  for (int sample = 0; sample < 5; ++sample) filter.Add(5000);
  EXPECT_EQ(filter.Mean(), 5000);
  for (int sample = 0; sample < 6; ++sample) filter.Add(600);
  EXPECT_EQ(filter.Mean(), 600) << "ten are looked at, the late one is gone";
}

}  // namespace
}  // namespace kestrune::ptp
