#include "kit/card_time.h"

#include <gtest/gtest.h>

namespace kestrune::kit {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(CardTime, GoesForwardThroughJumpsOfTheWallClock) {
  const CardTime::Time start{hours(1000)};
  CardTime clock(start);
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
}  // namespace kestrune::kit
