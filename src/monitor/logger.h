#pragma once

#include <rapidjson/document.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

#include "diag/result_holder.h"
#include "monitor/event_documents.h"
#include "monitor/log_file.h"
#include "files/period_statistics.h"
#include "monitor/period_sums.h"
#include "sdk/callbacks.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"
#include "sdk/zv_unknown.h"

namespace kestrune {

/// Owns the three files of a run and receives everything that the card reports.
///
/// Threads: the main thread constructs, initialises, takes period results and destroys. Threads of the card
/// services deliver telemetry and status changes from Init on, at the same time as each other and the main
/// thread. The three mutexes are never held together.
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
  static constexpr std::size_t sfpCount = 2;

  ResultHolder OpenLogFiles(const std::string& prefix, const std::string& folder);
  ResultHolder ConfigureGenlock();
  ResultHolder ConfigureSt2059();
  ResultHolder ConfigureSfpIp();
  ResultHolder FindSfpIps();
  ResultHolder GetSt2059Sfps();
  void WriteStartOfTestRun();

  void WriteInitialState();
  ResultHolder WriteInitialGenlockStatus();
  ResultHolder WriteInitialSt2059Status();
  ResultHolder WriteInitialSfpIpStatus();

  void HandleGenlockStatus(const GenlockStatus& status, bool initial);
  void HandleGenlockSettings(bool initial);
  void HandleSt2059Status(const St2059Status& status, bool initial);
  void HandleSfpIpStatus(std::uint32_t sfpNumber, const SfpIpStatus& status, bool initial);
  void WriteSfpSt2059Statuses();

  void StoreRecord(std::int64_t epochTime, const TelemetryRecord& record);
  void AddToPeriods(const TelemetryRecord& record);

  void WriteEvent(const rapidjson::Document& document);
  /// Prints the local time and `text` as one line.
  void PrintTimed(const char* text);

  // Of SFP A and SFP B; added to under telemetryMutex_, taken by the main thread without it.
  std::array<PeriodSums, sfpCount> fifteenMinutes_;
  std::array<PeriodSums, sfpCount> day_;

  // Set by the main thread before the card services can call what uses them, but for st2059Sfps_: those are
  // complete once st2059SfpsReady_ is set.
  TZvSmartPtr<IZvCardConfigurationPrivate> card_;
  TZvSmartPtr<IZvGenlockConfiguration> genlockConfiguration_;
  TZvSmartPtr<IZvGenlockNotification> genlockNotification_;
  TZvSmartPtr<IZvSmpte2059> smpte2059_;
  std::array<TZvSmartPtr<IZvSfpIp>, sfpCount> sfpIps_;
  std::array<TZvSmartPtr<IZvSmpte2059Sfp>, sfpCount> st2059Sfps_;
  std::atomic<bool> st2059SfpsReady_ = false;
  TZvSmartPtr<GenlockStatusCallback> genlockCallback_;
  TZvSmartPtr<ST2059StatusCallback> st2059Callback_;
  TZvSmartPtr<SfpIpNotificationCallback> sfpIpCallback_;

  std::mutex telemetryMutex_;
  std::mutex eventLogMutex_;
  std::mutex consoleMutex_;  ///< guards the lines of PrintTimed on the console

  LogFile rawDataFile_{"raw data", "Records"};                     ///< guarded by telemetryMutex_
  LogFile eventLogFile_{"event log", "Documents"};                 ///< guarded by eventLogMutex_
  LogFile periodTestResultsFile_{"period test results", "Lines"};  ///< main thread only

  // Main thread only.
  std::string rawDataFileName_;
  std::string folder_;
  std::string prefix_;

  // Last known genlock settings. No mutex: the card services report genlock changes one after the other, and
  // the initial state may meet the first of them.
  std::atomic<std::uint32_t> genlockSource_ = 0;
  std::atomic<std::uint32_t> genlockFrameRate_ = 0;
};

}  // namespace kestrune
