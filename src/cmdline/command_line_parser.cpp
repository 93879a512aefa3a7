#include "cmdline/command_line_parser.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace kestrune {
namespace {

char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, ToLower, ToLower);
}

}  // namespace

CZvCommandLineParser::CZvCommandLineParser(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    commandLine_ += argument + ' ';
    if (argument.starts_with('-') || argument.starts_with('/')) {
      ++optionCount_;
      options_.push_back(argument.substr(1));
    } else {
      ++wordCount_;
      words_.push_back(argument);
    }
  }
}

bool CZvCommandLineParser::HasWord(std::string_view word) const {
  return std::ranges::any_of(words_, [&](const std::string& held) { return EqualIgnoringCase(held, word); });
}

bool CZvCommandLineParser::HasOption(std::string_view key) const {
  return std::ranges::any_of(options_, [&](const std::string& option) {
    return EqualIgnoringCase(std::string_view(option).substr(0, option.find('=')), key);
  });
}

std::string CZvCommandLineParser::GetValue(std::string_view key) const {
  for (const std::string& option : options_) {
    const auto equalSign = option.find('=');
    if (option.starts_with(key) && equalSign != std::string::npos) return option.substr(equalSign + 1);
  }
  return {};
}

std::uint8_t CZvCommandLineParser::GetHardwareIndex() const {
  // The platforms' atoi differ where the number doesn't fit an int; this one holds at the limits.
  const long long number = std::strtoll(GetValue("hw").c_str(), nullptr, 10);
  return static_cast<std::uint8_t>(
      std::clamp<long long>(number, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace kestrune
