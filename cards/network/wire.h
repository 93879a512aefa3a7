#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "ptp/messages.h"

namespace kestrune::network {

// PTP messages as they stand in a datagram (IEEE 1588-2019, 13).

/// IEEE 1588-2019, table 36.
enum class MessageType : std::uint8_t {
  Sync = 0,
  DelayReq = 1,
  PdelayReq = 2,
  PdelayResp = 3,
  FollowUp = 8,
  DelayResp = 9,
  PdelayRespFollowUp = 10,
  Announce = 11,
  Signaling = 12,
  Management = 13,
};

struct Message {
  MessageType type;
  std::uint8_t majorSdoId;
  std::uint8_t domainNumber;
  std::uint8_t flagOctet0;
  std::uint8_t flagOctet1;
  std::int64_t correctionField;  ///< nanoseconds × 2^16
  ptp::PortIdentity sourcePortIdentity;
  std::uint16_t sequenceId;
  std::int32_t logMessageInterval;
  std::int64_t timestamp = 0;                  ///< in nanoseconds; 0 in a Signaling or Management message
  ptp::PortIdentity requestingPortIdentity{};  ///< of a Delay_Resp or Pdelay_Resp
  ptp::AnnounceMessage announce{};             ///< of an Announce, but for the sender's address

  /// Whole nanoseconds, rounded down.
  std::int64_t Correction() const { return correctionField >> 16; }
};

/// The message in a datagram; what stands behind it, TLVs included, is passed over. None for what is no
/// message of PTP version 2, is cut short, or carries a time beyond the year 2255.
std::optional<Message> Decode(std::span<const std::uint8_t> datagram);

using DelayReqOctets = std::array<std::uint8_t, 44>;

/// A Delay_Req; its origin timestamp is 0.
DelayReqOctets EncodeDelayReq(const ptp::PortIdentity& source, std::uint8_t domainNumber,
                              std::uint16_t sequenceId);

}  // namespace kestrune::network
