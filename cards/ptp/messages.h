#pragma once

#include <array>
#include <cstdint>

#include "ptp/profile.h"

namespace kestrune::ptp {

// The messages that a follower hears (IEEE 1588-2019, 13), as far as it looks at them. Timestamps and
// corrections are in nanoseconds, a master's timestamps on its time scale, the follower's on its clock's;
// what the follower measures are their differences.

/// IEEE 1588-2019, 7.5.2.
struct PortIdentity {
  std::uint64_t clockIdentity = 0;
  std::uint16_t portNumber = 0;
  bool operator==(const PortIdentity&) const = default;
};

/// The first octet of flagField (IEEE 1588-2019, table 37).
enum FlagOctet0 : std::uint8_t {
  alternateMaster = 1U << 0,
  twoStep = 1U << 1,
};

/// The second octet of flagField (IEEE 1588-2019, table 37).
enum FlagOctet1 : std::uint8_t {
  leap61 = 1U << 0,
  leap59 = 1U << 1,
  currentUtcOffsetValid = 1U << 2,
  ptpTimescale = 1U << 3,
  timeTraceable = 1U << 4,
  frequencyTraceable = 1U << 5,
};

struct AnnounceMessage {
  PortIdentity sourcePortIdentity;
  std::array<std::uint8_t, 4> sourceAddress{};  ///< IPv4, in wire order
  std::uint16_t sequenceId = 0;
  std::uint8_t flagOctet0 = 0;       ///< FlagOctet0
  std::uint8_t flagOctet1 = 0;       ///< FlagOctet1
  std::int64_t correctionField = 0;  ///< as it stands on the wire: nanoseconds × 2^16
  std::int32_t logMessageInterval = logAnnounceInterval;
  std::int64_t originTimestamp = 0;
  std::int16_t currentUtcOffset = 0;  ///< seconds
  std::uint64_t grandmasterIdentity = 0;
  std::uint8_t grandmasterPriority1 = 0;
  std::uint8_t grandmasterClockClass = 0;
  std::uint8_t grandmasterClockAccuracy = 0;
  std::uint16_t grandmasterOffsetScaledLogVariance = 0;
  std::uint8_t grandmasterPriority2 = 0;
  std::uint16_t stepsRemoved = 0;
  std::uint8_t timeSource = 0;
};

struct SyncMessage {
  PortIdentity sourcePortIdentity;
  std::uint16_t sequenceId = 0;
  bool twoStepFlag = false;  ///< a Follow_Up brings the origin timestamp
  std::int32_t logMessageInterval = logSyncInterval;
  std::int64_t originTimestamp = 0;  ///< of a one-step master
  std::int64_t correction = 0;
  std::int64_t receiveTimestamp = 0;  ///< by the follower's clock
};

struct FollowUpMessage {
  PortIdentity sourcePortIdentity;
  std::uint16_t sequenceId = 0;
  std::int64_t preciseOriginTimestamp = 0;
  std::int64_t correction = 0;
};

struct DelayRespMessage {
  PortIdentity sourcePortIdentity;
  PortIdentity requestingPortIdentity{};
  std::uint16_t sequenceId = 0;  ///< of the Delay_Req
  std::int32_t logMessageInterval = logMinDelayReqInterval;
  std::int64_t receiveTimestamp = 0;  ///< of the Delay_Req, by the master's clock
  std::int64_t correction = 0;
};

}  // namespace kestrune::ptp
