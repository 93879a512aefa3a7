#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/recording.h"

namespace kestrune::report {

/// The command line.
struct Options {
  std::string prefix;  ///< folder and prefix of the files
  std::string output;
  std::string json;
  std::string csv;
  std::int64_t step = 60;  ///< seconds
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;
  std::optional<std::int64_t> last;  ///< seconds
  std::string limits;
  std::string label;
  std::string mended;
  std::vector<std::string> fleet;  ///< reports in JSON, for the plant's page
  std::string metrics;
  bool follow = false;      ///< write the metrics again and again
  std::int64_t every = 15;  ///< seconds
  bool printLimits = false;
  bool quiet = false;  ///< no progress bar
};

struct OptionsResult {
  Options options;
  std::optional<int> status;  ///< set when the program is to end with it, `message` having been printed
  std::string message;
};

/// `version` for --version. Nothing is printed.
OptionsResult ParseOptions(int argc, const char* const* argv, const std::string& version);

/// An instant as the command line takes it: epoch seconds, "2026-03-02 07:25:21" or "2026-03-02T07:25:21Z" in
/// UTC, or a date alone.
std::optional<std::int64_t> ParseInstant(const std::string& text);

/// "90", "90s", "15m", "24h", "7d" in seconds; positive.
std::optional<std::int64_t> ParseDuration(const std::string& text);

/// The files that a prefix stands for; a name of one of the three files stands for its prefix too.
FileNames NamesOf(const std::string& prefix);
/// The prefix without a file's ending.
std::string PrefixOf(const std::string& name);
/// Without its folder.
std::string BaseName(const std::string& name);

}  // namespace kestrune::report
