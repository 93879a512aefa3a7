#include "platform/paths.h"

#include <algorithm>

namespace kestrune {

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

}  // namespace kestrune
