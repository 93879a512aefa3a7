#include "monitor/event_documents.h"

#include "diag/result_codes.h"
#include "diag/status.h"
#include "files/code_texts.h"
#include "platform/clock.h"

namespace kestrune {
namespace {

namespace members = event_members;

void AddText(rapidjson::Document& document, const char* key, std::string_view text) {
  auto& allocator = document.GetAllocator();
  rapidjson::Value value(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
  document.AddMember(rapidjson::StringRef(key), value, allocator);
}

template <class Integer>
void AddInteger(rapidjson::Document& document, const char* key, Integer value) {
  document.AddMember(rapidjson::StringRef(key), rapidjson::Value(value), document.GetAllocator());
}

/// A JSON string, not a JSON boolean: readers of the log rely on it.
void AddTruth(rapidjson::Document& document, const char* key, std::uint8_t value) {
  AddText(document, key, value != 0 ? "true" : "false");
}

/// A document of now with its three common members.
rapidjson::Document BeginDocument(EventLogType type) {
  rapidjson::Document document(rapidjson::kObjectType);
  AddDocumentHeader(document, SystemClock().EpochSeconds());
  AddText(document, members::eventLogType, EventLogTypeText(type));
  return document;
}

}  // namespace

rapidjson::Document BuildStartEndDocument(EventLogType type) {
  if (type != EventLogType::StartOfMonitoring && type != EventLogType::EndOfMonitoring) {
    PrintStatus("Invalid event log type for starting and stopping monitoring", ZV_E_INVALID_PARAMETER);
    return rapidjson::Document(rapidjson::kObjectType);
  }
  return BeginDocument(type);
}

rapidjson::Document BuildGenlockStatusDocument(const GenlockStatus& status) {
  auto document = BeginDocument(EventLogType::GenlockStatus);
  AddText(document, members::genlockState, GenlockStateText(status.state));
  return document;
}

rapidjson::Document BuildGenlockSettingsDocument(const GenlockSettings& settings) {
  auto document = BeginDocument(EventLogType::GenlockSettings);
  AddText(document, members::genlockSource, GenlockSourceText(settings.source));
  AddText(document, members::genlockFrameRate, GenlockFrameRateText(settings.resolutionFrameRate));
  return document;
}

rapidjson::Document BuildSt2059Document(const St2059Status& status, const St2059Settings& settings) {
  auto document = BeginDocument(EventLogType::St2059);
  AddText(document, members::state, St2059StateText(status.state));
  AddText(document, members::bestMasterSfp, SfpLabelText(status.bestMasterSfp - 1U));
  AddText(document, members::bestMasterClockId, ClockIdText(status.bestMasterClockId));
  AddText(document, members::grandMasterClockId, ClockIdText(status.grandMasterClockId));
  AddText(document, members::bestMasterSfpSelection,
          BestMasterSelectionText(settings.bestMasterSfpSelection));
  return document;
}

rapidjson::Document BuildSfpIpStatusDocument(std::uint32_t sfpNumber, const SfpIpStatus& status) {
  auto document = BeginDocument(EventLogType::SfpIpStatus);
  AddText(document, members::sfp, SfpLabelText(sfpNumber - 1));
  AddTruth(document, members::modulePresent, status.modulePresent);
  AddTruth(document, members::signalPresent, status.signalPresent);
  AddTruth(document, members::transmitError, status.transmitError);
  return document;
}

rapidjson::Document BuildSfpSt2059Document(std::uint32_t sfpNumber, const St2059SfpStatus& status) {
  auto document = BeginDocument(EventLogType::SfpSt2059);
  AddText(document, members::sfp, SfpLabelText(sfpNumber - 1));
  AddText(document, members::bestMasterClockId, ClockIdText(status.bestMasterClockId));
  AddText(document, members::grandMasterClockId, ClockIdText(status.grandMasterClockId));
  AddInteger(document, members::offsetFromMaster, status.offsetFromMaster);
  AddInteger(document, members::averageMeanPathDelay, status.averageMeanPathDelay);

  auto& allocator = document.GetAllocator();
  rapidjson::Value lastCorrection(rapidjson::kObjectType);
  lastCorrection.AddMember(rapidjson::StringRef(members::seconds), status.lastCorrection.seconds, allocator);
  lastCorrection.AddMember(rapidjson::StringRef(members::nanoseconds), status.lastCorrection.nanoseconds,
                           allocator);
  document.AddMember(rapidjson::StringRef(members::lastCorrection), lastCorrection, allocator);

  AddText(document, members::state, St2059StateText(status.state));
  return document;
}

void AddDocumentHeader(rapidjson::Document& document, std::int64_t epochSeconds) {
  AddText(document, members::time, LocalTimeText(epochSeconds));
  AddInteger(document, members::epochTime, epochSeconds);
}

}  // namespace kestrune
