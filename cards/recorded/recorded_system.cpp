#include "recorded/recorded_system.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "diag/result_codes.h"
#include "recorded/recorded_card.h"

namespace kestrune::recorded {
namespace {

constexpr std::string_view rawDataEnding = "_raw_data";
constexpr std::string_view eventLogEnding = "_event_log.txt";

/// The path without its ending; empty when it has another one.
std::string Prefix(const std::string& rawDataPath) {
  if (!rawDataPath.ends_with(rawDataEnding)) return {};
  return rawDataPath.substr(0, rawDataPath.size() - rawDataEnding.size());
}

std::string SerialNumber(const std::string& prefix) {
  constexpr std::size_t longest = 31;
  const std::string name = prefix.substr(prefix.find_last_of("/\\") + 1, longest);
  const bool printable = std::ranges::all_of(name, [](char c) { return c > ' ' && c <= '~'; });
  return name.empty() || !printable ? "REPLAY" : name;
}

}  // namespace

std::variant<kit::System, RecordingError> MakeRecordedSystem(const std::string& rawDataPath,
                                                             const std::string& eventLogPath, bool loop) {
  auto raw = RawDataReader::Open(rawDataPath);
  if (auto* error = std::get_if<RecordingError>(&raw)) return std::move(*error);
  const std::string prefix = Prefix(rawDataPath);
  const std::string logPath =
      eventLogPath.empty() && !prefix.empty() ? prefix + std::string(eventLogEnding) : eventLogPath;

  std::optional<EventLogReader> log;
  if (!logPath.empty()) {
    auto opened = kit::OpenRegularFile(logPath);
    if (auto* file = std::get_if<kit::File>(&opened)) {
      log.emplace(logPath, std::move(*file));
    } else if (!eventLogPath.empty()) {
      return RecordingError{ZV_E_FAILED_TO_OPEN_FILE, logPath + ": " + std::get<std::string>(opened)};
    }
  }
  kit::System system;
  system.cards.push_back(std::make_unique<RecordedCard>(
      SerialNumber(prefix), std::move(std::get<RawDataReader>(raw)), std::move(log), loop));
  return system;
}

}  // namespace kestrune::recorded
