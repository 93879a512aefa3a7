#include "platform/paths.h"

namespace kestrune {

std::string WithSeparator(std::string folder) {
  if (!folder.empty() && !folder.ends_with('\\')) folder += '\\';
  return folder;
}

}  // namespace kestrune
