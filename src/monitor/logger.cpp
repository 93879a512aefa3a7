#include "monitor/logger.h"

#include <algorithm>

#include "diag/status.h"
#include "files/period_test_results.h"
#include "files/raw_data.h"
#include "monitor/event_documents.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace kestrune {
namespace {

constexpr char defaultPrefix[] = "ptpLog";

/// Ends the process with a status line when setting up the run has failed.
void EndOnFailure(const ResultHolder& result, const char* message) {
  if (result.Succeeded()) return;
  PrintStatus(message, result.Code());
  EndProcess(-1);
}

}  // namespace

Logger::Logger() : CZvUnknown(L"Logger") { NonDelegatingAddRef(); }

Logger::~Logger() {
  card_.Unregister(this);
  eventLog_.WriteEvent(BuildStartEndDocument(EventLogType::EndOfMonitoring));
  events_.PrintTimed(": Ending ST2059 monitoring.");

  periodTestResultsFile_.Close();
  eventLog_.Close();
  CloseRawDataFile();
  // While the mutexes still stand: a notification for SFP B may be under way.
  card_.Release();
}

void Logger::Init(const TZvSmartPtr<IZvCardConfiguration>& card, const std::string& prefix,
                  const std::string& folder) {
  EndOnFailure(card_.Connect(**card), "Could not initialize ST2059 monitoring");
  EndOnFailure(OpenLogFiles(prefix, folder), "Could not configure log files. Log path may be invalid");
  EndOnFailure(card_.ConfigureGenlock(this), "Could not configure the genlock interfaces or notifications");
  EndOnFailure(card_.ConfigureSt2059(this), "Could not configure the ST2059 interfaces or notifications");
  EndOnFailure(card_.ConfigureSfpIp(this), "Could not configure the SFP IP interfaces or notifications");
  EndOnFailure(card_.GetSt2059Sfps(), "Could not get ST2059 SFP interfaces");
  WriteStartOfTestRun();
  if (events_.WriteInitialState().Failed()) EndProcess(-1);
  eventLog_.WriteEvent(BuildStartEndDocument(EventLogType::StartOfMonitoring));
  events_.PrintTimed(": Starting ST2059 monitoring.");
  EndOnFailure(card_.Card().RegisterMonitorDataCallback(this), "Could not initialize ST2059 monitoring");
}

ResultHolder Logger::OpenLogFiles(const std::string& prefix, const std::string& folder) {
  prefix_ = prefix.empty() ? defaultPrefix : prefix;
  folder_ = WithSeparator(folder);
  rawDataFileName_ = folder_ + prefix_ + "_raw_data";

  // None without the one before it: of two runs that start at once, the one that takes the first takes all.
  const bool open =
      OpenRawDataFile() && eventLog_.Open(NativePath(folder_ + prefix_ + "_event_log.txt")) &&
      periodTestResultsFile_.OpenText(NativePath(folder_ + prefix_ + "_period_test_results.txt"));
  return open ? ZV_NOERROR : ZV_E_FAIL;
}

bool Logger::OpenRawDataFile() {
  const MutexLock lock(telemetryMutex_);
  return rawDataFile_.OpenUnits(NativePath(rawDataFileName_), sizeof(RawDataUnit));
}

void Logger::CloseRawDataFile() {
  const MutexLock lock(telemetryMutex_);
  rawDataFile_.Close();
}

void Logger::WriteStartOfTestRun() {
  periodTestResultsFile_.Append(LocalTimeText() + ": start of test run.\n" + PeriodTestResultsHeader() +
                                '\n');
}

PeriodResults Logger::TakePeriodResults(Period period, std::size_t sfp) {
  PeriodAccumulator taken = (period == Period::FifteenMinutes ? fifteenMinutes_ : day_)[sfp].Take();
  return ComputePeriodResults(taken);
}

void Logger::WritePeriodTestResults(const PeriodResults& results, std::uint32_t durationMinutes,
                                    std::uint32_t sfp, std::int64_t epochSeconds) {
  periodTestResultsFile_.Append(FormatPeriodTestLine(results, durationMinutes, sfp, epochSeconds));
}

HRESULT Logger::OnMonitorDataReady() {
  MonitorDataBatch batch{};
  card_.Card().GetMonitorData(&batch);

  const MutexLock lock(telemetryMutex_);
  const std::int64_t epochTime = SystemClock().EpochSeconds();
  const std::uint32_t count = std::min(batch.count, MonitorDataBatch::maximumCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    StoreRecord(epochTime, batch.records[i]);
    AddToPeriods(batch.records[i]);
  }
  return S_OK;
}

void Logger::OnGenlockStatusChange(const GenlockStatus& status) {
  events_.HandleGenlockStatus(status, false);
}

void Logger::OnSt2059StatusChange(const St2059Status& status) { events_.HandleSt2059Status(status, false); }

void Logger::OnSfpIpStatusChange(IZvSfpIp& sfp, const SfpIpStatus& status) {
  events_.HandleSfpIpStatus(sfp.GetSfpNumber(), status, false);
}

void Logger::StoreRecord(std::int64_t epochTime, const TelemetryRecord& record) {
  const RawDataUnit unit{epochTime, record};
  rawDataFile_.Append({reinterpret_cast<const char*>(&unit), sizeof unit});
}

void Logger::AddToPeriods(const TelemetryRecord& record) {
  if (record.sfp >= fifteenMinutes_.size()) {
    PrintStatus("Request to analyze performance data has an invalid SFP index", ZV_E_INVALID_PARAMETER);
    return;
  }
  const PerformanceSample sample = MakePerformanceSample(record.performanceMonitoring);
  fifteenMinutes_[record.sfp].Add(sample);
  day_[record.sfp].Add(sample);
}

}  // namespace kestrune
