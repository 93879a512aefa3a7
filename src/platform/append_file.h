#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrune {

/// A regular file that this process alone extends at its end, whatever length it has; readers are never kept
/// out. Not thread-safe.
class AppendFile {
 public:
  AppendFile() = default;
  ~AppendFile() { Close(); }
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  /// Opens `name`, as the operating system opens it, or creates it. False, without waiting, when that fails,
  /// when it is no regular file, and when another process or object extends it. A file system that knows no
  /// locks takes everybody.
  bool Open(const std::string& name);
  bool IsOpen() const { return handle_ != closed; }
  void Close();

  /// In bytes; negative when the system doesn't say.
  std::int64_t Size() const;

  /// Whether the last byte is `byte`; true of an empty file, false when the system doesn't say.
  bool EndsWith(char byte) const;

  /// Appends `bytes` and returns how many of them it took: all, unless it failed. On disk at once as far as
  /// this process is concerned: its end loses nothing.
  std::size_t Append(std::string_view bytes);

  /// Takes the last `count` bytes off again.
  bool TakeBack(std::size_t count);

 private:
  static constexpr std::intptr_t closed = -1;

  std::intptr_t handle_ = closed;  ///< file descriptor, or HANDLE
};

}  // namespace kestrune
