#include "platform/paths.h"

#include <algorithm>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/stat.h>
#endif

namespace kestrune {
namespace {

#if defined(_WIN32)

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

#endif

}  // namespace

std::string WithSeparator(std::string folder) {
  if (!folder.empty() && !folder.ends_with('\\')) folder += '\\';
  return folder;
}

std::string NativePath(std::string name) {
#if !defined(_WIN32)
  std::ranges::replace(name, '\\', '/');
#endif
  return name;
}

#if defined(_WIN32)

bool IsFolder(const std::string& name) {
  const DWORD attributes = GetFileAttributesA(name.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsSameFile(const std::string& left, const std::string& right) {
  BY_HANDLE_FILE_INFORMATION a, b;
  return Identify(left, a) && Identify(right, b) && a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
         a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

#else

bool IsFolder(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsSameFile(const std::string& left, const std::string& right) {
  struct stat a, b;
  return stat(left.c_str(), &a) == 0 && stat(right.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

#endif

}  // namespace kestrune
