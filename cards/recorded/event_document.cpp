#include "recorded/event_document.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <charconv>
#include <span>
#include <string_view>

namespace kestrune::recorded {
namespace {

struct CodeText {
  std::uint32_t code;
  std::string_view text;
};

// The last row of a table stands for every code without a text.
constexpr CodeText documentTypes[] = {
    {0, "start of monitoring"},  {1, "end of monitoring"},      {2, "genlock status"},
    {3, "genlock settings"},     {4, "ST2059 status/settings"}, {5, "SFP IP status"},
    {6, "SFP ST2059 telemetry"},
};
constexpr CodeText genlockStates[] = {
    {1, "locked"}, {2, "unlocked"}, {3, "free running"}, {4, "recovering"}, {5, "relocking"}, {0, "invalid"},
};
// Not 0: source and frame rate 0 are no settings to the monitor.
constexpr CodeText genlockSources[] = {{1, "internal"}, {128, "ST2059"}, {255, "invalid or irrelevent"}};
constexpr CodeText genlockFrameRates[] = {
    {1, "24"}, {2, "24M"}, {3, "25"}, {4, "30"}, {5, "30M"}, {8, "50"}, {10, "60M"}, {9, "invalid"},
};
constexpr CodeText sfpNumbers[] = {{1, "SFP A"}, {2, "SFP B"}, {0, "invalid"}};
constexpr CodeText portStates[] = {
    {1, "initializing"},      {2, "faulty"},           {3, "disabled"}, {4, "listening"},
    {5, "pre-leader"},        {6, "leader"},           {7, "passive"},  {8, "uncalibrated"},
    {9, "follower unlocked"}, {10, "follower locked"}, {0, "invalid"},
};
constexpr CodeText bestMasterSelections[] = {{1, "automatic"}, {2, "SFP A"}, {3, "SFP B"}, {0, "invalid"}};

/// Reads members of a document; whether all were there and made sense is told at the end.
class Members {
 public:
  explicit Members(const rapidjson::Value& object) : object_(object) {}

  bool Good() const { return good_; }

  std::uint32_t Code(const char* name, std::span<const CodeText> table) {
    const auto row = std::ranges::find(table, Text(name), &CodeText::text);
    if (row == table.end()) return Bad<std::uint32_t>();
    return row->code;
  }

  std::uint8_t Truth(const char* name) {
    const std::string_view text = Text(name);
    if (text != "true" && text != "false") return Bad<std::uint8_t>();
    return text == "true";
  }

  std::uint64_t ClockId(const char* name) {
    const std::string_view text = Text(name);
    std::uint64_t id = 0;
    if (!text.starts_with("0x")) return Bad<std::uint64_t>();
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), id, 16);
    return error == std::errc() && end == text.data() + text.size() ? id : Bad<std::uint64_t>();
  }

  std::int32_t Whole(const char* name) {
    const rapidjson::Value* value = Find(name);
    return value != nullptr && value->IsInt() ? value->GetInt() : Bad<std::int32_t>();
  }

  std::int64_t Epoch() {
    const rapidjson::Value* value = Find("Epoch time");
    return value != nullptr && value->IsInt64() ? value->GetInt64() : Bad<std::int64_t>();
  }

  Members Object(const char* name) {
    static const rapidjson::Value none;
    const rapidjson::Value* value = Find(name);
    return Members(value != nullptr ? *value : none);
  }

  void AlsoNeeds(const Members& other) { good_ = good_ && other.good_; }

 private:
  const rapidjson::Value* Find(const char* name) const {
    if (!object_.IsObject()) return nullptr;
    const auto member = object_.FindMember(name);
    return member != object_.MemberEnd() ? &member->value : nullptr;
  }

  std::string_view Text(const char* name) const {
    const rapidjson::Value* value = Find(name);
    if (value == nullptr || !value->IsString()) return {};
    return {value->GetString(), value->GetStringLength()};
  }

  template <class Value>
  Value Bad() {
    good_ = false;
    return {};
  }

