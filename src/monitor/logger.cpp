#include "monitor/logger.h"

#include <algorithm>
#include <new>

#include "diag/status.h"
#include "files/period_test_results.h"
#include "files/raw_data.h"
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
  if (!card_.IsNull()) card_->UnregisterMonitorDataCallback(this);
  if (!genlockNotification_.IsNull()) genlockNotification_->UnregisterCallback(genlockCallback_.Get());
  if (!smpte2059_.IsNull()) smpte2059_->UnregisterCallback(st2059Callback_.Get());
  // SFP B's callback stays registered, on purpose, until its interface is released below.
  if (!sfpIps_[0].IsNull()) sfpIps_[0]->UnregisterCallback(sfpIpCallback_.Get());

  WriteEvent(BuildStartEndDocument(EventLogType::EndOfMonitoring));
  PrintTimed(": Ending ST2059 monitoring.");

  periodTestResultsFile_.Close();
  {
    const std::lock_guard lock(eventLogMutex_);
    eventLogFile_.Close();
  }
  {
    const std::lock_guard lock(telemetryMutex_);
    rawDataFile_.Close();
  }
  sfpIpCallback_ = nullptr;
  st2059Callback_ = nullptr;
  genlockCallback_ = nullptr;
  // The card's interfaces go while the mutexes still stand: a notification for SFP B may be under way.
  st2059Sfps_[1] = nullptr;
  st2059Sfps_[0] = nullptr;
  sfpIps_[1] = nullptr;
  sfpIps_[0] = nullptr;
  smpte2059_ = nullptr;
  genlockNotification_ = nullptr;
  genlockConfiguration_ = nullptr;
  card_ = nullptr;
}

void Logger::Init(const TZvSmartPtr<IZvCardConfiguration>& card, const std::string& prefix,
                  const std::string& folder) {
  EndOnFailure(
      CheckGiven(card->QueryInterface(IID_IZvCardConfigurationPrivate, reinterpret_cast<void**>(&card_)),
                 card_),
      "Could not initialize ST2059 monitoring");
  EndOnFailure(OpenLogFiles(prefix, folder), "Could not configure log files. Log path may be invalid");
  EndOnFailure(ConfigureGenlock(), "Could not configure the genlock interfaces or notifications");
  EndOnFailure(ConfigureSt2059(), "Could not configure the ST2059 interfaces or notifications");
  EndOnFailure(ConfigureSfpIp(), "Could not configure the SFP IP interfaces or notifications");
  EndOnFailure(GetSt2059Sfps(), "Could not get ST2059 SFP interfaces");
  WriteStartOfTestRun();
  WriteInitialState();
  WriteEvent(BuildStartEndDocument(EventLogType::StartOfMonitoring));
  PrintTimed(": Starting ST2059 monitoring.");
  EndOnFailure(card_->RegisterMonitorDataCallback(this), "Could not initialize ST2059 monitoring");
}

ResultHolder Logger::OpenLogFiles(const std::string& prefix, const std::string& folder) {
  prefix_ = prefix.empty() ? defaultPrefix : prefix;
  folder_ = WithSeparator(folder);
  rawDataFileName_ = folder_ + prefix_ + "_raw_data";

  // Each is opened, whatever came of the others.
  const bool rawData = rawDataFile_.OpenUnits(NativePath(rawDataFileName_), sizeof(RawDataUnit));
  const bool eventLog = eventLogFile_.OpenText(NativePath(folder_ + prefix_ + "_event_log.txt"));
  const bool periodTestResults =
      periodTestResultsFile_.OpenText(NativePath(folder_ + prefix_ + "_period_test_results.txt"));
  return rawData && eventLog && periodTestResults ? ZV_NOERROR : ZV_E_FAIL;
}

ResultHolder Logger::ConfigureGenlock() {
  ResultHolder result =
      CheckGiven(card_->GetGenlockConfiguration(&genlockConfiguration_), genlockConfiguration_);
  if (result.Succeeded()) {
    result = CheckGiven(genlockConfiguration_->GetNotification(&genlockNotification_), genlockNotification_);
  }
  if (result.Failed()) return result;

  genlockCallback_ = new (std::nothrow) GenlockStatusCallback(this);
  if (genlockCallback_.IsNull()) return ZV_E_FAIL;
  return genlockNotification_->RegisterCallback(*genlockCallback_);
}

ResultHolder Logger::ConfigureSt2059() {
  const ResultHolder result = CheckGiven(card_->GetSmpte2059(&smpte2059_), smpte2059_);
  if (result.Failed()) return result;

  st2059Callback_ = new ST2059StatusCallback(this);
  return smpte2059_->RegisterCallback(*st2059Callback_);
}

ResultHolder Logger::ConfigureSfpIp() {
  ResultHolder result = FindSfpIps();
  if (result.Failed()) return result;

  sfpIpCallback_ = new SfpIpNotificationCallback(this);
  for (std::size_t i = 0; i < sfpCount && result.Succeeded(); ++i) {
    result = sfpIps_[i]->RegisterCallback(*sfpIpCallback_);
  }
  return result;
}

ResultHolder Logger::FindSfpIps() {
  TZvSmartPtr<IZvSfpIpEnumerator> enumerator;
  ResultHolder result = CheckGiven(card_->CreateSfpIpEnumerator(&enumerator), enumerator);
  while (result.Succeeded() && (sfpIps_[0].IsNull() || sfpIps_[1].IsNull())) {
    TZvSmartPtr<IZvSfpIp> sfpIp;
    result = CheckGiven(enumerator->Next(&sfpIp), sfpIp);
    if (result.Failed()) break;
    const std::uint32_t sfpNumber = sfpIp->GetSfpNumber();
    if (sfpNumber == 1 || sfpNumber == 2) sfpIps_[sfpNumber - 1] = sfpIp;
  }
  return result;
}

ResultHolder Logger::GetSt2059Sfps() {
  ResultHolder result;
  for (std::size_t i = 0; i < sfpCount && result.Succeeded(); ++i) {
    result = CheckGiven(smpte2059_->GetSfp(*sfpIps_[i], &st2059Sfps_[i]), st2059Sfps_[i]);
  }
  st2059SfpsReady_ = result.Succeeded();
  return result;
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
  card_->GetMonitorData(&batch);

  const std::lock_guard lock(telemetryMutex_);
  const std::int64_t epochTime = SystemClock().EpochSeconds();
  const std::uint32_t count = std::min(batch.count, MonitorDataBatch::maximumCount);
  for (std::uint32_t i = 0; i < count; ++i) {
    StoreRecord(epochTime, batch.records[i]);
    AddToPeriods(batch.records[i]);
  }
  return S_OK;
}

void Logger::StoreRecord(std::int64_t epochTime, const TelemetryRecord& record) {
  const RawDataUnit unit{epochTime, record};
  rawDataFile_.Append({reinterpret_cast<const char*>(&unit), sizeof unit});
}

void Logger::AddToPeriods(const TelemetryRecord& record) {
  if (record.sfp >= sfpCount) {
    PrintStatus("Request to analyze performance data has an invalid SFP index", ZV_E_INVALID_PARAMETER);
    return;
  }
  const PerformanceSample sample = MakePerformanceSample(record.performanceMonitoring);
  fifteenMinutes_[record.sfp].Add(sample);
  day_[record.sfp].Add(sample);
}

}  // namespace kestrune
