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

/// SFP A's tests of a length: "900:2" is one 900 seconds behind `start` that counted 2 records, "*3" stands
/// behind the third such test.
std::string Told(const std::vector<TestLine>& tests, int minutes, std::int64_t start) {
  std::vector<std::pair<std::string, int>> told;
  for (const TestLine& test : tests) {
    if (test.minutes != minutes || test.sfp != 0) continue;
    const std::string text = std::to_string(test.epoch - start) + ":" + std::to_string(test.syncs);
    if (told.empty() || told.back().first != text) told.emplace_back(text, 0);
    ++told.back().second;
  }
  std::string all;
  for (const auto& [text, count] : told) all += text + (count > 1 ? "*" + std::to_string(count) : "") + " ";
  return all;
}

TEST_F(PtpMonitorTest, FollowsAClockThatIsSetDuringAWait) {
  constexpr std::int64_t hour = 3600;
  constexpr std::int64_t year = 365 * 24 * hour;
  const std::string undisturbed = "1800:1 2700:1 3600:1 4500:1 5400:1 6300:1 7200:1 ";
  const struct {
    std::int64_t step;  // seconds, during the first wait; a suspended machine's is positive
    std::uint32_t hours;
    int sleeps;  // neither busy nor idle
    std::string quarters, days;
  } rows[] = {
      {1, 2, 8, "901:1 " + undisturbed, ""},
      {-1, 2, 9, "900:2 " + undisturbed, ""},
      {-hour, 2, 9, "900:2 " + undisturbed, ""},
      {-year, 2, 9, "900:2 " + undisturbed, ""},
      {hour, 2, 4, "4500:1 4500:0*4 5400:1 6300:1 7200:1 ", ""},
      {year, 2, 1, "31536900:1 ", "31536900:1 "},
      {30 * 24 * hour, 30 * 24 + 2, 8,
       "2592900:1 2592900:0*2880 2593800:1 2594700:1 2595600:1 2596500:1 2597400:1 2598300:1 2599200:1 ",
       "2592900:1 2592900:0*29 "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.step << " s, " << row.hours << " h");
    std::filesystem::remove(folder_.Path() / "run_period_test_results.txt");
    const std::int64_t start = clock_.now / ticksPerSecond;
    clock_.sleeps = 0;
    clock_.onWakeUp = [&](std::int64_t) {
      Deliver();
      if (clock_.sleeps == 1) clock_.now += row.step * ticksPerSecond;
    };
    const auto tests = Run(row.hours);
    EXPECT_EQ(clock_.sleeps, row.sleeps);
    EXPECT_EQ(Told(tests, 15, start), row.quarters);
    EXPECT_EQ(Told(tests, 1440, start), row.days);
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
