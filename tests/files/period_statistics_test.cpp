#include "files/period_statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "files/period_test_results.h"

namespace kestrune {
namespace {

QuantityFigures Figures(std::int64_t sum, std::int64_t minimum, std::int64_t maximum, std::int64_t ssd) {
  const auto s = [](std::int64_t ns) { return static_cast<std::int32_t>(ns / 1'000'000'000); };
  const auto ns = [](std::int64_t value) { return static_cast<std::int32_t>(value % 1'000'000'000); };
  return {{s(sum), ns(sum)}, {s(minimum), ns(minimum)}, {s(maximum), ns(maximum)}, {s(ssd), ns(ssd)}};
}

/// Six different quantities, so that a swapped one shows: quantity q's figures are those given plus q.
PerformanceMonitoring Monitoring(std::int32_t syncs, std::int32_t delayResps, std::int64_t sum,
                                 std::int64_t minimum, std::int64_t maximum, std::int64_t ssd) {
  const auto figures = [&](std::int64_t q) { return Figures(sum + q, minimum + q, maximum + q, ssd + q); };
  return {syncs, figures(0), figures(1), figures(2), delayResps, figures(3), figures(4), figures(5)};
}

PeriodResults ResultsOf(std::initializer_list<PerformanceMonitoring> records) {
  PeriodAccumulator accumulator;
  for (const auto& record : records) AccumulatePerformanceSample(MakePerformanceSample(record), accumulator);
  return ComputePeriodResults(accumulator);
}

TEST(PeriodStatistics, PoolsTheRecordsOfAPeriod) {
  const auto results =
      ResultsOf({Monitoring(8, 4, 8000, 900, 1100, 3200), Monitoring(2, 6, -500, -400, 70, 800)});
  EXPECT_EQ(FormatPeriodResults(results),
            "10,"
            "0,-400,0,1100,0,750,0,20,"  // sum 7500, deviations 4000
            "0,-399,0,1101,0,750,0,20,"
            "0,-398,0,1102,0,750,0,20,"
            "10,"
            "0,-397,0,1103,0,750,0,20,"
            "0,-396,0,1104,0,750,0,20,"
            "0,-395,0,1105,0,751,0,20");
}

__extension__ using Wide = __int128;

/// A day of records whose messages are all `offset(record)` nanoseconds off: average and standard deviation
/// against exact sums, in nanoseconds.
std::pair<double, double> ErrorsOverADay(std::int32_t count, const std::function<std::int64_t(int)>& offset) {
  constexpr int records = 86'400;
  PeriodAccumulator accumulator;
  Wide sum = 0;
  Wide deviations = 0;
  for (int record = 0; record < records; ++record) {
    const std::int64_t ssd = count * 1'000'000'000'000LL + record;  // a deviation of a millisecond
    const std::int64_t total = offset(record) * count;
    sum += total;
    deviations += ssd;
    PerformanceMonitoring monitoring{};
    monitoring.numberOfSyncSinceLastTelemetry = count;
    monitoring.offsetFromMaster = Figures(total, 0, 0, ssd);
    AccumulatePerformanceSample(MakePerformanceSample(monitoring), accumulator);
  }
  const auto results = ComputePeriodResults(accumulator).syncGroup.quantities[2];
  const auto error = [](const SecondsNanoseconds& found, long double exact) {
    return static_cast<double>(std::abs(found.seconds * 1e9L + found.nanoseconds - exact));
  };
  const long double messages = static_cast<long double>(records) * count;
  return {error(results.average, static_cast<long double>(sum) / messages),
          error(results.standardDeviation, std::sqrt(static_cast<long double>(deviations) / messages))};
}

TEST(PeriodStatistics, AgreeWithExactArithmeticToANanosecond) {
  constexpr std::int64_t second = 1'000'000'000;
  constexpr std::int64_t tai = 37 * second;  // a master on TAI taken for UTC
  std::mt19937_64 dice(2059);
  const auto jitter = [&] { return static_cast<std::int64_t>(dice() % 2001) - 1000; };
  const struct {
    const char* what;
    std::int32_t count;
    std::function<std::int64_t(int)> offset;
    double most = 0;  ///< magnitude of the offsets in nanoseconds, where it matters
  } rows[] = {
      {"jitter alone", 8, [&](int) { return jitter(); }},
      {"37 s off", 8, [&](int) { return tai + jitter(); }},
      {"37 s off to the other side", 8, [&](int) { return -tai + jitter(); }},
      {"alternating, the sums cancel", 8, [&](int record) { return (record % 2 != 0 ? tai : -tai) + 7; }},
      {"half a day there, half a day back", 8, [&](int record) { return record < 43'200 ? tai : 3 - tai; }},
      {"as many messages as a day's count holds", INT32_MAX / 86'400, [](int record) { return record % 9; }},
      {"250 s off, always rounded to the same side", 1, [&](int) { return 250 * second + 1; }, 250e9},
      {"1000 s off", 1, [&](int) { return 1000 * second + jitter(); }, 1000e9},
  };
  for (const auto& row : rows) {
    const auto [average, deviation] = ErrorsOverADay(row.count, row.offset);
    // Adding a record may cost 2^-53 of the sum so far, which is at most 86,400 records of this size;
    // then the fraction of a nanosecond is cut off.
    EXPECT_LT(average, 1 + row.most * 86'400 / 0x1p53) << row.what;
    EXPECT_LT(deviation, 1) << row.what;
  }
}

TEST(PeriodStatistics, CountsReachTheirLimitAndWrap) {
  const auto most = Monitoring(INT32_MAX, 1, INT32_MAX, 1, 1, 0);
  EXPECT_EQ(ResultsOf({most}).syncGroup.quantities[0].average, (SecondsNanoseconds{0, 1}));
  const auto beyond = ResultsOf({most, Monitoring(1, 1, 1, 1, 1, 0)}).syncGroup;
  EXPECT_EQ(beyond.count, INT32_MIN);
  EXPECT_EQ(beyond.quantities[0].average, (SecondsNanoseconds{0, -1}));
}

TEST(PeriodStatistics, GroupWithoutAPositiveCountAddsNothing) {
  const auto noSync = Monitoring(0, 5, 5000, 1000, 1000, 0);
  const auto negative = Monitoring(-3, 5, 5000, 1000, 1000, 0);
  const auto results = ResultsOf({noSync, negative});
  EXPECT_EQ(results.syncGroup, GroupResults{});
  EXPECT_EQ(results.delayRespGroup.count, 10);
  EXPECT_EQ(results.delayRespGroup.quantities[0].minimum.nanoseconds, 1003) << "not pinned to 0";
  EXPECT_EQ(ResultsOf({}), PeriodResults{});
  EXPECT_EQ(ResultsOf({Monitoring(1, 0, 7, 7, 7, 0)}).delayRespGroup, GroupResults{});
}

TEST(PeriodStatistics, SplitsTowardZero) {
  const std::pair<double, SecondsNanoseconds> rows[] = {{2.9, {0, 2}},
                                                        {-2.9, {0, -2}},
                                                        {-1.5e9, {-1, -500000000}},
                                                        {-0.4e9, {0, -400000000}},
                                                        {37e9 + 1, {37, 1}},
                                                        {-37e9 - 999999999, {-37, -999999999}},
                                                        {2147483647.0 * 1e9, {2147483647, 0}},
                                                        // The seconds are kept as 32 bits.
                                                        {9.21e18, {620065408, 0}},
                                                        {std::nextafter(0x1p63, 0), {633437444, 854774784}},
                                                        {-0x1p63, {-633437444, -854775808}}};
  for (const auto& [nanoseconds, split] : rows)
    EXPECT_EQ(SplitNanoseconds(nanoseconds), split) << nanoseconds;
  for (const double none : {0x1p63, -1e300, std::nan("")})
    EXPECT_EQ(SplitNanoseconds(none), SplitNanoseconds(-0x1p63));
}

TEST(PeriodTestResults, LineHasAValueForEachColumn) {
  const std::string header = PeriodTestResultsHeader();
  const std::string columns = header.substr(header.rfind('\n') + 1);
  const std::string line = FormatPeriodTestLine({}, 1440, 1, 1700000000);
  EXPECT_EQ(std::ranges::count(columns, ','), 53);
  EXPECT_TRUE(columns.starts_with(
      "epchtm, time, tsdurmin, sfp, numsynclasttel, masfoldel-mi-s, masfoldel-mi-ns, "
      "masfoldel-ma-s, masfoldel-ma-ns, masfoldel-ave-s, masfoldel-ave-ns, masfoldel-sd-s"));
  EXPECT_EQ(std::ranges::count(line, ','), 53);
  EXPECT_EQ(std::ranges::count(header, '\n'), 6);
  EXPECT_EQ(line.substr(0, 11), "1700000000,");
  EXPECT_EQ(line.substr(line.find(",1440,"), 10), ",1440,1,0,");
  EXPECT_TRUE(line.ends_with(",0\n"));
}

}  // namespace
}  // namespace kestrune
