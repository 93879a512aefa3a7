#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/com.h"

namespace kestrune {

/// Flags of a trace message: what the session stamps it with.
inline constexpr std::uint32_t traceMessageSequence = 0x01;
inline constexpr std::uint32_t traceMessageGuid = 0x02;
inline constexpr std::uint32_t traceMessageTimestamp = 0x08;
inline constexpr std::uint32_t traceMessageSystemInfo = 0x20;

/// Trace levels go from 1 (fatal) to 5 (verbose).
inline constexpr std::uint8_t traceLevelInformation = 4;

/// Takes one trace message with its one argument, `argumentSize` bytes at `argument`.
using TraceSink = void (*)(std::uint64_t logger, std::uint32_t messageFlags, const GUID& messageGuid,
                           std::uint16_t messageNumber, const void* argument, std::size_t argumentSize);

/// Windows software tracing's TraceMessage; nowhere else is there such a thing, and the message is dropped.
void SystemTraceSink(std::uint64_t logger, std::uint32_t messageFlags, const GUID& messageGuid,
                     std::uint16_t messageNumber, const void* argument, std::size_t argumentSize);

/// A registered trace provider: the session's logger handle and what the session has enabled.
struct TraceProvider {
  std::uint64_t logger = 0;
  std::uint32_t enableFlags = 0;
  std::uint8_t level = 0;
  TraceSink sink = nullptr;  ///< null: the system's
};

/// The software-trace control reference: null while no provider is registered. Kestrune registers none;
/// whoever does sets it before other threads start, and keeps the provider alive.
inline constinit const TraceProvider* traceControl = nullptr;

}  // namespace kestrune
