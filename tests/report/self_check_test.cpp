#include "report/self_check.h"

#include <gmock/gmock.h>

#include "report/unit_sums.h"

namespace kestrune::report {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t begin = 1'772'409'600;
constexpr std::int64_t quarter = 900;

/// A run with a record of each SFP a second, and the lines that the recorder wrote of it.
class RecordedRun {
 public:
  /// Each period's last record comes `late` seconds behind the line's time, or before it; the third one is
  /// `longer` by some seconds, and the fourth is shorter. The SFPs are `apart` seconds from their master.
  explicit RecordedRun(std::int64_t periods, std::int64_t late = 0, std::int64_t longer = 0,
                       std::int32_t apart = 0) {
    recording.periodLines.present = true;
    recording.eventLog.starts = {begin};
    std::array<PeriodAccumulator, sfpCount> sums;
    std::array<PeriodAccumulator, sfpCount> days;
    std::int64_t end = begin + quarter;
    for (std::int64_t time = begin; time < begin + periods * quarter + 60; ++time) {
      for (std::uint8_t sfp = 0; sfp < sfpCount; ++sfp) {
        units.push_back(MakeUnit(time, sfp, apart));
        const auto sample = MakePerformanceSample(units.back().record.performanceMonitoring);
        AccumulatePerformanceSample(sample, sums[sfp]);
        AccumulatePerformanceSample(sample, days[sfp]);
      }
      const std::int64_t ended = end + (end == begin + 3 * quarter ? longer : 0);
      if (time != ended + late) continue;
      for (int sfp = 0; sfp < sfpCount; ++sfp) AddLine(ended, 15, sfp, sums[static_cast<std::size_t>(sfp)]);
      if (end == begin + 96 * quarter) {
        for (int sfp = 0; sfp < sfpCount; ++sfp) AddLine(end, 1440, sfp, days[static_cast<std::size_t>(sfp)]);
      }
      end += quarter;
    }
  }

  SelfCheck Check() const {
    SelfCheck check(recording);
    UnitFeed feed({&check});
    for (const RawDataUnit& unit : units) feed.Add(unit);
    feed.Finish();
    check.Finish();
    return check;
  }

  Recording recording;
  std::vector<RawDataUnit> units;

 private:
  static RawDataUnit MakeUnit(std::int64_t time, std::uint8_t sfp, std::int32_t apart) {
    RawDataUnit unit{};
    unit.epochTime = time;
    unit.record.sfp = sfp;
    PerformanceMonitoring& pm = unit.record.performanceMonitoring;
    const auto value = static_cast<std::int32_t>(time % 97 - 40 + sfp);
    pm.numberOfSyncSinceLastTelemetry = 8;
    pm.offsetFromMaster = {{8 * apart, 8 * value}, {apart, value - 30}, {apart, value + 30}, {0, 900}};
    pm.numberOfDelayRespSinceLastTelemetry = 7;
    pm.meanPathDelay = {{0, 7 * 1850}, {0, 1800 - value}, {0, 1900 + value}, {0, 700}};
    return unit;
  }

