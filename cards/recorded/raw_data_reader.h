#pragma once

#include <optional>
#include <string>
#include <variant>

#include "files/raw_data.h"
#include "kit/regular_file.h"
#include "platform/com.h"

namespace kestrune::recorded {

/// Why a recording can't be played back.
struct RecordingError {
  HRESULT code;
  std::string text;  ///< one line that begins with the file's path
};

/// Reads the units of a raw data file of any length, one after the other.
class RawDataReader {
 public:
  /// The file's length and its first unit are looked at.
  static std::variant<RawDataReader, RecordingError> Open(const std::string& path);

  /// Nothing at the file's end, and when it can't be read any more.
  std::optional<RawDataUnit> Next();

  void Rewind() { std::rewind(file_.get()); }

 private:
  explicit RawDataReader(kit::File file) : file_(std::move(file)) {}

  kit::File file_;
};

}  // namespace kestrune::recorded
