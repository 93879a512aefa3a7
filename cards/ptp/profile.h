#pragma once

#include <algorithm>
#include <cstdint>

namespace kestrune::ptp {

// What the default profile of ST 2059-2 prescribes, and what follows from it.

inline constexpr std::uint8_t defaultDomainNumber = 127;

inline constexpr std::int32_t logAnnounceInterval = -2;
inline constexpr std::int32_t logSyncInterval = -3;
inline constexpr std::int32_t logMinDelayReqInterval = -3;

// In nanoseconds.
inline constexpr std::int64_t announceInterval = 250'000'000;
inline constexpr std::int64_t syncInterval = 125'000'000;

/// In announce intervals.
inline constexpr std::int64_t announceReceiptTimeout = 3;

/// The interval in nanoseconds that a message announces by its logMessageInterval, between 1/128 s and 64 s.
constexpr std::int64_t Interval(std::int32_t logMessageInterval) {
  constexpr std::int64_t second = 1'000'000'000;
  const std::int32_t log = std::clamp(logMessageInterval, -7, 6);
  return log < 0 ? second >> -log : second << log;
}

/// What a message announces, or what holds without it: 0x7F announces nothing (IEEE 1588-2019, table 42).
constexpr std::int32_t AnnouncedLog(std::int32_t logMessageInterval, std::int32_t otherwise) {
  return logMessageInterval == 0x7F ? otherwise : logMessageInterval;
}

}  // namespace kestrune::ptp
