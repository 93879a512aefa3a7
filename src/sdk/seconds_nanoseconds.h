#pragma once

#include <cstdint>

namespace kestrune {

/// A time as whole seconds and the nanoseconds left over, truncated toward zero: both parts carry the sign.
struct SecondsNanoseconds {
  std::int32_t seconds = 0;
  std::int32_t nanoseconds = 0;

  bool operator==(const SecondsNanoseconds&) const = default;
};

/// Splits a time in nanoseconds. The seconds are kept as 32 bits.
constexpr SecondsNanoseconds SplitNanoseconds(std::int64_t nanoseconds) {
  constexpr std::int64_t second = 1'000'000'000;
  return {static_cast<std::int32_t>(nanoseconds / second), static_cast<std::int32_t>(nanoseconds % second)};
}

}  // namespace kestrune
