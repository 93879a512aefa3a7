#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kestrune {

/// Significant digits of the numbers with a fraction.
inline constexpr int floatDigits = 14;

/// Longest text of a double: sign, digits, point, and an exponent of three digits with 'e' and its sign.
inline constexpr std::size_t longestFloatText = 1 + floatDigits + 1 + 5;

/// The functions below store several characters at once: bytes behind the text they write, though none
/// further than this from its begin, may change.
inline constexpr std::size_t numberRoom = 32;

namespace detail {

/// The digits of a number below 1000; a length behind them, to be read and stored with them.
struct DigitGroup {
  std::array<char, 4> padded;  ///< all three; the length is without the zeros at the end, 0 for "000"
  std::array<char, 4> plain;   ///< without leading zeros

  char* WritePadded(char* text) const {
    std::memcpy(text, padded.data(), padded.size());
    return text + 3;
  }
  char* WritePlain(char* text) const {
    std::memcpy(text, plain.data(), plain.size());
    return text + static_cast<std::uint8_t>(plain[3]);
  }
};

inline constexpr auto digitGroups = [] {
  std::array<DigitGroup, 1000> groups{};
  for (unsigned value = 0; value < groups.size(); ++value) {
    auto& [padded, plain] = groups[value];
    std::size_t digits = 0;
    for (const unsigned power : {100U, 10U, 1U}) {
      const char digit = static_cast<char>('0' + value / power % 10);
      const std::size_t place = power == 100 ? 0 : power == 10 ? 1 : 2;
      padded[place] = digit;
      if (digit != '0') padded[3] = static_cast<char>(place + 1);
      if (value >= power || power == 1) plain[digits++] = digit;
    }
    plain[3] = static_cast<char>(digits);
  }
  return groups;
}();

/// Writes a `value` that is no digit group.
char* WriteLongDecimal(char* text, std::uint64_t value);
char* WriteLongHexadecimal(char* text, std::uint64_t value);

}  // namespace detail

/// Writes `value` in decimal and returns the end of the text, which isn't terminated.
inline char* WriteDecimal(char* text, std::uint64_t value) {
  if (value >= detail::digitGroups.size()) return detail::WriteLongDecimal(text, value);
  return detail::digitGroups[value].WritePlain(text);
}

/// Likewise, in hexadecimal of lower case.
inline char* WriteHexadecimal(char* text, std::uint64_t value) {
  if (value >= 10) return detail::WriteLongHexadecimal(text, value);
  *text = static_cast<char>('0' + value);
  return text + 1;
}

/// Likewise, as printf's "%.14g" does: at most longestFloatText characters. A NaN with the sign set is "-nan"
/// on every platform.
char* WriteFloat(char* text, double value);

}  // namespace kestrune
