#pragma once

#include <cstdint>

namespace kestrune {

inline constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

/// A time as whole seconds and the nanoseconds left over, truncated toward zero: both parts carry the sign.
struct SecondsNanoseconds {
  std::int32_t seconds = 0;
  std::int32_t nanoseconds = 0;

  bool operator==(const SecondsNanoseconds&) const = default;
};

/// Splits a time in nanoseconds. The seconds are kept as 32 bits.
constexpr SecondsNanoseconds SplitNanoseconds(std::int64_t nanoseconds) {
  return {static_cast<std::int32_t>(nanoseconds / nanosecondsPerSecond),
          static_cast<std::int32_t>(nanoseconds % nanosecondsPerSecond)};
}

}  // namespace kestrune
