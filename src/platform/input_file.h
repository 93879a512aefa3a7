#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace kestrune {

/// A regular file that is read at places of any order. Keeps nobody from writing, renaming or deleting it.
/// Not thread-safe.
class InputFile {
 public:
  InputFile() = default;
  ~InputFile() { Close(); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Opens `name`, as the operating system opens it. False when that fails, and when it is no regular file.
  bool Open(const std::string& name);
  bool IsOpen() const { return handle_ != closed; }
  void Close();

  /// In bytes; negative when the system doesn't say.
  std::int64_t Size() const;

  /// Fills `bytes` from this place on and returns how many it got: fewer at the file's end and on an error
  /// only.
  std::size_t ReadAt(std::uint64_t place, std::span<std::byte> bytes) const;

 private:
  static constexpr std::intptr_t closed = -1;

  std::intptr_t handle_ = closed;  ///< file descriptor, or HANDLE
};

}  // namespace kestrune