  const rapidjson::Value& object_;
  bool good_ = true;
};

void ReadSfpSt2059(Members& members, St2059SfpStatus& status) {
  status.bestMasterClockId = members.ClockId("Best master clock ID");
  status.grandMasterClockId = members.ClockId("Grand master clock ID");
  status.offsetFromMaster = members.Whole("Offset from master");
  status.averageMeanPathDelay = members.Whole("Average mean path delay");
  Members correction = members.Object("Last correction");
  status.lastCorrectionSeconds = correction.Whole("seconds");
  status.lastCorrectionNanoseconds = correction.Whole("nanoseconds");
  members.AlsoNeeds(correction);
  status.state = static_cast<std::int32_t>(members.Code("State", portStates));
}

void ReadSfp(Members& members, EventDocument& document) {
  const std::uint32_t number = members.Code("SFP", std::span(sfpNumbers).first(2));
  document.sfp = number == 2 ? 1 : 0;
}

void ReadState(Members& members, EventDocument& document) {
  CardState& state = document.state;
  switch (document.type) {
    case DocumentType::StartOfMonitoring:
    case DocumentType::EndOfMonitoring:
      return;
    case DocumentType::GenlockStatus:
      state.genlockStatus.state = members.Code("Genlock state", genlockStates);
      return;
    case DocumentType::GenlockSettings:
      state.genlockSettings.source = members.Code("Genlock source", genlockSources);
      state.genlockSettings.resolutionFrameRate =
          members.Code("Genlock resolution frame rate", genlockFrameRates);
      return;
    case DocumentType::St2059:
      state.st2059Status.state = static_cast<std::int32_t>(members.Code("State", portStates));
      state.st2059Status.bestMasterSfp =
          static_cast<std::uint8_t>(members.Code("Best master SFP", sfpNumbers));
      state.st2059Status.bestMasterClockId = members.ClockId("Best master clock ID");
      state.st2059Status.grandMasterClockId = members.ClockId("Grand master clock ID");
      state.st2059Settings.bestMasterSfpSelection =
          members.Code("Best master SFP selection", bestMasterSelections);
      return;
    case DocumentType::SfpIpStatus: {
      ReadSfp(members, document);
      SfpIpStatus& status = state.sfpIps[document.sfp];
      status.modulePresent = members.Truth("Module present");
      status.signalPresent = members.Truth("Signal present");
      status.transmitError = members.Truth("Transmit error");
      return;
    }
    case DocumentType::SfpSt2059:
      ReadSfp(members, document);
      return ReadSfpSt2059(members, state.st2059Sfps[document.sfp]);
  }
}

}  // namespace

std::optional<EventDocument> ParseEventDocument(const std::string& text) {
  rapidjson::Document json;
  json.Parse(text.c_str(), text.size());
  if (json.HasParseError()) return std::nullopt;
  Members members(json);
  EventDocument document{.type = static_cast<DocumentType>(members.Code("Event log type", documentTypes)),
                         .epochTime = members.Epoch()};
  if (members.Good()) ReadState(members, document);
  if (!members.Good()) return std::nullopt;
  return document;
}

void Apply(const EventDocument& document, CardState& state) {
  switch (document.type) {
    case DocumentType::StartOfMonitoring:
    case DocumentType::EndOfMonitoring:
      return;
    case DocumentType::GenlockStatus:
      state.genlockStatus = document.state.genlockStatus;
      return;
    case DocumentType::GenlockSettings:
      state.genlockSettings = document.state.genlockSettings;
      return;
    case DocumentType::St2059:
      state.st2059Status = document.state.st2059Status;
      state.st2059Settings = document.state.st2059Settings;
      return;
    case DocumentType::SfpIpStatus:
      state.sfpIps[document.sfp] = document.state.sfpIps[document.sfp];
      return;
    case DocumentType::SfpSt2059:
      state.st2059Sfps[document.sfp] = document.state.st2059Sfps[document.sfp];
      return;
  }
}

}  // namespace kestrune::recorded
