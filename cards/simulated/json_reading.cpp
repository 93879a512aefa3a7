#include "simulated/json_reading.h"

#include <cstdio>
#include <limits>

namespace kestrune::simulated {

void Reading::Fail(std::size_t offset, std::string reason) {
  if (wrong) return;
  std::string pointer;
  for (const std::string& step : path) pointer += "/" + step;
  wrong = Wrong{offset, std::move(pointer), std::move(reason)};
}

std::optional<std::uint64_t> ParseHex(std::string_view digits) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

std::optional<std::int64_t> ReadWhole(Reading& reading, const JsonValue& value, std::int64_t least,
                                      std::int64_t most) {
  std::optional<std::int64_t> number;
  if (const auto* whole = std::get_if<std::int64_t>(&value.content)) number = *whole;
  if (const auto* text = std::get_if<std::string>(&value.content);
      text != nullptr && text->starts_with("0x")) {
    const auto hex = ParseHex(std::string_view(*text).substr(2));
    if (hex && *hex <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
      number = static_cast<std::int64_t>(*hex);
    }
  }
  if (number && *number >= least && *number <= most) return number;
  reading.Fail(value.offset,
               "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
  return std::nullopt;
}

std::optional<double> ReadNumber(Reading& reading, const JsonValue& value, double least, double most) {
  std::optional<double> number;
  if (const auto* whole = std::get_if<std::int64_t>(&value.content)) number = static_cast<double>(*whole);
  if (const auto* real = std::get_if<double>(&value.content)) number = *real;
  if (number && *number >= least && *number <= most) return number;
  std::array<char, 96> reason{};
  std::snprintf(reason.data(), reason.size(), "must be a number from %g to %g", least, most);
  reading.Fail(value.offset, reason.data());
  return std::nullopt;
}

std::optional<bool> ReadFlag(Reading& reading, const JsonValue& value) {
  if (const auto* flag = std::get_if<bool>(&value.content)) return *flag;
  reading.Fail(value.offset, "must be true or false");
  return std::nullopt;
}

std::optional<std::string> ReadText(Reading& reading, const JsonValue& value) {
  if (const auto* text = std::get_if<std::string>(&value.content)) return *text;
  reading.Fail(value.offset, "must be a text");
  return std::nullopt;
}

std::optional<std::string> ReadPrintable(Reading& reading, const JsonValue& value, std::size_t most) {
  auto text = ReadText(reading, value);
  if (!text) return std::nullopt;
  const bool printable = std::ranges::all_of(*text, [](char c) { return c >= ' ' && c <= '~'; });
  if (printable && !text->empty() && text->size() <= most) return text;
  reading.Fail(value.offset, "must have 1 to " + std::to_string(most) + " printable ASCII characters");
  return std::nullopt;
}

std::optional<std::size_t> ReadName(Reading& reading, const JsonValue& value,
                                    std::span<const std::string_view> names, std::string_view what) {
  const auto text = ReadText(reading, value);
  if (!text) return std::nullopt;
  const auto name = std::ranges::find(names, *text);
  if (name != names.end()) return static_cast<std::size_t>(name - names.begin());
  reading.Fail(value.offset, "no such " + std::string(what) + ": \"" + *text + "\"");
  return std::nullopt;
}

}  // namespace kestrune::simulated
