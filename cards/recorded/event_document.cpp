#include "recorded/event_document.h"

#include <rapidjson/document.h>

#include <charconv>
#include <span>
#include <string_view>

#include "files/code_texts.h"

namespace kestrune::recorded {
namespace {

/// What stands in the files for every code without a text, and the code that it becomes.
struct NoText {
  std::string_view text;
  std::uint32_t code;
};
constexpr NoText invalid{"invalid", 0};
// Not 0: source and frame rate 0 are no settings to the monitor.
constexpr NoText invalidGenlockSource{"invalid or irrelevent", 255};
constexpr NoText invalidGenlockFrameRate{"invalid", 9};

/// Reads members of a document; whether all were there and made sense is told at the end.
class Members {
 public:
  explicit Members(const rapidjson::Value& object) : object_(object) {}

  bool Good() const { return good_; }

  std::uint32_t Code(const char* name, std::span<const CodeText> table, NoText noText = {"", 0}) {
    const std::string_view text = Text(name);
    if (const auto code = CodeOf(table, text)) return static_cast<std::uint32_t>(*code);
    return !text.empty() && text == noText.text ? noText.code : Bad<std::uint32_t>();
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
    const rapidjson::Value* value = Find(event_members::epochTime);
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
  status.bestMasterClockId = members.ClockId(event_members::bestMasterClockId);
  status.grandMasterClockId = members.ClockId(event_members::grandMasterClockId);
  status.offsetFromMaster = members.Whole(event_members::offsetFromMaster);
  status.averageMeanPathDelay = members.Whole(event_members::averageMeanPathDelay);
  Members correction = members.Object(event_members::lastCorrection);
  status.lastCorrection.seconds = correction.Whole(event_members::seconds);
  status.lastCorrection.nanoseconds = correction.Whole(event_members::nanoseconds);
  members.AlsoNeeds(correction);
  status.state = static_cast<std::int32_t>(members.Code(event_members::state, st2059States, invalid));
}

void ReadSfp(Members& members, EventDocument& document) {
  document.sfp = members.Code(event_members::sfp, sfpLabels);
}

void ReadState(Members& members, EventDocument& document) {
  CardState& state = document.state;
  switch (document.type) {
    case EventLogType::StartOfMonitoring:
    case EventLogType::EndOfMonitoring:
      return;
    case EventLogType::GenlockStatus:
      state.genlockStatus.state = members.Code(event_members::genlockState, genlockStates, invalid);
      return;
    case EventLogType::GenlockSettings:
      state.genlockSettings.source =
          members.Code(event_members::genlockSource, genlockSources, invalidGenlockSource);
      state.genlockSettings.resolutionFrameRate =
          members.Code(event_members::genlockFrameRate, genlockFrameRates, invalidGenlockFrameRate);
      return;
    case EventLogType::St2059:
      state.st2059Status.state =
          static_cast<std::int32_t>(members.Code(event_members::state, st2059States, invalid));
      // A number: 1 for SFP A. What is no SFP has the index before it.
      state.st2059Status.bestMasterSfp = static_cast<std::uint8_t>(
          members.Code(event_members::bestMasterSfp, sfpLabels, {"invalid", UINT32_MAX}) + 1);
      state.st2059Status.bestMasterClockId = members.ClockId(event_members::bestMasterClockId);
      state.st2059Status.grandMasterClockId = members.ClockId(event_members::grandMasterClockId);
      state.st2059Settings.bestMasterSfpSelection =
          members.Code(event_members::bestMasterSfpSelection, bestMasterSelections, invalid);
      return;
    case EventLogType::SfpIpStatus: {
      ReadSfp(members, document);
      SfpIpStatus& status = state.sfpIps[document.sfp];
      status.modulePresent = members.Truth(event_members::modulePresent);
      status.signalPresent = members.Truth(event_members::signalPresent);
      status.transmitError = members.Truth(event_members::transmitError);
      return;
    }
    case EventLogType::SfpSt2059:
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
  EventDocument document{
      .type = static_cast<EventLogType>(members.Code(event_members::eventLogType, eventLogTypes)),
      .epochTime = members.Epoch()};
  if (members.Good()) ReadState(members, document);
  if (!members.Good()) return std::nullopt;
  return document;
}

void Apply(const EventDocument& document, CardState& state) {
  switch (document.type) {
    case EventLogType::StartOfMonitoring:
    case EventLogType::EndOfMonitoring:
      return;
    case EventLogType::GenlockStatus:
      state.genlockStatus = document.state.genlockStatus;
      return;
    case EventLogType::GenlockSettings:
      state.genlockSettings = document.state.genlockSettings;
      return;
    case EventLogType::St2059:
      state.st2059Status = document.state.st2059Status;
      state.st2059Settings = document.state.st2059Settings;
      return;
    case EventLogType::SfpIpStatus:
      state.sfpIps[document.sfp] = document.state.sfpIps[document.sfp];
      return;
    case EventLogType::SfpSt2059:
      state.st2059Sfps[document.sfp] = document.state.st2059Sfps[document.sfp];
      return;
  }
}

}  // namespace kestrune::recorded