  void AddLine(std::int64_t time, std::int32_t minutes, int sfp, PeriodAccumulator& sums) {
    recording.periodLines.lines.push_back({time, minutes, sfp, 1, ComputePeriodResults(sums)});
  }
};

TEST(SelfCheck, AgreesWhereverThePeriodsLastRecordWas) {
  for (const std::int64_t late : {-2, 0, 2}) {
    const SelfCheck check = RecordedRun(97, late).Check();
    EXPECT_EQ(check.Agreeing(), 2U * 97 + 2) << late;
    EXPECT_EQ(check.Differing() + check.NotCompared(), 0U);
    EXPECT_TRUE(check.WithoutLine().empty());
  }
}

TEST(SelfCheck, AgreesWhereSumsAreRounded) {
  const SelfCheck check = RecordedRun(5, 0, 0, -100'000'000).Check();
  EXPECT_EQ(check.Agreeing(), 10U);
  EXPECT_EQ(check.Differing(), 0U);
}

TEST(SelfCheck, TellsWhichFigureDiffersAndRecovers) {
  for (const std::int64_t late : {-1, 0, 2}) {
    RecordedRun run(6, late);
    auto& lines = run.recording.periodLines.lines;
    lines[4].results.syncGroup.quantities[2].maximum.nanoseconds += 5;  // third, SFP A
    const SelfCheck check = run.Check();
    EXPECT_EQ(check.Agreeing(), 11U) << late;
    ASSERT_EQ(check.Differences().size(), 1U) << late;
    EXPECT_EQ(check.Differences()[0].sfp, 0);
    EXPECT_THAT(check.Differences()[0].text,
                HasSubstr("offset from the master, greatest: 91\u00a0ns in the line, 86\u00a0ns in the raw "
                          "data; 1 of 50 figures differ"))
        << late;

    lines.erase(lines.begin() + 4);  // and now it is missing
    const SelfCheck rest = run.Check();
    EXPECT_EQ(rest.Agreeing(), 11U) << late;
    EXPECT_EQ(rest.Differing(), 0U) << late;
    ASSERT_EQ(rest.WithoutLine().size(), 1U) << late;
    EXPECT_NEAR(static_cast<double>(rest.WithoutLine()[0].stretch.from - begin), 2 * quarter, 3);
  }

  // A missing line that wasn't of fifteen minutes: a clock that ran fast.
  for (const std::int64_t longer : {-13, 13}) {
    RecordedRun fast(6, 0, longer);
    EXPECT_EQ(fast.Check().Agreeing(), 12U);
    auto& lines = fast.recording.periodLines.lines;
    lines.erase(lines.begin() + 4);
    const SelfCheck check = fast.Check();
    EXPECT_EQ(check.Agreeing(), 11U) << longer;
    EXPECT_EQ(check.Differing(), 0U) << longer;
    EXPECT_EQ(check.WithoutLine().size(), 1U) << longer;
  }

  // Ten seconds that aren't in the file any more.
  RecordedRun lossy(6);
  lossy.units.erase(lossy.units.begin() + 2000, lossy.units.begin() + 2020);
  const SelfCheck check = lossy.Check();
  EXPECT_EQ(check.Agreeing(), 10U);
  ASSERT_EQ(check.Differences().size(), 2U);
  EXPECT_THAT(check.Differences()[0].text,
              HasSubstr("Sync messages: 7\u202f200 in the line, 7\u202f120 in the raw data"));
}

TEST(SelfCheck, SparesWhatAStepOfTheClockIsIn) {
  RecordedRun run(6);
  auto& lines = run.recording.periodLines.lines;
  lines[4].results.syncGroup.count += 5;
  lines[9].results.syncGroup.count += 5;
  run.recording.clockSteps = {{begin + 2 * quarter + 100, -60, 0}};
  const SelfCheck check = run.Check();
  EXPECT_EQ(check.NotCompared(), 1U);
  ASSERT_EQ(check.Differing(), 1U);
  EXPECT_EQ(check.Differences()[0].time, begin + 5 * quarter);
}

TEST(SelfCheck, FindsRecordsWithoutALineAndLinesItCantCompare) {
  RecordedRun unfinished(2);
  unfinished.recording.periodLines.lines.resize(2);  // the last two are missing
  const SelfCheck check = unfinished.Check();
  ASSERT_EQ(check.WithoutLine().size(), 2U);
  EXPECT_EQ(check.WithoutLine()[0].stretch.from, begin + quarter + 1);

  RecordedRun cut(6);  // the user asks for a part of it
  cut.recording.options = {.from = begin + 1000, .to = begin + 5 * quarter + 10};
  std::erase_if(cut.units, [&](const RawDataUnit& unit) {
    return unit.epochTime < cut.recording.options.from || unit.epochTime >= cut.recording.options.to;
  });
  const SelfCheck rest = cut.Check();
  EXPECT_EQ(rest.Differing(), 0U);
  EXPECT_EQ(rest.NotCompared(), 6U);
  EXPECT_EQ(rest.Agreeing(), 6U);
}

TEST(SelfCheck, KeepsRunsApart) {
  RecordedRun first(2);
  RecordedRun second(2);
  constexpr std::int64_t later = 2000;  // the first run was stopped within its third period
  for (RawDataUnit& unit : second.units) unit.epochTime += later;
  first.recording.eventLog.starts.push_back(begin + later);
  for (PeriodLine line : second.recording.periodLines.lines) {
    line.time += later;
    line.run = 2;
    first.recording.periodLines.lines.push_back(line);
  }
  first.units.insert(first.units.end(), second.units.begin(), second.units.end());
  for (const bool logged : {true, false}) {
    if (!logged) first.recording.eventLog.starts.clear();
    const SelfCheck check = first.Check();
    EXPECT_EQ(check.Agreeing(), 8U);
    EXPECT_EQ(check.Differing(), 0U);
    EXPECT_TRUE(check.WithoutLine().empty()) << "the first run's last minute";
  }
}

}  // namespace
}  // namespace kestrune::report
