#pragma once

#include <string>
#include <variant>

#include "kit/card.h"
#include "recorded/raw_data_reader.h"

namespace kestrune::recorded {

/// One card that plays back a raw data file and an event log. Without a path of a log, the one beside the raw
/// data file by its name, if there is one.
std::variant<kit::System, RecordingError> MakeRecordedSystem(const std::string& rawDataPath,
                                                             const std::string& eventLogPath, bool loop);

}  // namespace kestrune::recorded
