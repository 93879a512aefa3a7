#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "report/histogram.h"
#include "report/minutes.h"
#include "report/options.h"
#include "report/page_data.h"
#include "report/stability.h"

namespace kestrune::report {
namespace {

TEST(Histogram, PercentilesAreThoseOfTheSortedValues) {
  std::mt19937_64 random(1);
  std::lognormal_distribution<double> sizes(6, 3);
  Histogram histogram;
  std::vector<std::int64_t> values;
  for (int i = 0; i < 50'000; ++i) {
    values.push_back(std::llround(sizes(random)) * (i % 3 == 0 ? -1 : 1));
    histogram.Add(values.back());
  }
  std::ranges::sort(values);
  for (const double share : {0.0001, 0.01, 0.5, 0.9, 0.9999, 1.0}) {
    const auto place = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size()))) - 1;
    const auto exact = static_cast<double>(values[place]);
    EXPECT_NEAR(histogram.Percentile(share), exact, std::fabs(exact) / 1000) << share;
  }
  const auto beyond = std::ranges::count_if(values, [](std::int64_t v) { return v > 1000 || v < -1000; });
  EXPECT_EQ(histogram.CountBeyond(1000), static_cast<std::uint64_t>(beyond));
  std::uint64_t count = 0;
  for (const Histogram::Bin& bin : histogram.Bins()) count += bin.count;
  EXPECT_EQ(count, values.size());
  histogram.Add(INT64_MIN);
  histogram.Add(INT64_MAX);
  EXPECT_LT(histogram.Percentile(0), -9e18);
}

TEST(Minutes, MediansAreTheMiddleOfTheSortedValues) {
  std::mt19937_64 random(1);
  for (const std::uint64_t different : {1U, 3U, 1'000'000U}) {
    MinuteMedians medians;
    std::vector<float> expected;
    for (std::int64_t minute = 0; minute < 6000; minute += 60) {
      std::vector<double> values;
      for (std::int64_t second = minute; second < minute + 30 + minute / 60 % 31; ++second) {
        values.push_back(static_cast<double>(random() % different));
        medians.Add(second, values.back(), 0);
      }
      std::ranges::sort(values);
      expected.push_back(static_cast<float>(values[values.size() / 2]));
    }
    medians.Finish();
    ASSERT_EQ(medians.All().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(medians.All()[i].median, expected[i]) << i;
  }
}

TEST(Stability, KnownSeriesHaveKnownCurves) {
  StabilityMeter ramp;
  StabilityMeter step;
  StabilityMeter noise;
  std::mt19937_64 random(1);
  std::normal_distribution<double> normal(0, 10);
  for (std::int64_t second = 0; second < 20'000; ++second) {
    ramp.Add(second, static_cast<double>(second) * 2);
    step.Add(second, second < 9000 ? 0 : 500);
    noise.Add(second, normal(random));
  }
  for (StabilityMeter* meter : {&ramp, &step, &noise}) meter->Finish();
  for (const auto& [seconds, range] : ramp.Mtie()) EXPECT_NEAR(range, 2 * (seconds - 1), 1e-6);
  for (const auto& [seconds, deviation] : ramp.Tdev()) EXPECT_NEAR(deviation, 0, 1e-6);
  EXPECT_EQ(step.Mtie().size(), 14);
  for (const auto& [seconds, range] : step.Mtie()) EXPECT_EQ(range, 500);
  // White phase noise falls with the root of the observation time.
  for (const auto& [seconds, deviation] : noise.Tdev()) {
    if (seconds <= 256) {
      EXPECT_NEAR(deviation, 10 / std::sqrt(seconds), 10 / std::sqrt(seconds) * 0.15) << seconds;
    }
  }
}

TEST(Runs, ManyShortOnesAreThinned) {
  std::vector<report::Run> runs;
  for (std::uint32_t i = 0; i < 100'000; ++i) runs.push_back({i * 3, static_cast<std::int32_t>(i % 2)});
  runs.push_back({400'000, 7});
  const auto thin = ThinRuns(runs, 1000);
  EXPECT_LE(thin.size(), 1000);
  EXPECT_EQ(thin.front(), runs.front());
  EXPECT_EQ(thin.back(), runs.back());
  EXPECT_EQ(ThinRuns(thin, 1000), thin);
}

TEST(Options, TimesAndNames) {
  EXPECT_EQ(ParseInstant("1772436321"), 1772436321);
  for (const char* text : {"2026-03-02T07:25:21Z", "2026-03-02 07:25:21", "2026-03-02T07:25:21"}) {
    EXPECT_EQ(ParseInstant(text), 1772436321) << text;
  }
  EXPECT_EQ(ParseInstant("2026-03-02"), 1772409600);
  for (const char* text : {"", "soon", "2026-02-30", "2026-03-02T07:25", "2026-03-02T07:25:21+01:00"}) {
    EXPECT_FALSE(ParseInstant(text)) << text;
  }
  EXPECT_EQ(ParseDuration("90"), 90);
  EXPECT_EQ(ParseDuration("24h"), 86'400);
  for (const char* text : {"", "h", "-5m", "0", "5w", "99999999999999999999d"})
    EXPECT_FALSE(ParseDuration(text)) << text;
  EXPECT_EQ(PrefixOf("a/studio1_raw_data"), "a/studio1");
  EXPECT_EQ(PrefixOf("a/studio1"), "a/studio1");
  EXPECT_EQ(BaseName("D:\\timing\\studio1"), "studio1");
}

TEST(Options, ErrorsHaveTheirStatus) {
  const struct {
    std::vector<const char*> arguments;
    std::optional<int> status;
  } rows[] = {
      {{"kestrune-report", "x"}, std::nullopt},
      {{"kestrune-report", "x", "--csv", "-", "--step", "5", "--last", "2d"}, std::nullopt},
      {{"kestrune-report", "--print-limits"}, std::nullopt},
      {{"kestrune-report", "--help"}, 0},
      {{"kestrune-report"}, 4},
      {{"kestrune-report", "x", "--step", "0"}, 4},
      {{"kestrune-report", "x", "--last", "1h", "--from", "5"}, 4},
      {{"kestrune-report", "x", "--from", "yesterday"}, 4},
      {{"kestrune-report", "x", "y"}, 4},
  };
  for (const auto& row : rows) {
    const auto result = ParseOptions(static_cast<int>(row.arguments.size()), row.arguments.data(), "1");
    EXPECT_EQ(result.status, row.status) << row.arguments.back();
    EXPECT_EQ(result.message.empty(), !row.status);
  }
}

}  // namespace
}  // namespace kestrune::report
