#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <string>

#include "convert/columns.h"
#include "convert/number_text.h"
#include "files/raw_data.h"

namespace kestrune {

namespace detail {

template <class Integer>
inline constexpr std::size_t longestDecimal =
    std::numeric_limits<Integer>::digits10 + 1 + std::numeric_limits<Integer>::is_signed;

consteval std::size_t LongestText(Rendering rendering) {
  switch (rendering) {
    case Rendering::Unsigned8:
      return longestDecimal<std::uint8_t>;
    case Rendering::Unsigned32:
      return longestDecimal<std::uint32_t>;
    case Rendering::Unsigned64:
      return longestDecimal<std::uint64_t>;
    case Rendering::Signed32:
      return longestDecimal<std::int32_t>;
    case Rendering::Signed64:
      return longestDecimal<std::int64_t>;
    case Rendering::Hex32:
      return 2 * sizeof(std::uint32_t);
    case Rendering::IPv4:
      return 4 * longestDecimal<std::uint8_t> + 3;
    case Rendering::ClockIdentity:
      return 2 * sizeof(std::uint64_t);
    case Rendering::Average:
    case Rendering::StandardDeviation:
      return longestFloatText;
    case Rendering::PortState:
      return std::string_view("follower unlocked").size();
    case Rendering::LinkSpeed:
    case Rendering::BitRate:
      return longestDecimal<std::uint64_t>;
  }
}

consteval std::size_t LongestLine() {
  std::size_t size = 0;
  for (const Column& column : columns) size += LongestText(column.rendering) + 1;
  return size;
}

}  // namespace detail

/// No record line is longer, its line feed included, nor uses more room while it is written.
inline constexpr std::size_t longestLine = detail::LongestLine() + numberRoom;

/// The abbreviation line and the column line, without a line feed behind the latter.
std::string HeaderText();

/// Writes a unit's line and its line feed into `line` and returns their length. Port states and link speeds
/// without a text are reported on the console and get "invalid" and 0.
std::size_t WriteLine(const RawDataUnit& unit, std::span<char, longestLine> line);

}  // namespace kestrune
