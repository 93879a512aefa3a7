#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/append_file.h"
#include "platform/com.h"

namespace kestrune {

/// A file of a run, which grows by whole pieces: a piece is in it completely or not at all. A write that
/// fails costs the pieces of that time and nothing else; the next piece is tried anew. When that begins, and
/// when it ends, a status line says so. Not thread-safe.
class LogFile {
 public:
  /// What the file holds: `name` ("raw data") and `pieces` ("records") are how its status lines call it; both
  /// live as long as it does.
  LogFile(const char* name, const char* pieces) : name_(name), pieces_(pieces) {}

  /// Opens a file of units of `unitSize` bytes, or creates it. What a crash has left of a unit at its end is
  /// completed with zeros. False as AppendFile::Open.
  bool OpenUnits(const std::string& name, std::int64_t unitSize);

  /// Likewise a text file, in which lines end as in the system's text files. What a crash has left of a line
  /// is ended.
  bool OpenText(const std::string& name);

  /// Appends a unit, or lines of a text. Without an open file it does nothing.
  void Append(std::string_view piece);

  /// Says how many pieces a failure that hasn't ended has cost.
  void Close();

 private:
  void Report(const char* what, HRESULT code) const;
  bool WriteRest();
  bool WriteWhole(std::string_view piece);

  const char* name_;
  const char* pieces_;
  AppendFile file_;
  bool isText_ = false;
  std::string rest_;             ///< what is missing of what stands at the file's end
  bool restIsPiece_ = false;     ///< the rest completes a piece that counts as lost
  bool failing_ = false;         ///< the last piece was not written
  std::uint64_t lostCount_ = 0;  ///< since it is failing
};

}  // namespace kestrune
