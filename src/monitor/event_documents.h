#pragma once

#include <rapidjson/document.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/records.h"

namespace kestrune {

// The documents of the event log, one a builder, and the texts into which they turn the card's codes. A code
// that has no text prints a status line with ZV_E_INVALID_PARAMETER and gets the table's fallback text; it
// never stops a document. Everything here may be called from any thread.

enum class EventLogType : std::int32_t {
  StartOfMonitoring = 1,
  EndOfMonitoring = 2,
  GenlockStatus = 3,
  GenlockSettings = 4,
  St2059 = 5,
  SfpIpStatus = 6,
  SfpSt2059 = 7,
};

/// For the start and the end; any other type is reported and gives an empty object.
rapidjson::Document BuildStartEndDocument(EventLogType type);
rapidjson::Document BuildGenlockStatusDocument(const GenlockStatus& status);
rapidjson::Document BuildGenlockSettingsDocument(const GenlockSettings& settings);
rapidjson::Document BuildSt2059Document(const St2059Status& status, const St2059Settings& settings);
/// `sfpNumber` is 1 for SFP A, 2 for SFP B.
rapidjson::Document BuildSfpIpStatusDocument(std::uint32_t sfpNumber, const SfpIpStatus& status);
rapidjson::Document BuildSfpSt2059Document(std::uint32_t sfpNumber, const St2059SfpStatus& status);

/// Adds "Time" and "Epoch time" to a new document.
void AddDocumentHeader(rapidjson::Document& document, std::int64_t epochSeconds);

std::string EventLogTypeText(EventLogType type);
std::string GenlockStateText(std::uint32_t state);
std::string GenlockSourceText(std::uint32_t source);
/// Code 9 (60 frames a second) is reported as invalid too; readers of the log rely on it.
std::string GenlockFrameRateText(std::uint32_t frameRate);
/// Takes an SFP index: 0 for SFP A, 1 for SFP B.
std::string SfpLabelText(std::uint32_t sfpIndex);
/// PTP port states, of a card and of an SFP alike.
std::string_view St2059StateText(std::int32_t state);
std::string BestMasterSelectionText(std::uint32_t selection);

}  // namespace kestrune
