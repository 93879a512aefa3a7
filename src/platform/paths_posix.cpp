#include <sys/stat.h>

#include <algorithm>

#include "platform/paths.h"

namespace kestrune {

std::string NativePath(std::string name) {
  std::ranges::replace(name, '\\', '/');
  return name;
}

std::string NativeLines(std::string_view text) { return std::string(text); }

bool IsFolder(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool IsSameFile(const std::string& left, const std::string& right) {
  struct stat a, b;
  return stat(left.c_str(), &a) == 0 && stat(right.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

}  // namespace kestrune
