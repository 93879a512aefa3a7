#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrune::simulated {

struct JsonMember;

/// A value of a JSON text that knows where it stands in it.
struct JsonValue {
  using Array = std::vector<JsonValue>;
  using Object = std::vector<JsonMember>;  ///< in the order of the text, doubles included

  std::size_t offset = 0;  ///< of its first byte in the text
  /// Whole numbers that fit into a signed 64-bit integer are one; monostate is null.
  std::variant<std::monostate, bool, std::int64_t, double, std::string, Array, Object> content;

  /// The member of this name of an object that has it; otherwise null.
  const JsonValue* Find(std::string_view name) const;
};

struct JsonMember {
  std::size_t offset = 0;  ///< of the name
  std::string name;
  JsonValue value;
};

struct JsonError {
  std::size_t offset = 0;
  std::string reason;
};

/// Parses a UTF-8 text, nested at most 16 levels deep.
std::variant<JsonValue, JsonError> ParseJson(const std::string& text);

}  // namespace kestrune::simulated
