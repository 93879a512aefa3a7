#include "files/code_texts.h"

#include <charconv>

#include "diag/result_codes.h"
#include "diag/status.h"

namespace kestrune {
namespace {

std::string_view TextOf(std::int64_t code, std::span<const CodeText> table, const char* message,
                        std::string_view fallback = "invalid") {
  for (const CodeText& row : table) {
    if (row.code == code) return row.text;
  }
  PrintStatus(message, ZV_E_INVALID_PARAMETER);
  return fallback;
}

}  // namespace

std::string EventLogTypeText(EventLogType type) {
  return std::string(TextOf(static_cast<std::int32_t>(type), eventLogTypes, "Invalid log type", "Invalid"));
}

std::string GenlockStateText(std::uint32_t state) {
  return std::string(TextOf(state, genlockStates, "Invalid genlock state"));
}

std::string GenlockSourceText(std::uint32_t source) {
  return std::string(TextOf(source, genlockSources, "Invalid or irrelevent genlock source for IP boardsstate",
                            "invalid or irrelevent"));
}

std::string GenlockFrameRateText(std::uint32_t frameRate) {
  return std::string(TextOf(frameRate, genlockFrameRates, "Invalid genlock resolution frame rate"));
}

std::string SfpLabelText(std::uint32_t sfpIndex) {
  return std::string(TextOf(sfpIndex, sfpLabels, "Invalid SFP index"));
}

std::string_view St2059StateText(std::int32_t state) {
  return TextOf(state, st2059States, "Invalid ST2059 state");
}

std::string BestMasterSelectionText(std::uint32_t selection) {
  return std::string(TextOf(selection, bestMasterSelections, "Invalid ST2059 best master selection"));
}

std::string ClockIdText(std::uint64_t clockId) {
  char text[2 + 16] = {'0', 'x'};
  const auto end = std::to_chars(text + 2, text + sizeof text, clockId, 16).ptr;
  return {text, end};
}

}  // namespace kestrune
