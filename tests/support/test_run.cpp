#include "support/test_run.h"

#include <rapidjson/document.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace kestrune::test {

ConsoleCapture::ConsoleCapture()
    : previous_(ReplaceConsoleSink([this](std::string_view text) {
        text_ += text;
        return text.size();
      })) {}

std::vector<std::string> ConsoleCapture::LinesWithoutTime() const {
  constexpr std::size_t timeLength = 19;
  std::vector<std::string> lines;
  std::istringstream text(text_);
  for (std::string line; std::getline(text, line);)
    lines.push_back(line.substr(std::min(timeLength, line.size())));
  return lines;
}

TemporaryFolder::TemporaryFolder() {
  static std::atomic<int> number = 0;
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  path_ = std::filesystem::temp_directory_path() /
          ("kestrune-" + std::to_string(now) + "-" + std::to_string(++number));
  std::filesystem::create_directories(path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ReadText(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> ReadLines(const std::filesystem::path& file) {
  std::vector<std::string> lines;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<RawDataUnit> ReadRawData(const std::filesystem::path& file) {
  const std::string bytes = ReadText(file);
  if (bytes.size() % sizeof(RawDataUnit) != 0) throw std::runtime_error("torn unit");
  std::vector<RawDataUnit> units(bytes.size() / sizeof(RawDataUnit));
  std::memcpy(units.data(), bytes.data(), bytes.size());
  return units;
}

std::vector<std::string> ReadEventTypes(const std::filesystem::path& file) {
  std::vector<std::string> types;
  const std::string text = ReadText(file);
  rapidjson::StringStream stream(text.c_str());
  while (stream.Peek() != '\0') {
    rapidjson::Document event;
    event.ParseStream<rapidjson::kParseStopWhenDoneFlag>(stream);
    if (event.HasParseError()) throw std::runtime_error("torn event document");
    types.emplace_back(event["Event log type"].GetString());
    while (stream.Peek() == '\r' || stream.Peek() == '\n') stream.Take();
  }
  return types;
}

}  // namespace kestrune::test
