#include "simulated/scenario_clock.h"

#include <gtest/gtest.h>

namespace kestrune::simulated {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ScenarioClock, GoesForwardThroughJumpsOfTheWallClock) {
  const ScenarioClock::Time start{hours(1000)};
  ScenarioClock clock(start);
  EXPECT_EQ(clock.Seconds(start), 0);
  EXPECT_EQ(clock.Seconds(start + milliseconds(2750)), 2);
  EXPECT_EQ(clock.UntilNextSecond(), milliseconds(250));
  EXPECT_EQ(clock.Seconds(start + seconds(3)), 3);
  EXPECT_EQ(clock.UntilNextSecond(), milliseconds(1000));

  EXPECT_EQ(clock.Seconds(start - hours(5)), 3) << "set back";
  EXPECT_EQ(clock.Seconds(start - hours(5) + seconds(1)), 4);

  const auto leap = start + hours(24 * 365);
  EXPECT_EQ(clock.Seconds(leap), 4 + 6 * 3600) << "set forward";
  EXPECT_EQ(clock.Seconds(leap + seconds(7)), 4 + 6 * 3600 + 7);
}

}  // namespace
}  // namespace kestrune::simulated
