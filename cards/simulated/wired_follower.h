#pragma once

#include <cstdint>
#include <optional>

#include "ptp/follower.h"
#include "sdk/telemetry_record.h"
#include "simulated/card_clock.h"
#include "simulated/network.h"
#include "simulated/random.h"
#include "simulated/sfp_link.h"

namespace kestrune::simulated {

/// The PTP follower of one SFP and the wire that brings it the masters' messages: which of them get through,
/// and with what timestamps. It never touches the clock.
class WiredFollower {
 public:
  /// `network` outlives the follower. `sfp` is the SFP index.
  WiredFollower(const Network& network, std::size_t sfp, const Sfp& settings, Random link, Random messages);

  SfpLink& Link() { return link_; }
  const SfpLink& Link() const { return link_; }
  const ptp::Follower& Follower() const { return follower_; }

  /// One announce interval's messages, at the begin of a slot. `utcNanoseconds` is the network's UTC.
  void HearAnnounces(std::int64_t slot, std::int64_t utcNanoseconds);

  /// The Synchronization Metadata that the parent sends once per second (ST 2059-2).
  void HearManagement();

  /// The Sync of this slot and what follows it. Returns the offset from the master in nanoseconds if it could
  /// be measured.
  std::optional<std::int64_t> HearSync(std::int64_t slot, const CardClock& clock);

  /// Sends the Delay_Req of this slot, at a random moment of it, and hears the response. `clock` stands
  /// `slotRestSeconds` before the slot's end.
  void ExchangeDelay(const CardClock& clock, double slotRestSeconds);

  /// The card's clock has been stepped by `nanoseconds`.
  void ClockStepped(double nanoseconds) { follower_.ClockStepped(nanoseconds); }

  /// The card corrected its clock by `nanoseconds`, after what this follower measured.
  void ClockCorrected(double nanoseconds);

  /// Ends a telemetry interval of one second: decides the state and fills the record.
  void CloseInterval();

  /// Of the last interval closed.
  const TelemetryRecord& Record() const { return record_; }

 private:
  /// The parent, if its messages come as far as the fibre.
  std::optional<std::size_t> ReachableParent() const;

  const Network& network_;
  std::size_t sfp_;
  SfpLink link_;
  Random random_;
  ptp::Follower follower_;
  TelemetryRecord record_{};
};

}  // namespace kestrune::simulated
