#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <span>

#include "network/wire.h"
#include "ptp/follower.h"

namespace kestrune::network {

/// When and from where a datagram came. Times are in nanoseconds.
struct Arrival {
  std::array<std::uint8_t, 4> sourceAddress{};
  std::int64_t now = 0;             ///< on a clock that only goes forward
  std::int64_t clockTimestamp = 0;  ///< by the clock that is measured; 0: not stamped
  std::int64_t localTimestamp = 0;  ///< by the clock that stamps every message
};

/// A follower on the wire: what the datagrams of a domain tell it, and when it asks for the delay. It neither
/// sends nor waits. Not thread-safe.
class PtpPort {
 public:
  explicit PtpPort(const ptp::FollowerSettings& settings);

  /// Messages of other domains and the port's own are ignored.
  void Hear(std::span<const std::uint8_t> datagram, const Arrival& arrival);

  /// To be called when something was heard, and at the deadline.
  void ChooseParent(std::int64_t now) { follower_.ChooseParent(now); }

  struct DelayReq {
    std::uint16_t sequenceId;
    DelayReqOctets octets;
  };

  /// The Delay_Req that is due, if one is.
  std::optional<DelayReq> TakeDueRequest(std::int64_t now);

  /// When it wants to be looked after next, requests included if it may send them; at most an hour after
  /// `now`.
  std::int64_t Deadline(std::int64_t now, bool maySend) const;

  ptp::Follower& Follower() { return follower_; }
  const ptp::Follower& Follower() const { return follower_; }

 private:
  void Hear(const Message& message, const Arrival& arrival);

  ptp::Follower follower_;
  std::minstd_rand random_;
  std::int64_t requestDue_ = 0;
  std::optional<double> makeUp_;  ///< the next wait as a share of the longest, unless it is a random one
};

}  // namespace kestrune::network
