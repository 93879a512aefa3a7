#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "diag/result_holder.h"
#include "files/period_statistics.h"
#include "monitor/card_connection.h"
#include "monitor/card_events.h"
#include "monitor/event_log.h"
#include "monitor/log_file.h"
#include "monitor/period_sums.h"
#include "platform/mutex.h"
#include "sdk/callbacks.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"
#include "sdk/zv_unknown.h"

namespace kestrune {

/// Owns the three files of a run and receives everything that the card reports.
///
/// Threads: the main thread constructs, initialises, takes period results and destroys. Threads of the card
/// services deliver telemetry and status changes from Init on, at the same time as each other and the main
/// thread. The three mutexes (of the telemetry, the event log and the alerts) are never held together.
class Logger : public CZvUnknown,
               public IZvSmpte2059MonitorDataNotificationCallback,
               public GenlockStatusChangeNotificationSubscriber,
               public ST2059StatusNotificationSubscriber,
               public SfpIpNotificationSubscriber {
 public:
  enum class Period : std::uint8_t { FifteenMinutes, Day };

  /// The card services may take and give back references as they like: the Logger holds one on itself as long
  /// as it lives, and its owner deletes it.
  Logger();

  /// Unregisters (but for SFP B's callback, which goes with its interface), logs the end of monitoring and
  /// closes the files.
  ~Logger() override;

  ZV_FORWARD_UNKNOWN(override)

  /// Opens the files, registers with the card, logs the state that it finds and announces the start. `prefix`
  /// and `folder` may be empty: "ptpLog", the current working directory. Called once. A failure prints its
  /// status line and ends the process with status -1.
  void Init(const TZvSmartPtr<IZvCardConfiguration>& card, const std::string& prefix,
            const std::string& folder);

  /// Computes the results of the period that ends now for SFP index `sfp`, and begins the next. Main thread,
  /// which never waits for a file that another thread writes.
  PeriodResults TakePeriodResults(Period period, std::size_t sfp);

  /// Appends one line to the period test results; the parameters are those of FormatPeriodTestLine. Main
  /// thread.
  void WritePeriodTestResults(const PeriodResults& results, std::uint32_t durationMinutes, std::uint32_t sfp,
                              std::int64_t epochSeconds);

  /// Fetches the waiting telemetry, stores every record and adds it to its SFP's periods. Card services'
  /// thread.
  HRESULT STDMETHODCALLTYPE OnMonitorDataReady() override;

  // Log and announce a change. Card services' threads.
  void OnGenlockStatusChange(const GenlockStatus& status) override;
  void OnSt2059StatusChange(const St2059Status& status) override;
  void OnSfpIpStatusChange(IZvSfpIp& sfp, const SfpIpStatus& status) override;

 private:
  ResultHolder OpenLogFiles(const std::string& prefix, const std::string& folder);
  bool OpenRawDataFile();
  void CloseRawDataFile();
  void WriteStartOfTestRun();
  void StoreRecord(std::int64_t epochTime, const TelemetryRecord& record) REQUIRES(telemetryMutex_);
  void AddToPeriods(const TelemetryRecord& record) REQUIRES(telemetryMutex_);

  // Of SFP A and SFP B; added to under telemetryMutex_, taken by the main thread without it.
  std::array<PeriodSums, CardConnection::sfpCount> fifteenMinutes_;
  std::array<PeriodSums, CardConnection::sfpCount> day_;

  CardConnection card_;
  Mutex telemetryMutex_;
  LogFile rawDataFile_ GUARDED_BY(telemetryMutex_){"raw data", "Records"};
  EventLog eventLog_;
  LogFile periodTestResultsFile_{"period test results", "Lines"};  ///< main thread only
  CardEvents events_{card_, eventLog_};

  // Main thread only.
  std::string rawDataFileName_;
  std::string folder_;
  std::string prefix_;
};

}  // namespace kestrune
