#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "simulated/json_document.h"

namespace kestrune::simulated {

// Reads JSON values into plain structs by tables of keys: a key the table doesn't name, one that stands twice
// or is missing, and a value out of range are told with their place.

/// Where a reading stands in the text, and the first thing that was found wrong.
struct Reading {
  std::vector<std::string> path;  ///< the JSON pointer's steps
  struct Wrong {
    std::size_t offset;
    std::string pointer;
    std::string reason;
  };
  std::optional<Wrong> wrong;

  void Fail(std::size_t offset, std::string reason);
};

/// One key of an object that describes a Target.
template <class Target>
struct Key {
  std::string_view name;
  void (*read)(Reading& reading, const JsonValue& value, Target& target);
  bool required = false;
};
constexpr bool required = true;

template <class Target, class Read>
void ReadStep(Reading& reading, std::string step, const JsonValue& value, Target& target, Read&& read) {
  reading.path.push_back(std::move(step));
  read(reading, value, target);
  reading.path.pop_back();
}

/// Reads an object by a table of its keys, in the table's order. `alsoKnown(name)` tells of further keys,
/// which others read.
template <class Target, class AlsoKnown>
void ReadObject(Reading& reading, const JsonValue& value, Target& target, std::span<const Key<Target>> keys,
                AlsoKnown&& alsoKnown) {
  const auto* members = std::get_if<JsonValue::Object>(&value.content);
  if (members == nullptr) return reading.Fail(value.offset, "must be an object");
  for (const JsonMember& member : *members) {
    if (std::ranges::find(keys, member.name, &Key<Target>::name) == keys.end() && !alsoKnown(member.name)) {
      return reading.Fail(member.offset, "unknown key \"" + member.name + "\"");
    }
    if (value.Find(member.name) != &member.value) {
      return reading.Fail(member.offset, "key \"" + member.name + "\" stands twice");
    }
  }
  for (const Key<Target>& key : keys) {
    if (const JsonValue* found = value.Find(key.name)) {
      ReadStep(reading, std::string(key.name), *found, target, key.read);
    } else if (key.required) {
      reading.Fail(value.offset, "key \"" + std::string(key.name) + "\" is missing");
    }
  }
}

template <class Target, std::size_t Count>
void ReadObject(Reading& reading, const JsonValue& value, Target& target, const Key<Target> (&keys)[Count]) {
  ReadObject(reading, value, target, std::span<const Key<Target>>(keys),
             [](std::string_view) { return false; });
}

/// Calls `read(reading, item)` for each item of an array.
template <class Read>
void ReadArray(Reading& reading, const JsonValue& value, Read&& read) {
  const auto* items = std::get_if<JsonValue::Array>(&value.content);
  if (items == nullptr) return reading.Fail(value.offset, "must be an array");
  for (std::size_t index = 0; index < items->size(); ++index) {
    reading.path.push_back(std::to_string(index));
    read(reading, (*items)[index]);
    reading.path.pop_back();
  }
}

// Single values. Each returns none, and has told what is wrong, when the value doesn't fit.

/// The number that all of these hexadecimal digits make.
std::optional<std::uint64_t> ParseHex(std::string_view digits);

/// A whole number, or a text such as "0x4E5D".
std::optional<std::int64_t> ReadWhole(Reading& reading, const JsonValue& value, std::int64_t least,
                                      std::int64_t most);

std::optional<double> ReadNumber(Reading& reading, const JsonValue& value, double least, double most);

std::optional<bool> ReadFlag(Reading& reading, const JsonValue& value);

std::optional<std::string> ReadText(Reading& reading, const JsonValue& value);

/// A text of 1 to `most` printable ASCII characters.
std::optional<std::string> ReadPrintable(Reading& reading, const JsonValue& value, std::size_t most);

/// The position in `names` of a text.
std::optional<std::size_t> ReadName(Reading& reading, const JsonValue& value,
                                    std::span<const std::string_view> names, std::string_view what);

/// Octets as two digits each in this base, apart by one of `separators`.
template <std::size_t Count>
std::optional<std::array<std::uint8_t, Count>> ParseOctets(std::string_view text, std::string_view separators,
                                                           int base) {
  std::array<std::uint8_t, Count> octets{};
  const char* place = text.data();
  const char* const end = place + text.size();
  for (std::size_t index = 0; index < Count; ++index) {
    if (index != 0 && (place == end || separators.find(*place++) == std::string_view::npos))
      return std::nullopt;
    const auto result = std::from_chars(place, end, octets[index], base);
    if (result.ec != std::errc()) return std::nullopt;
    place = result.ptr;
  }
  if (place != end) return std::nullopt;
  return octets;
}

// Readers of one member, for the tables of keys.

template <auto Member, std::int64_t Least, std::int64_t Most, class Target>
void Whole(Reading& reading, const JsonValue& value, Target& target) {
  using Number = std::remove_reference_t<decltype(target.*Member)>;
  if (const auto number = ReadWhole(reading, value, Least, Most))
    target.*Member = static_cast<Number>(*number);
}

template <auto Member, std::int64_t Least, std::int64_t Most, class Target>
void Number(Reading& reading, const JsonValue& value, Target& target) {
  if (const auto number = ReadNumber(reading, value, double{Least}, double{Most})) target.*Member = *number;
}

template <auto Member, class Target>
void Flag(Reading& reading, const JsonValue& value, Target& target) {
  if (const auto flag = ReadFlag(reading, value)) target.*Member = *flag;
}

template <auto Member, std::size_t Most, class Target>
void Text(Reading& reading, const JsonValue& value, Target& target) {
  if (auto text = ReadPrintable(reading, value, Most)) target.*Member = std::move(*text);
}

}  // namespace kestrune::simulated
