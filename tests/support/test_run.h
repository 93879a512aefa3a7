#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "files/raw_data.h"
#include "platform/console.h"

namespace kestrune::test {

/// Takes in what the program prints while it lives. One at a time.
class ConsoleCapture {
 public:
  ConsoleCapture();
  ~ConsoleCapture() { ReplaceConsoleSink(std::move(previous_)); }
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  const std::string& Text() const { return text_; }
  /// The lines printed so far without their leading "2026-11-16 03:47:39".
  std::vector<std::string> LinesWithoutTime() const;

 private:
  std::string text_;
  ConsoleSink previous_;
};

/// A fresh folder that goes with its owner.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::string Name() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

std::string ReadText(const std::filesystem::path& file);
std::vector<std::string> ReadLines(const std::filesystem::path& file);
std::vector<RawDataUnit> ReadRawData(const std::filesystem::path& file);
/// The "Event log type" of each document of an event log; a damaged one throws.
std::vector<std::string> ReadEventTypes(const std::filesystem::path& file);

}  // namespace kestrune::test
