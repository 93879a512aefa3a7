#include "convert/number_text.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kestrune {
namespace {

__extension__ using Unsigned128 = unsigned __int128;

constexpr auto powersOfTen = [] {
  std::array<std::uint64_t, floatDigits + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

constexpr int mantissaBits = std::numeric_limits<double>::digits - 1;

/// Below this every rounding ends with at most floatDigits digits, so that no exponent is needed.
constexpr double exactLimit = 1e13;

/// `value`, at least 1 and below exactLimit, in exact integer arithmetic: whole part and fraction are apart
/// in the binary number, and the fraction times a power of ten fits into 128 bits. Half goes to even.
char* WriteExact(char* text, double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const auto mantissa =
      (bits & ((std::uint64_t{1} << mantissaBits) - 1)) | (std::uint64_t{1} << mantissaBits);
  const int fractionBits = mantissaBits + 1023 - static_cast<int>(bits >> mantissaBits);
  auto whole = mantissa >> fractionBits;
  const auto fraction = mantissa & ((std::uint64_t{1} << fractionBits) - 1);
  if (fraction == 0) return std::to_chars(text, text + longestFloatText, whole).ptr;

  std::size_t decimals = floatDigits - 1;
  while (whole >= powersOfTen[floatDigits - decimals]) --decimals;
  const Unsigned128 scaled = Unsigned128{fraction} * powersOfTen[decimals];
  auto digits = static_cast<std::uint64_t>(scaled >> fractionBits);
  const auto rest = static_cast<std::uint64_t>(scaled) & ((std::uint64_t{1} << fractionBits) - 1);
  const auto half = std::uint64_t{1} << (fractionBits - 1);
  if (rest > half || (rest == half && digits % 2 == 1)) ++digits;
  if (digits == powersOfTen[decimals]) {
    ++whole;
    digits = 0;
  }

  text = std::to_chars(text, text + longestFloatText, whole).ptr;
  if (digits == 0) return text;
  // A one in front keeps the zeros behind the point; the point takes its place.
  char* const point = text;
  text = std::to_chars(point, point + 1 + floatDigits, powersOfTen[decimals] + digits).ptr;
  *point = '.';
  while (text[-1] == '0') --text;
  return text;
}

}  // namespace

char* WriteFloat(char* text, double value) {
  if (value == 0 && !std::signbit(value)) {
    *text = '0';
    return text + 1;
  }
  const double magnitude = std::abs(value);
  if (magnitude >= 1 && magnitude < exactLimit) {
    if (value < 0) *text++ = '-';
    return WriteExact(text, magnitude);
  }
  return std::to_chars(text, text + longestFloatText, value, std::chars_format::general, floatDigits).ptr;
}

}  // namespace kestrune
