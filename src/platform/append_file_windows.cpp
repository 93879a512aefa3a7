#include <windows.h>

#include "platform/append_file.h"

namespace kestrune {
namespace {

HANDLE Handle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

/// An extending process locks one byte far behind every end, so that readers and the file's own bytes stay
/// free; the lock goes with the process.
bool TakeLock(HANDLE file) {
  OVERLAPPED place{};
  place.OffsetHigh = 0x4000'0000;
  return LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0 ||
         (GetLastError() != ERROR_LOCK_VIOLATION && GetLastError() != ERROR_IO_PENDING);
}

bool Seek(HANDLE file, std::int64_t distance, DWORD origin) {
  LARGE_INTEGER place;
  place.QuadPart = distance;
  return SetFilePointerEx(file, place, nullptr, origin) != 0;
}

}  // namespace

bool AppendFile::Open(const std::string& name) {
  Close();
  const HANDLE file =
      CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  if (GetFileType(file) != FILE_TYPE_DISK || !TakeLock(file)) {
    CloseHandle(file);
    return false;
  }
  handle_ = reinterpret_cast<std::intptr_t>(file);
  return true;
}

void AppendFile::Close() {
  if (IsOpen()) CloseHandle(Handle(handle_));
  handle_ = closed;
}

std::int64_t AppendFile::Size() const {
  LARGE_INTEGER size;
  return GetFileSizeEx(Handle(handle_), &size) ? size.QuadPart : -1;
}

bool AppendFile::EndsWith(char byte) const {
  char last = 0;
  DWORD read = 0;
  return Size() == 0 || (Seek(Handle(handle_), -1, FILE_END) &&
                         ReadFile(Handle(handle_), &last, 1, &read, nullptr) && read == 1 && last == byte);
}

std::size_t AppendFile::Append(std::string_view bytes) {
  std::size_t taken = 0;
  while (taken < bytes.size() && Seek(Handle(handle_), 0, FILE_END)) {
    DWORD written = 0;
    const auto rest = static_cast<DWORD>(bytes.size() - taken);
    if (!WriteFile(Handle(handle_), bytes.data() + taken, rest, &written, nullptr) || written == 0) break;
    taken += written;
  }
  return taken;
}

bool AppendFile::TakeBack(std::size_t count) {
  return Seek(Handle(handle_), -static_cast<std::int64_t>(count), FILE_END) &&
         SetEndOfFile(Handle(handle_)) != 0;
}

}  // namespace kestrune
