#include "monitor/ptp_monitor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>

#include "support/fake_card.h"
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
    card_.monitorDataCallback->OnMonitorDataReady();
  }

  test::ConsoleCapture console_;
  test::TemporaryFolder folder_;
  test::FakeCard card_;
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

TEST_F(PtpMonitorTest, CatchesUpAfterTheMachineWasSuspended) {
  const std::int64_t start = clock_.now;
  bool slept = false;
  clock_.onWakeUp = [&](std::int64_t) {
    Deliver();
    if (!slept) clock_.now = start + 5 * quarter + 100 * ticksPerSecond;  // wakes up four periods late
    slept = true;
  };
  const auto tests = Run(2);

  std::vector<std::int64_t> epochs;
  std::vector<std::int64_t> syncs;
  for (std::size_t i = 0; i < tests.size(); i += 2) {
    epochs.push_back(tests[i].epoch - start / ticksPerSecond);
    syncs.push_back(tests[i].syncs);
  }
  EXPECT_EQ(epochs, (std::vector<std::int64_t>{4600, 4600, 4600, 4600, 4600, 5400, 6300, 7200}));
  EXPECT_EQ(syncs, (std::vector<std::int64_t>{1, 0, 0, 0, 0, 1, 1, 1}));
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
