#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <variant>

namespace kestrune::kit {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// The regular file with this UTF-8 path, open for reading. Otherwise the reason, such as "cannot be opened".
std::variant<File, std::string> OpenRegularFile(const std::string& path);

}  // namespace kestrune::kit
