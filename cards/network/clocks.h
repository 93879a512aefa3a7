#pragma once

#include <ctime>

#include <cstdint>

namespace kestrune::network {

inline std::int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

/// A clock of the system, in nanoseconds.
inline std::int64_t ReadClock(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return Nanoseconds(time);
}

}  // namespace kestrune::network
