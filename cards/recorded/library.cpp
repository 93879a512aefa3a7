// The library's system: the recording that the environment variables name.

#include "kit/library.h"

#include <cstdio>
#include <utility>

#include "diag/result_codes.h"
#include "kit/system.h"
#include "recorded/recorded_system.h"

namespace kestrune::kit {

const char* const libraryName = KESTRUNE_LIBRARY_NAME;

std::variant<System, HRESULT> MakeSystem() {
  const std::string rawData = EnvironmentText("ZV_REPLAY_FILE");
  if (rawData.empty()) {
    std::fprintf(stderr, "%s: the environment variable ZV_REPLAY_FILE names no raw data file\n", libraryName);
    return ZV_E_FILE_NOT_FOUND;
  }
  auto made = recorded::MakeRecordedSystem(rawData, EnvironmentText("ZV_REPLAY_EVENTS"),
                                           EnvironmentText("ZV_REPLAY_LOOP") == "1");
  if (const auto* error = std::get_if<recorded::RecordingError>(&made)) {
    std::fprintf(stderr, "%s: %s\n", libraryName, error->text.c_str());
    return error->code;
  }
  return std::move(std::get<System>(made));
}

}  // namespace kestrune::kit
