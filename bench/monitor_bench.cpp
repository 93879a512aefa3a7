// What monitoring costs. Each figure stands beside what it would cost at least, so that a reader compares
// within one run and not between machines.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

#include "diag/result_codes.h"
#include "files/period_statistics.h"
#include "monitor/logger.h"
#include "monitor/period_sums.h"
#include "platform/console.h"
#include "support/scripted_card.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

constexpr std::uint32_t batchSize = MonitorDataBatch::maximumCount;

/// A record as a locked port delivers it: eight messages each way, figures around a delay of 1.5 µs.
TelemetryRecord PlausibleRecord(std::uint8_t sfp) {
  TelemetryRecord record{};
  record.sfp = sfp;
  auto& monitoring = record.performanceMonitoring;
  monitoring.numberOfSyncSinceLastTelemetry = monitoring.numberOfDelayRespSinceLastTelemetry = 8;
  for (auto* figures :
       {&monitoring.masterToFollowerDelay, &monitoring.originTimestampJitter, &monitoring.offsetFromMaster,
        &monitoring.meanPathDelay, &monitoring.followerToMasterDelay, &monitoring.delayReqToDelayRespDelay}) {
    *figures = {{0, 12'000}, {0, 1'450}, {0, 1'550}, {0, 3'200}};
  }
  return record;
}

/// Keeps the console quiet while it lives.
class SilentConsole {
 public:
  SilentConsole() : console_(ReplaceConsoleSink([](std::string_view text) { return text.size(); })) {}
  ~SilentConsole() { ReplaceConsoleSink(std::move(console_)); }
  SilentConsole(const SilentConsole&) = delete;
  SilentConsole& operator=(const SilentConsole&) = delete;

 private:
  ConsoleSink console_;
};

/// A run of a Logger on files of its own.
class MonitoringRun {
 public:
  explicit MonitoringRun(std::uint32_t recordsPerBatch) {
    for (std::uint32_t i = 0; i < recordsPerBatch; ++i) {
      batch_.records[i] = PlausibleRecord(static_cast<std::uint8_t>(i % 2));
    }
    batch_.count = recordsPerBatch;
    card_.monitorData = [this](MonitorDataBatch& batch) { batch = batch_; };
    card_.state.sfpIpStatus.modulePresent = 1;

    TZvSmartPtr<IZvCardConfiguration> card;
    card = card_.Interface();
    logger_.Init(card, "", folder_.Name());
  }
  void DeliverBatch() { card_.TellMonitorData(); }
  void ChangeSfpIp() { card_.TellSfpIp(1); }
  void WriteTests(Logger::Period period, std::uint32_t minutes) {
    for (std::uint32_t sfp = 0; sfp < 2; ++sfp) {
      logger_.WritePeriodTestResults(logger_.TakePeriodResults(period, sfp), minutes, sfp, 1'700'000'000);
    }
  }

 private:
  SilentConsole console_;
  test::TemporaryFolder folder_;
  test::ScriptedCard card_;
  MonitorDataBatch batch_{};
  Logger logger_;
};

// These two write files of the same size, which the number of iterations bounds.

void BareWritesOfABatch(benchmark::State& state) {
  const test::TemporaryFolder folder;
  const std::string name = (folder.Path() / "bare").string();
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  const std::vector<char> unit(sizeof(RawDataUnit), 'x');
  for ([[maybe_unused]] auto _ : state) {
    for (std::uint32_t i = 0; i < batchSize; ++i) {
      if (write(file, unit.data(), unit.size()) < 0) state.SkipWithError("the disk is full");
    }
  }
  close(file);
}
BENCHMARK(BareWritesOfABatch)->Iterations(4000);

void TelemetryBatchToFile(benchmark::State& state) {
  MonitoringRun run(batchSize);
  for ([[maybe_unused]] auto _ : state) run.DeliverBatch();
}
BENCHMARK(TelemetryBatchToFile)->Iterations(4000);

void StatisticsOfARecord(benchmark::State& state) {
  const TelemetryRecord record = PlausibleRecord(0);
  PeriodSums quarter;
  PeriodSums day;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(&record);
    const PerformanceSample sample = MakePerformanceSample(record.performanceMonitoring);
    quarter.Add(sample);
    day.Add(sample);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(StatisticsOfARecord);

void EventDocumentToFile(benchmark::State& state) {
  MonitoringRun run(0);
  for ([[maybe_unused]] auto _ : state) run.ChangeSfpIp();
}
BENCHMARK(EventDocumentToFile)->Iterations(20000);

void ResultTextAtRandom(benchmark::State& state) {
  constexpr std::uint32_t codes[] = {
#define RESULT_CODE(code, name, description) code##U,
#include "diag/result_codes.def"
#undef RESULT_CODE
  };
  std::mt19937 random(1);
  std::vector<std::uint32_t> asked(4096);
  for (auto& code : asked) code = codes[random() % std::size(codes)];
  std::size_t next = 0;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(GetResultText(asked[next++ % asked.size()]));
}
BENCHMARK(ResultTextAtRandom);

/// All that a quiet day brings: two records a second, a period test each quarter of an hour, and the day's
/// test. The processor time is what the program costs a machine in 24 hours, but for the card services' own.
void Day(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) {
    MonitoringRun run(2);
    for (int quarter = 0; quarter < 96; ++quarter) {
      for (int second = 0; second < 900; ++second) run.DeliverBatch();
      run.WriteTests(Logger::Period::FifteenMinutes, 15);
    }
    run.WriteTests(Logger::Period::Day, 1440);
  }
}
BENCHMARK(Day)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestrune
