#include "convert/number_text.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

namespace kestrune {
namespace {

__extension__ using Unsigned128 = unsigned __int128;

constexpr auto powersOfTen = [] {
  std::array<std::uint64_t, floatDigits + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

/// The eight digits of `value`, spread over the bytes of a word, where those from ten on carry into the high
/// half of their byte when six is added.
std::uint64_t HexadecimalCharacters(std::uint32_t value) {
  constexpr std::uint64_t ones = 0x0101'0101'0101'0101;
  std::uint64_t digits = value;
  digits = (digits << 16 | digits) & 0x0000'FFFF'0000'FFFF;
  digits = (digits << 8 | digits) & 0x00FF'00FF'00FF'00FF;
  digits = (digits << 4 | digits) & 0x0F0F'0F0F'0F0F'0F0F;
  const std::uint64_t letters = (digits + 6 * ones) >> 4 & ones;
  return __builtin_bswap64(digits + '0' * ones + letters * ('a' - '0' - 10));
}

/// How many digits `value` has, at most 14; none if it is 0.
std::size_t DigitCount(std::uint64_t value) {
  const auto least = static_cast<std::size_t>(std::bit_width(value)) * 1233 >> 12;  // log10(2) = 1233 / 4096
  return least + (value >= powersOfTen[least]);
}

/// Writes a point and the `decimals` digits of `digits` without the zeros at the end, nothing for 0. The
/// digits become a binary fraction of 64 bits, whose product with 1000 has the next group above the point: it
/// exceeds the exact fraction by less than 3 / 2^64, which 14 digits don't show. No branch depends on the
/// digits.
char* WriteFraction(char* text, std::uint64_t digits, std::size_t decimals) {
  constexpr auto fractionOfOne = static_cast<std::uint64_t>((Unsigned128{1} << 110) / powersOfTen[14] + 1);
  const Unsigned128 product = Unsigned128{digits * powersOfTen[14 - decimals]} * fractionOfOne;
  auto fraction = static_cast<std::uint64_t>(product >> 46) + 1;
  char* end = text;
  *text++ = '.';
  for (char* const groupsEnd = text + 15; text < groupsEnd;) {
    const Unsigned128 next = Unsigned128{fraction} * detail::digitGroups.size();
    const detail::DigitGroup& group = detail::digitGroups[static_cast<std::size_t>(next >> 64)];
    fraction = static_cast<std::uint64_t>(next);
    const auto length = static_cast<std::uint8_t>(group.padded[3]);
    end = length > 0 ? text + length : end;
    text = group.WritePadded(text);
  }
  return end;
}

constexpr int mantissaBits = std::numeric_limits<double>::digits - 1;

/// From here on `%.14g` needs no more than 14 decimals, ...
constexpr double exactBegin = 0.1;
/// ... and below this every rounding ends with at most 14 digits, so that no exponent is needed.
constexpr double exactEnd = 1e13;

/// `value`, from exactBegin to exactEnd, in exact integer arithmetic: whole part and fraction are apart in
/// the binary number, the fraction has from 9 to 56 bits, and its product with a power of ten fits into 128.
/// Half goes to even.
char* WriteExact(char* text, double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const auto mantissa =
      (bits & ((std::uint64_t{1} << mantissaBits) - 1)) | (std::uint64_t{1} << mantissaBits);
  const int fractionBits = mantissaBits + 1023 - static_cast<int>(bits >> mantissaBits);
  const auto fractionMask = (std::uint64_t{1} << fractionBits) - 1;
  auto whole = mantissa >> fractionBits;

  const std::size_t decimals = floatDigits - DigitCount(whole);
  const Unsigned128 scaled = Unsigned128{mantissa & fractionMask} * powersOfTen[decimals];
  auto fraction = static_cast<std::uint64_t>(scaled >> 64) << (64 - fractionBits) |
                  static_cast<std::uint64_t>(scaled) >> fractionBits;
  const auto rest = static_cast<std::uint64_t>(scaled) & fractionMask;
  fraction += rest + fraction % 2 > std::uint64_t{1} << (fractionBits - 1);
  if (fraction == powersOfTen[decimals]) {
    ++whole;
    fraction = 0;
  }

  return WriteFraction(WriteDecimal(text, whole), fraction, decimals);
}

}  // namespace

char* detail::WriteLongDecimal(char* text, std::uint64_t value) {
  if (value < 1'000'000) {
    text = digitGroups[value / 1000].WritePlain(text);
    return digitGroups[value % 1000].WritePadded(text);
  }
  text = WriteDecimal(text, value / 1'000'000);
  text = digitGroups[value / 1000 % 1000].WritePadded(text);
  return digitGroups[value % 1000].WritePadded(text);
}

char* detail::WriteLongHexadecimal(char* text, std::uint64_t value) {
  const int zeros = std::countl_zero(value | 1) / 4;
  value <<= 4 * zeros;
  const std::uint64_t characters[] = {HexadecimalCharacters(static_cast<std::uint32_t>(value >> 32)),
                                      HexadecimalCharacters(static_cast<std::uint32_t>(value))};
  std::memcpy(text, characters, sizeof characters);
  return text + 16 - zeros;
}

char* WriteFloat(char* text, double value) {
  if (value == 0 && !std::signbit(value)) {
    *text = '0';
    return text + 1;
  }
  const double magnitude = std::abs(value);
  if (magnitude >= exactBegin && magnitude < exactEnd) {
    *text = '-';
    return WriteExact(text + (value < 0), magnitude);
  }
  return std::to_chars(text, text + longestFloatText, value, std::chars_format::general, floatDigits).ptr;
}

}  // namespace kestrune
