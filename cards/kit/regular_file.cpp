#include "kit/regular_file.h"

#include <filesystem>
#include <system_error>

#include "kit/system.h"

namespace kestrune::kit {

std::variant<File, std::string> OpenRegularFile(const std::string& path) {
  const std::filesystem::path place(std::u8string(path.begin(), path.end()));
  std::error_code ignored;
  // Looked at before it is opened: opening a pipe waits for a writer.
  if (std::filesystem::exists(place, ignored) && !std::filesystem::is_regular_file(place, ignored)) {
    return "is not a regular file";
  }
  File file(OpenForReading(path));
  if (!file) return "cannot be opened";
  return file;
}

}  // namespace kestrune::kit
