#pragma once

#include <cstdint>

namespace kestrune::ptp {

// What the default profile of ST 2059-2 prescribes, and what follows from it.

inline constexpr std::uint8_t domainNumber = 127;

inline constexpr std::int32_t logAnnounceInterval = -2;
inline constexpr std::int32_t logSyncInterval = -3;
inline constexpr std::int32_t logMinDelayReqInterval = -3;

// In nanoseconds.
inline constexpr std::int64_t announceInterval = 250'000'000;
inline constexpr std::int64_t syncInterval = 125'000'000;

/// In announce intervals.
inline constexpr std::int64_t announceReceiptTimeout = 3;

}  // namespace kestrune::ptp
