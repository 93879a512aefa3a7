#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "monitor/logger.h"
#include "platform/clock.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"
#include "sdk/zv_unknown.h"

namespace kestrune {

/// Drives the periodic tests of one monitoring run. Main thread only.
class PtpMonitor : public CZvUnknown {
 public:
  /// `clock` tells when a period ends; it is not owned and outlives the monitor.
  explicit PtpMonitor(Clock& clock) : CZvUnknown(L"PtpMonitor"), clock_(clock) {}

  ZV_FORWARD_UNKNOWN()

  /// The run's logger; one held before is destroyed first.
  void SetLogger(std::unique_ptr<Logger> logger);

  /// Initialises the logger with the card, prefix and folder, then writes a test of each SFP every 15 minutes
  /// and every 24 hours, counted from the start of the run, until the duration has passed: the run ends with
  /// the first 15-minute test at or behind its end. `durationHours` is taken as signed: 0 means 100 years, a
  /// negative one no test at all. Boundaries that were slept through follow one another without a pause.
  void Run(TZvSmartPtr<IZvCardConfiguration> card, const std::string& prefix, const std::string& folder,
           std::uint32_t durationHours);

 private:
  void WriteTests(Logger::Period period, std::uint32_t durationMinutes, std::int64_t epochSeconds);

  Clock& clock_;
  std::unique_ptr<Logger> logger_;
};

}  // namespace kestrune
