#include "monitor/event_documents.h"

#include <charconv>
#include <span>

#include "diag/result_codes.h"
#include "diag/status.h"
#include "platform/clock.h"

namespace kestrune {
namespace {

struct CodeText {
  std::int64_t code;
  const char* text;
};

/// The code's text, or the fallback after a status line with `message`.
const char* TextOf(std::int64_t code, std::span<const CodeText> table, const char* message,
                   const char* fallback = "invalid") {
  for (const CodeText& row : table) {
    if (row.code == code) return row.text;
  }
  PrintStatus(message, ZV_E_INVALID_PARAMETER);
  return fallback;
}

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

std::string ClockIdText(std::uint64_t clockId) {
  char text[2 + 16] = {'0', 'x'};
  const auto end = std::to_chars(text + 2, text + sizeof text, clockId, 16).ptr;
  return {text, end};
}

/// A document of now with its three common members.
rapidjson::Document BeginDocument(EventLogType type) {
  rapidjson::Document document(rapidjson::kObjectType);
  AddDocumentHeader(document, SystemClock().EpochSeconds());
  AddText(document, "Event log type", EventLogTypeText(type));
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
  AddText(document, "Genlock state", GenlockStateText(status.state));
  return document;
}

rapidjson::Document BuildGenlockSettingsDocument(const GenlockSettings& settings) {
  auto document = BeginDocument(EventLogType::GenlockSettings);
  AddText(document, "Genlock source", GenlockSourceText(settings.source));
  AddText(document, "Genlock resolution frame rate", GenlockFrameRateText(settings.resolutionFrameRate));
  return document;
}

rapidjson::Document BuildSt2059Document(const St2059Status& status, const St2059Settings& settings) {
  auto document = BeginDocument(EventLogType::St2059);
  AddText(document, "State", St2059StateText(status.state));
  AddText(document, "Best master SFP", SfpLabelText(status.bestMasterSfp - 1U));
  AddText(document, "Best master clock ID", ClockIdText(status.bestMasterClockId));
  AddText(document, "Grand master clock ID", ClockIdText(status.grandMasterClockId));
  AddText(document, "Best master SFP selection", BestMasterSelectionText(settings.bestMasterSfpSelection));
  return document;
}

rapidjson::Document BuildSfpIpStatusDocument(std::uint32_t sfpNumber, const SfpIpStatus& status) {
  auto document = BeginDocument(EventLogType::SfpIpStatus);
  AddText(document, "SFP", SfpLabelText(sfpNumber - 1));
  AddTruth(document, "Module present", status.modulePresent);
  AddTruth(document, "Signal present", status.signalPresent);
  AddTruth(document, "Transmit error", status.transmitError);
  return document;
}

rapidjson::Document BuildSfpSt2059Document(std::uint32_t sfpNumber, const St2059SfpStatus& status) {
  auto document = BeginDocument(EventLogType::SfpSt2059);
  AddText(document, "SFP", SfpLabelText(sfpNumber - 1));
  AddText(document, "Best master clock ID", ClockIdText(status.bestMasterClockId));
  AddText(document, "Grand master clock ID", ClockIdText(status.grandMasterClockId));
  AddInteger(document, "Offset from master", status.offsetFromMaster);
  AddInteger(document, "Average mean path delay", status.averageMeanPathDelay);

  auto& allocator = document.GetAllocator();
  rapidjson::Value lastCorrection(rapidjson::kObjectType);
  lastCorrection.AddMember("seconds", status.lastCorrectionSeconds, allocator);
  lastCorrection.AddMember("nanoseconds", status.lastCorrectionNanoseconds, allocator);
  document.AddMember("Last correction", lastCorrection, allocator);

  AddText(document, "State", St2059StateText(status.state));
  return document;
}

void AddDocumentHeader(rapidjson::Document& document, std::int64_t epochSeconds) {
  AddText(document, "Time", LocalTimeText(epochSeconds));
  AddInteger(document, "Epoch time", epochSeconds);
}

std::string EventLogTypeText(EventLogType type) {
  static constexpr CodeText table[] = {
      {1, "start of monitoring"},  {2, "end of monitoring"},      {3, "genlock status"},
      {4, "genlock settings"},     {5, "ST2059 status/settings"}, {6, "SFP IP status"},
      {7, "SFP ST2059 telemetry"},
  };
  return TextOf(static_cast<std::int32_t>(type), table, "Invalid log type", "Invalid");
}

std::string GenlockStateText(std::uint32_t state) {
  static constexpr CodeText table[] = {
      {1, "locked"}, {2, "unlocked"}, {3, "free running"}, {4, "recovering"}, {5, "relocking"},
  };
  return TextOf(state, table, "Invalid genlock state");
}

std::string GenlockSourceText(std::uint32_t source) {
  static constexpr CodeText table[] = {{1, "internal"}, {128, "ST2059"}};
  return TextOf(source, table, "Invalid or irrelevent genlock source for IP boardsstate",
                "invalid or irrelevent");
}

std::string GenlockFrameRateText(std::uint32_t frameRate) {
  static constexpr CodeText table[] = {
      {1, "24"}, {2, "24M"}, {3, "25"}, {4, "30"}, {5, "30M"}, {8, "50"}, {10, "60M"},
  };
  return TextOf(frameRate, table, "Invalid genlock resolution frame rate");
}

std::string SfpLabelText(std::uint32_t sfpIndex) {
  static constexpr CodeText table[] = {{0, "SFP A"}, {1, "SFP B"}};
  return TextOf(sfpIndex, table, "Invalid SFP index");
}

std::string_view St2059StateText(std::int32_t state) {
  static constexpr CodeText table[] = {
      {1, "initializing"},      {2, "faulty"},           {3, "disabled"}, {4, "listening"},
      {5, "pre-leader"},        {6, "leader"},           {7, "passive"},  {8, "uncalibrated"},
      {9, "follower unlocked"}, {10, "follower locked"},
  };
  return TextOf(state, table, "Invalid ST2059 state");
}

std::string BestMasterSelectionText(std::uint32_t selection) {
  static constexpr CodeText table[] = {{1, "automatic"}, {2, "SFP A"}, {3, "SFP B"}};
  return TextOf(selection, table, "Invalid ST2059 best master selection");
}

}  // namespace kestrune
