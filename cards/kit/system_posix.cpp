#include <cstdlib>

#include "kit/system.h"

namespace kestrune::kit {
std::string EnvironmentText(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::FILE* OpenForReading(const std::string& path) { return std::fopen(path.c_str(), "rb"); }

}  // namespace kestrune::kit
