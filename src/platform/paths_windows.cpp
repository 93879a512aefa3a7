#include <windows.h>

#include "platform/paths.h"

namespace kestrune {
namespace {

/// Its identity, by a handle that asks for no access and so conflicts with nobody's.
bool Identify(const std::string& name, BY_HANDLE_FILE_INFORMATION& identity) {
  constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file =
      CreateFileA(name.c_str(), 0, shareAll, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  const bool identified = GetFileInformationByHandle(file, &identity) != 0;
  CloseHandle(file);
  return identified;
}

}  // namespace

std::string NativePath(std::string name) { return name; }

std::string NativeLines(std::string_view text) {
  std::string native;
  native.reserve(text.size() + 8);
  for (const char c : text) {
    if (c == '\n') native += '\r';
    native += c;
  }
  return native;
}

bool IsFolder(const std::string& name) {
  const DWORD attributes = GetFileAttributesA(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsSameFile(const std::string& left, const std::string& right) {
  BY_HANDLE_FILE_INFORMATION a, b;
  return Identify(left, a) && Identify(right, b) && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
         a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

}  // namespace kestrune
