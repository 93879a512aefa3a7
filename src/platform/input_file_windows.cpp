#include <windows.h>

#include <algorithm>

#include "platform/input_file.h"

namespace kestrune {
namespace {

HANDLE Handle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

bool InputFile::Open(const std::string& name) {
  Close();
  const HANDLE file =
      CreateFileA(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  if (GetFileType(file) != FILE_TYPE_DISK) {
    CloseHandle(file);
    return false;
  }
  handle_ = reinterpret_cast<std::intptr_t>(file);
  return true;
}

void InputFile::Close() {
  if (IsOpen()) CloseHandle(Handle(handle_));
  handle_ = closed;
}

std::int64_t InputFile::Size() const {
  LARGE_INTEGER size;
  return GetFileSizeEx(Handle(handle_), &size) ? size.QuadPart : -1;
}

std::size_t InputFile::ReadAt(std::uint64_t place, std::span<std::byte> bytes) const {
  constexpr std::size_t most = 1 << 30;
  std::size_t read = 0;
  while (read < bytes.size()) {
    OVERLAPPED from{};
    from.Offset = static_cast<DWORD>(place + read);
    from.OffsetHigh = static_cast<DWORD>((place + read) >> 32);
    DWORD got = 0;
    if (!ReadFile(Handle(handle_), bytes.data() + read,
                  static_cast<DWORD>(std::min(most, bytes.size() - read)), &got, &from) ||
        got == 0) {
      break;
    }
    read += got;
  }
  return read;
}

}  // namespace kestrune
