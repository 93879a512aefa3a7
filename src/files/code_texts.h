#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "files/event_names.h"

namespace kestrune {

/// A code of the card, and its text in the files.
struct CodeText {
  std::int64_t code;
  std::string_view text;
};

inline constexpr CodeText eventLogTypes[] = {
    {1, "start of monitoring"},  {2, "end of monitoring"},      {3, "genlock status"},
    {4, "genlock settings"},     {5, "ST2059 status/settings"}, {6, "SFP IP status"},
    {7, "SFP ST2059 telemetry"},
};

inline constexpr CodeText genlockStates[] = {
    {1, "locked"}, {2, "unlocked"}, {3, "free running"}, {4, "recovering"}, {5, "relocking"},
};

inline constexpr CodeText genlockSources[] = {{1, "internal"}, {128, "ST2059"}};

/// Code 9 (60 frames a second) has no text; readers of the log rely on it.
inline constexpr CodeText genlockFrameRates[] = {
    {1, "24"}, {2, "24M"}, {3, "25"}, {4, "30"}, {5, "30M"}, {8, "50"}, {10, "60M"},
};

/// By SFP index.
inline constexpr CodeText sfpLabels[] = {{0, "SFP A"}, {1, "SFP B"}};

/// PTP port states, of a card and of an SFP alike.
inline constexpr CodeText st2059States[] = {
    {1, "initializing"},      {2, "faulty"},           {3, "disabled"}, {4, "listening"},
    {5, "pre-leader"},        {6, "leader"},           {7, "passive"},  {8, "uncalibrated"},
    {9, "follower unlocked"}, {10, "follower locked"},
};

inline constexpr CodeText bestMasterSelections[] = {{1, "automatic"}, {2, "SFP A"}, {3, "SFP B"}};

/// The code whose text this is; none for a text that stands for codes without one.
constexpr std::optional<std::int64_t> CodeOf(std::span<const CodeText> table, std::string_view text) {
  for (const CodeText& row : table) {
    if (row.text == text) return row.code;
  }
  return std::nullopt;
}

// The text of a code. One that has none prints a status line with ZV_E_INVALID_PARAMETER and gets a text that
// says so. From any thread.

std::string EventLogTypeText(EventLogType type);
std::string GenlockStateText(std::uint32_t state);
std::string GenlockSourceText(std::uint32_t source);
std::string GenlockFrameRateText(std::uint32_t frameRate);
/// Takes an SFP index: 0 for SFP A, 1 for SFP B.
std::string SfpLabelText(std::uint32_t sfpIndex);
std::string_view St2059StateText(std::int32_t state);
std::string BestMasterSelectionText(std::uint32_t selection);

/// A clock identity as the documents have it: "0x" and the number in hexadecimal, without leading zeros.
std::string ClockIdText(std::uint64_t clockId);

}  // namespace kestrune
