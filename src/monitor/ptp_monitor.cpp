#include "monitor/ptp_monitor.h"

#include <algorithm>
#include <utility>

namespace kestrune {
namespace {

constexpr std::int64_t quarterTicks = 900 * ticksPerSecond;
constexpr std::int64_t hourTicks = 3600 * ticksPerSecond;
constexpr std::int64_t dayTicks = 86'400 * ticksPerSecond;
constexpr std::int64_t endlessHours = 876'000;
/// Ten thousand years: what 64 bits of ticks hold with room to spare.
constexpr std::int64_t mostHours = 87'600'000;

std::int64_t DurationTicks(std::uint32_t durationHours) {
  const std::int64_t hours = durationHours == 0 ? endlessHours : static_cast<std::int32_t>(durationHours);
  return std::clamp(hours, -mostHours, mostHours) * hourTicks;
}

}  // namespace

void PtpMonitor::SetLogger(std::unique_ptr<Logger> logger) {
  logger_.reset();
  logger_ = std::move(logger);
}

void PtpMonitor::Run(TZvSmartPtr<IZvCardConfiguration> card, const std::string& prefix,
                     const std::string& folder, std::uint32_t durationHours) {
  logger_->Init(card, prefix, folder);

  const std::int64_t end = clock_.NowTicks() + DurationTicks(durationHours);
  std::int64_t nextQuarter = clock_.NowTicks() + quarterTicks;
  std::int64_t nextDay = clock_.NowTicks() + dayTicks;

  while (clock_.NowTicks() < end) {
    while (clock_.NowTicks() < nextQuarter) clock_.SleepUntil(nextQuarter);
    nextQuarter += quarterTicks;

    const std::int64_t epochSeconds = clock_.EpochSeconds();
    WriteTests(Logger::Period::FifteenMinutes, 15, epochSeconds);
    if (clock_.NowTicks() >= nextDay) {
      nextDay += dayTicks;
      WriteTests(Logger::Period::Day, 1440, epochSeconds);
    }
  }
}

void PtpMonitor::WriteTests(Logger::Period period, std::uint32_t durationMinutes, std::int64_t epochSeconds) {
  const PeriodResults sfpB = logger_->TakePeriodResults(period, 1);
  const PeriodResults sfpA = logger_->TakePeriodResults(period, 0);
  logger_->WritePeriodTestResults(sfpA, durationMinutes, 0, epochSeconds);
  logger_->WritePeriodTestResults(sfpB, durationMinutes, 1, epochSeconds);
}

}  // namespace kestrune
