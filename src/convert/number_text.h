#pragma once

#include <cstddef>

namespace kestrune {

/// Significant digits of the numbers with a fraction.
inline constexpr int floatDigits = 14;

/// Longest text of a double: sign, digits, point, and an exponent of three digits with 'e' and its sign.
inline constexpr std::size_t longestFloatText = 1 + floatDigits + 1 + 5;

/// Writes `value` as printf's "%.14g" does and returns the end of the text, which is at most longestFloatText
/// long and isn't terminated. A NaN with the sign set is "-nan" on every platform.
char* WriteFloat(char* text, double value);

}  // namespace kestrune
