#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "platform/clock.h"

namespace kestrune {
namespace {

TEST(LocalTime, IsTheZonesPast32BitsOfSecondsToo) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  EXPECT_EQ(LocalTimeText(1774746000), "2026-03-29 03:00:00");
  EXPECT_EQ(LocalTimeText(2222222222), "2040-06-02 05:57:02");
  EXPECT_EQ(LocalTimeText(INT64_MAX), "");
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace kestrune
