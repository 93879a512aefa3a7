// Arbitrary arguments, one a line: the parser and the duration agree with a second
// reading of them that is as plain as can be.

#include <strings.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "app/dispatcher.h"
#include "cmdline/command_line_parser.h"

namespace kestrune {
namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

bool IsOption(const std::string& argument) { return argument[0] == '-' || argument[0] == '/'; }

/// Blanks, a sign and the digits behind them; further digits change nothing beyond 2^62. None without a
/// digit.
std::optional<std::int64_t> Number(const char* text) {
  while (std::isspace(static_cast<unsigned char>(*text)) != 0) ++text;
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  if (*text < '0' || *text > '9') return std::nullopt;
  std::int64_t number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    if (number < std::int64_t{1} << 58) number = 10 * number + (*text - '0');
  }
  return negative ? -number : number;
}

class PlainReading {
 public:
  explicit PlainReading(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  bool HasWord(const char* word) const {
    for (const std::string& argument : arguments_) {
      if (!IsOption(argument) && strcasecmp(argument.c_str(), word) == 0) return true;
    }
    return false;
  }

  bool HasOption(const std::string& key) const {
    for (const std::string& argument : arguments_) {
      if (!IsOption(argument)) continue;
      const char* name = argument.c_str() + 1;
      const std::size_t length = std::strcspn(name, "=");
      if (length == key.size() && strncasecmp(name, key.c_str(), length) == 0) return true;
    }
    return false;
  }

  std::string Value(const std::string& key) const {
    for (const std::string& argument : arguments_) {
      if (!IsOption(argument) || std::strncmp(argument.c_str() + 1, key.c_str(), key.size()) != 0) continue;
      if (const char* equalSign = std::strchr(argument.c_str() + 1, '=')) return equalSign + 1;
    }
    return "";
  }

 private:
  const std::vector<std::string>& arguments_;
};

void CheckDuration(const CZvCommandLineParser& parser, const PlainReading& plain) {
  constexpr std::uint32_t untouched = 7;
  std::uint32_t hours = untouched;
  const ResultHolder result = ReadDuration(parser, hours);
  if (!plain.HasOption("d")) {
    Check(result.Code() == ZV_NOERROR && hours == untouched);
    return;
  }
  const auto number = Number(plain.Value("d").c_str());
  const bool fits = number && std::abs(*number) <= UINT32_MAX;
  Check(result.Code() == (fits ? ZV_NOERROR : ZV_E_INVALID_PARAMETER));
  if (fits) Check(hours == static_cast<std::uint32_t>(*number));
}

}  // namespace
}  // namespace kestrune

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::cout.rdbuf(nullptr);  // What is refused is told.
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrune;
  std::istringstream text{std::string(reinterpret_cast<const char*>(data), size)};
  std::vector<std::string> arguments;
  for (std::string line; std::getline(text, line);) arguments.emplace_back(line.c_str());  // up to a NUL
  std::vector<const char*> argv{"kestrune"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());

  const CZvCommandLineParser parser(static_cast<int>(argv.size()), argv.data());
  const PlainReading plain(arguments);
  // Each argument's own name, and beginning of it, may be asked for too.
  std::vector<std::string> keys{"sn", "hw", "f", "p", "d", "sf", "sp", "df", "dp", ""};
  for (const std::string& argument : arguments) {
    Check(parser.HasWord(argument) == plain.HasWord(argument.c_str()));
    if (argument.size() < 2) continue;
    keys.push_back(argument.substr(1, argument.find('=') - 1));
    keys.push_back(argument.substr(1, argument.size() / 2));
  }
  for (const std::string& key : keys) {
    Check(parser.HasOption(key) == plain.HasOption(key));
    Check(parser.GetValue(key) == plain.Value(key));
  }
  for (const char* word : {"help", "list", "run", "decypher"})
    Check(parser.HasWord(word) == plain.HasWord(word));

  const std::int64_t number = Number(plain.Value("hw").c_str()).value_or(0);
  const auto index = static_cast<std::uint8_t>(number > INT32_MAX   ? INT32_MAX
                                               : number < INT32_MIN ? INT32_MIN
                                                                    : number);
  Check(parser.GetHardwareIndex() == index);
  CheckDuration(parser, plain);
  return 0;
}
