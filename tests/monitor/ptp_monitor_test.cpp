#include "monitor/ptp_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <future>
#include <sstream>
#include <thread>

#include "support/scripted_card.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

constexpr std::int64_t quarter = 900 * ticksPerSecond;

/// A clock that jumps to wherever somebody sleeps; the test may act at every wake-up.
class LeapingClock : public Clock {
 public:
  std::int64_t NowTicks() override { return now; }
  void SleepUntil(std::int64_t ticks) override {
    ++sleeps;
    now = ticks;
    if (onWakeUp) onWakeUp(ticks);
  }
  void SleepFor(std::chrono::milliseconds) override {}
  std::int64_t EpochSeconds() override {
    ++epochReads;
    if (onEpochSeconds) onEpochSeconds();
    return now / ticksPerSecond;
  }

  std::int64_t now = 1'700'000'000 * ticksPerSecond + 1234567;
  int sleeps = 0;
  int epochReads = 0;
  std::function<void(std::int64_t)> onWakeUp;
  std::function<void()> onEpochSeconds;
};

struct TestLine {
  std::int64_t epoch;
  int minutes;
  int sfp;
  std::int64_t syncs;
  bool operator==(const TestLine&) const = default;
};

class PtpMonitorTest : public testing::Test {
 protected:
  std::vector<TestLine> Run(std::uint32_t hours) {
    {
      PtpMonitor monitor(clock_);
      monitor.SetLogger(std::make_unique<Logger>());
      TZvSmartPtr<IZvCardConfiguration> card;
      card = card_.Interface();
      monitor.Run(card, "run", folder_.Name(), hours);
    }
    EXPECT_EQ(card_.References(), 0U);
    return ReadTests();
  }

  std::vector<TestLine> ReadTests() const {
    std::vector<TestLine> tests;
    for (const auto& line : test::ReadLines(folder_.Path() / "run_period_test_results.txt")) {
      TestLine read{};
      char comma = ',';
      std::string time;
      std::istringstream text(line);
      text >> read.epoch >> comma;
      if (text && std::getline(text, time, ',') &&
          text >> read.minutes >> comma >> read.sfp >> comma >> read.syncs) {
        tests.push_back(read);
      }
    }
    return tests;
  }

  /// One record of each SFP, with 1 sync for SFP A and 2 for SFP B.
  void Deliver() {
    card_.monitorData = [](MonitorDataBatch& batch) {
      batch.count = 2;
      batch.records[1].sfp = 1;
      batch.records[0].performanceMonitoring.numberOfSyncSinceLastTelemetry = 1;
      batch.records[1].performanceMonitoring.numberOfSyncSinceLastTelemetry = 2;
    };
    card_.TellMonitorData();
  }

  test::ConsoleCapture console_;
  test::TemporaryFolder folder_;
  test::ScriptedCard card_;
  LeapingClock clock_;
};

TEST_F(PtpMonitorTest, ThirtyDaysHaveExactBoundaries) {
  const std::int64_t start = clock_.now;
  clock_.onWakeUp = [&](std::int64_t) { Deliver(); };
  const auto tests = Run(30 * 24);

  std::vector<TestLine> expected;
  for (std::int64_t n = 1; n <= 30 * 96; ++n) {
    const std::int64_t epoch = (start + n * quarter) / ticksPerSecond;
    expected.insert(expected.end(), {{epoch, 15, 0, 1}, {epoch, 15, 1, 2}});
    if (n % 96 == 0) expected.insert(expected.end(), {{epoch, 1440, 0, 96}, {epoch, 1440, 1, 2 * 96}});
  }
  EXPECT_EQ(tests, expected);
  EXPECT_EQ(clock_.sleeps, 30 * 96) << "one wake-up a period";
}

TEST_F(PtpMonitorTest, DurationsEndWithA15MinuteTest) {
  EXPECT_EQ(Run(1).size(), 8U);
  EXPECT_EQ(clock_.sleeps, 4);
}

