#pragma once

#include <rapidjson/document.h>

#include <cstdint>

#include "files/event_names.h"
#include "sdk/records.h"

namespace kestrune {

// The documents of the event log, one a builder. A code that has no text never stops one. Everything here may
// be called from any thread.

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

}  // namespace kestrune
