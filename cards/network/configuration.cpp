#include "network/configuration.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "diag/result_codes.h"

namespace kestrune::network {
namespace {

constexpr std::size_t mostInterfaces = 2;
constexpr std::size_t longestName = 127;  // of an interface's alternative names, as the kernel has them

Failure Mistake(const std::string& text) { return {ZV_E_INVALID_PARAMETER, text}; }

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    names.push_back(list.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

std::optional<Failure> CheckInterfaces(const std::vector<std::string>& names) {
  const std::string variable = "the environment variable ZV_NET_INTERFACES ";
  if (names == std::vector<std::string>{""}) return Mistake(variable + "names no network interface");
  if (names.size() > mostInterfaces) return Mistake(variable + "names more than two network interfaces");
  const auto wrong = std::ranges::find_if(
      names, [](const std::string& name) { return name.empty() || name.size() > longestName; });
  if (wrong != names.end()) {
    return Mistake(variable + "has '" + *wrong + "' where the name of a network interface belongs");
  }
  return std::nullopt;
}

/// Reads a whole number from `least` to `most` into `value`, if there is a text.
template <class Number>
std::optional<Failure> ReadNumber(const char* name, const std::string& text, long least, long most,
                                  Number& value) {
  if (text.empty()) return std::nullopt;
  long number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > most) {
    return Mistake(std::string("the environment variable ") + name + " is '" + text +
                   "', not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  value = static_cast<Number>(number);
  return std::nullopt;
}

/// Whether the text is the second of two words; the first is the default.
std::optional<Failure> ReadChoice(const char* name, const std::string& text, const std::string& first,
                                  const std::string& second, bool& isSecond) {
  if (!text.empty() && text != first && text != second) {
    return Mistake(std::string("the environment variable ") + name + " is '" + text + "', neither '" + first +
                   "' nor '" + second + "'");
  }
  isSecond = text == second;
  return std::nullopt;
}

}  // namespace

std::variant<Configuration, Failure> ReadConfiguration(
    const std::function<std::string(const char* name)>& variable) {
  Configuration read;
  read.interfaces = Split(variable("ZV_NET_INTERFACES"));
  auto failure = CheckInterfaces(read.interfaces);
  const auto number = [&](const char* name, long least, long most, auto& value) {
    if (!failure) failure = ReadNumber(name, variable(name), least, most, value);
  };
  const auto choice = [&](const char* name, const char* first, const char* second, bool& isSecond) {
    if (!failure) failure = ReadChoice(name, variable(name), first, second, isSecond);
  };
  number("ZV_NET_DOMAIN", 0, 127, read.domainNumber);
  number("ZV_NET_LOCK_THRESHOLD", 1, 1'000'000'000, read.lockThreshold);
  choice("ZV_NET_PASSIVE", "0", "1", read.passive);
  choice("ZV_NET_CLOCK", "system", "phc", read.hardwareClock);
  if (failure) return *failure;
  return read;
}

}  // namespace kestrune::network
