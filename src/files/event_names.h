#pragma once

#include <cstdint>

namespace kestrune {

/// The kinds of documents in the event log.
enum class EventLogType : std::int32_t {
  StartOfMonitoring = 1,
  EndOfMonitoring = 2,
  GenlockStatus = 3,
  GenlockSettings = 4,
  St2059 = 5,
  SfpIpStatus = 6,
  SfpSt2059 = 7,
};

/// The names of the documents' members, kind by kind in their order.
namespace event_members {

// Of all documents.
inline constexpr char time[] = "Time";
inline constexpr char epochTime[] = "Epoch time";
inline constexpr char eventLogType[] = "Event log type";

// Genlock status.
inline constexpr char genlockState[] = "Genlock state";

// Genlock settings.
inline constexpr char genlockSource[] = "Genlock source";
inline constexpr char genlockFrameRate[] = "Genlock resolution frame rate";

// ST 2059 status and settings; the state and the clocks also of an SFP's ST 2059 telemetry.
inline constexpr char state[] = "State";
inline constexpr char bestMasterSfp[] = "Best master SFP";
inline constexpr char bestMasterClockId[] = "Best master clock ID";
inline constexpr char grandMasterClockId[] = "Grand master clock ID";
inline constexpr char bestMasterSfpSelection[] = "Best master SFP selection";

// SFP IP status; the SFP also of an SFP's ST 2059 telemetry.
inline constexpr char sfp[] = "SFP";
inline constexpr char modulePresent[] = "Module present";
inline constexpr char signalPresent[] = "Signal present";
inline constexpr char transmitError[] = "Transmit error";

// SFP ST 2059 telemetry.
inline constexpr char offsetFromMaster[] = "Offset from master";
inline constexpr char averageMeanPathDelay[] = "Average mean path delay";
inline constexpr char lastCorrection[] = "Last correction";
inline constexpr char seconds[] = "seconds";
inline constexpr char nanoseconds[] = "nanoseconds";

}  // namespace event_members

}  // namespace kestrune
