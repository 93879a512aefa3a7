#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>

#include "platform/clock.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

/// Sets the process' time zone for as long as it lives.
class TimeZone {
 public:
  explicit TimeZone(const std::string& zone) {
    setenv("TZ", zone.c_str(), 1);
    tzset();
  }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
};

TEST(LocalTime, ChangesWithDaylightSavingTime) {
  const TimeZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(LocalTimeText(1774745999), "2026-03-29 01:59:59");
  EXPECT_EQ(LocalTimeText(1774746000), "2026-03-29 03:00:00");
  EXPECT_EQ(LocalTimeText(1792889999), "2026-10-25 02:59:59");
  EXPECT_EQ(LocalTimeText(1792890000), "2026-10-25 02:00:00") << "the hour that comes twice";
  EXPECT_EQ(LocalTimeText(2222222222), "2040-06-02 05:57:02") << "past 32 bits of seconds";
}

TEST(LocalTime, ShowsALeapSecondWhereTheSystemCountsThem) {
  // A time zone file with one leap second, before 2017-01-01: header, one type of time "UTC", the leap
  // second.
  constexpr char zone[] =
      "TZif\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
      "\0\0\0\0"
      "\0\0\0\0"
      "\0\0\0\1"
      "\0\0\0\0"
      "\0\0\0\1"
      "\0\0\0\4"
      "\0\0\0\0\0\0"
      "UTC\0"
      "\x58\x68\x46\x80"
      "\0\0\0\1";
  const test::TemporaryFolder folder;
  const std::string file = (folder.Path() / "leap").string();
  std::ofstream(file, std::ios::binary).write(zone, sizeof zone - 1);
  const TimeZone leaping(":" + file);
  EXPECT_EQ(LocalTimeText(1483228799), "2016-12-31 23:59:59");
  EXPECT_EQ(LocalTimeText(1483228800), "2016-12-31 23:59:60");
  EXPECT_EQ(LocalTimeText(1483228801), "2017-01-01 00:00:00");
}

}  // namespace
}  // namespace kestrune
