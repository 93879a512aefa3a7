#include "report/side_series.h"

#include <gtest/gtest.h>

#include "report/unit_sums.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t begin = 1'772'409'600;

RawDataUnit UnitAt(std::int64_t time, std::int64_t delay, std::uint64_t rate) {
  RawDataUnit unit{};
  unit.epochTime = time;
  unit.record.sfp = 1;
  unit.record.state = 10;
  unit.record.linkReceiveRate = rate;
  PerformanceMonitoring& all = unit.record.performanceMonitoring;
  all.numberOfSyncSinceLastTelemetry = 8;
  all.masterToFollowerDelay = {
      SplitNanoseconds(delay * 8), SplitNanoseconds(delay - 7), SplitNanoseconds(delay + 5), {}};
  return unit;
}

/// However long the recording, and wherever the clock goes, no extreme is lost and memory stays bounded.
TEST(SideSeries, KeepsExtremesWhileItsBucketsWiden) {
  SideSeries series;
  UnitFeed feed({&series});
  constexpr std::int64_t minutes = 3 * SideSeries::mostBuckets;
  for (std::int64_t i = 0; i < minutes; ++i) {
    const std::int64_t delay = i == 20'000 ? -5'000'000'000 : 1000 + i % 10;
    feed.Add(UnitAt(begin + i * 60 + 59, delay, i == 77 ? UINT64_MAX : 500));
  }
  feed.Add(UnitAt(begin + 30, 9000, 1));
  feed.Finish();
  series.Finish();
  EXPECT_EQ(series.Width(), 360);
  EXPECT_TRUE(series.Of(0).empty());
  ASSERT_EQ(series.Of(1).size(), minutes / 6);
  const SideBucket& first = series.Of(1).front();
  EXPECT_EQ(first.start, begin);
  EXPECT_EQ(first.records, 7);
  EXPECT_EQ(first.locked, 7);
  EXPECT_EQ(first.figures[sideToFollower].count, 56);
  EXPECT_EQ(first.figures[sideToFollower].greatest, 9005);
  EXPECT_NEAR(first.figures[sideToFollower].mean, (1000 + 1001 + 1002 + 1003 + 1004 + 1005 + 9000) / 7.0,
              1e-6);
  EXPECT_EQ(first.figures[sideToMaster].count, 0);
  EXPECT_EQ(first.figures[sideReceiveRate].least, 1);
  EXPECT_EQ(series.Of(1)[77 / 6].figures[sideReceiveRate].greatest, INT64_MAX);
  EXPECT_EQ(series.Of(1)[20'000 / 6].figures[sideToFollower].least, -5'000'000'007);
}

}  // namespace
}  // namespace kestrune::report
