#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/clock.h"
#include "platform/com.h"
#include "platform/paths.h"

namespace kestrune {
namespace {

TEST(Paths, FoldersGetOneBackslash) {
  EXPECT_EQ(WithSeparator(""), "");
  EXPECT_EQ(WithSeparator("C:\\logs"), "C:\\logs\\");
  EXPECT_EQ(WithSeparator("C:\\logs\\"), "C:\\logs\\");
  EXPECT_EQ(WithSeparator("/logs/"), "/logs/\\") << "only the backslash counts";
}

TEST(Clock, SleepsUntilATick) {
  Clock& clock = SystemClock();
  const auto until = clock.NowTicks() + ticksPerSecond / 100;
  while (clock.NowTicks() < until) clock.SleepUntil(until);
  clock.SleepUntil(until - ticksPerSecond);  // the past: no sleep
  EXPECT_LE(std::abs(clock.NowTicks() / ticksPerSecond - clock.EpochSeconds()), 1);
}

TEST(Com, ApartmentIsJoinedOnce) {
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
  EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
}

}  // namespace
}  // namespace kestrune