TEST_F(PtpMonitorTest, NegativeDurationRunsNoTest) {
  for (const std::uint32_t hours : {0x80000000U, 4'000'000'000U, 0xFFFFFFFFU})
    EXPECT_TRUE(Run(hours).empty());
  EXPECT_EQ(clock_.sleeps, 0);
  EXPECT_EQ(test::ReadEventTypes(folder_.Path() / "run_event_log.txt").back(), "end of monitoring");
}

TEST_F(PtpMonitorTest, NoDurationIsAHundredYears) {
  const std::int64_t end = clock_.now + 876'000 * 4 * quarter;
  clock_.onWakeUp = [&](std::int64_t) { clock_.now = end - 1; };
  clock_.onEpochSeconds = [&] {
    if (clock_.epochReads == 2) clock_.now = end;
  };
  const auto tests = Run(0);
  EXPECT_EQ(std::ranges::count(tests, 15, &TestLine::minutes), 4) << "one test before the end and one at it";
}

TEST_F(PtpMonitorTest, FollowsAClockThatIsSetDuringAWait) {
  constexpr std::int64_t hour = 3600;
  constexpr std::int64_t year = 365 * 24 * hour;
  const struct {
    std::int64_t
        step;  // seconds, while the run waits for its first boundary; a suspended machine's is positive
    std::uint32_t hours;
  } rows[] = {{1, 2}, {-1, 2}, {hour, 2}, {-hour, 2}, {year, 2}, {-year, 2}, {30 * 24 * hour, 30 * 24 + 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.step << " s, " << row.hours << " h");
    std::filesystem::remove(folder_.Path() / "run_period_test_results.txt");
    const std::int64_t start = clock_.now;
    clock_.sleeps = 0;
    clock_.onWakeUp = [&](std::int64_t) {
      Deliver();
      if (clock_.sleeps == 1) clock_.now += row.step * ticksPerSecond;
    };
    const auto tests = Run(row.hours);

    const std::int64_t firstWakeUp = 900 + std::max<std::int64_t>(row.step, 0);
    std::vector<TestLine> expected;
    int sleeps = row.step < 0 ? 2 : 1;
    std::int64_t days = 0;
    for (std::int64_t boundary = 900, now = 0; now < row.hours * hour; boundary += 900) {
      now = std::max(boundary, firstWakeUp);
      const bool waited = boundary == 900 || boundary > firstWakeUp;
      const std::int64_t records = !waited ? 0 : boundary == 900 ? sleeps : 1;
      if (waited && boundary > 900) ++sleeps;
      const std::int64_t epoch = (start + now * ticksPerSecond) / ticksPerSecond;
      expected.insert(expected.end(), {{epoch, 15, 0, records}, {epoch, 15, 1, 2 * records}});
      if (now >= (days + 1) * 24 * hour) {
        ++days;
        const std::int64_t dayRecords = days == 1 ? sleeps : 0;
        expected.insert(expected.end(), {{epoch, 1440, 0, dayRecords}, {epoch, 1440, 1, 2 * dayRecords}});
      }
    }
    EXPECT_EQ(clock_.sleeps, sleeps) << "neither busy nor idle";
    ASSERT_EQ(tests.size(), expected.size());
    EXPECT_TRUE(tests == expected);
  }
}

TEST_F(PtpMonitorTest, WritesItsLinesWhileTheCardHoldsTelemetryBack) {
  std::promise<void> blocked, goOn;
  std::thread telemetry;
  clock_.onWakeUp = [&](std::int64_t) {
    if (clock_.sleeps == 1) {
      card_.monitorData = [&](MonitorDataBatch& batch) {
        blocked.set_value();
        goOn.get_future().wait();
        batch.count = 1;
        batch.records[0].performanceMonitoring.numberOfSyncSinceLastTelemetry = 5;
      };
      telemetry = std::thread([&] { card_.TellMonitorData(); });
      blocked.get_future().wait();
    } else if (clock_.sleeps == 4) {
      EXPECT_EQ(ReadTests().size(), 2 * 3U);
      goOn.set_value();
      telemetry.join();
    }
  };
  std::vector<std::int64_t> syncs;
  for (const auto& line : Run(1)) syncs.push_back(line.syncs);
  EXPECT_EQ(syncs, (std::vector<std::int64_t>{0, 0, 0, 0, 0, 0, 5, 0}));
}

TEST_F(PtpMonitorTest, EarlyWakeUpsSleepAgain) {
  int early = 3;
  clock_.onWakeUp = [&](std::int64_t ticks) {
    if (early-- > 0) clock_.now = ticks - ticksPerSecond;
  };
  EXPECT_EQ(Run(1).size(), 8U);
  EXPECT_EQ(clock_.sleeps, 7);
}

}  // namespace
}  // namespace kestrune
