#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "sdk/telemetry_record.h"
#include "simulated/ptp_clock.h"
#include "simulated/ptp_network.h"
#include "simulated/ptp_statistics.h"
#include "simulated/random.h"
#include "simulated/sfp_link.h"

namespace kestrune::simulated {

/// The PTP port states that a follower goes through, with the records' codes.
enum class PtpState : std::int32_t {
  Listening = 4,
  Uncalibrated = 8,
  FollowerUnlocked = 9,
  FollowerLocked = 10,
};

/// The PTP follower of one SFP: hears the masters' Announce messages, chooses its parent among them, measures
/// the card's clock against the parent and decides its state. It never touches the clock.
class PtpPort {
 public:
  /// `network` outlives the port. `sfp` is the SFP index.
  PtpPort(const PtpNetwork& network, std::size_t sfp, const Sfp& settings, Random link, Random messages);

  SfpLink& Link() { return link_; }
  const SfpLink& Link() const { return link_; }

  /// Hears one announce interval's messages and chooses the parent anew. `utcNanoseconds` is the network's
  /// UTC.
  void HearAnnounces(std::int64_t utcNanoseconds);

  /// Hears the Synchronization Metadata that the parent sends once per second (ST 2059-2).
  void HearManagement();

  /// Hears the Sync of this slot and what follows it. Returns the offset from the master in nanoseconds if it
  /// could be measured.
  std::optional<std::int64_t> HearSync(const CardClock& clock);

  /// Sends the Delay_Req of this slot, at a random moment of it, and hears the response. `clock` stands
  /// `slotRestSeconds` before the slot's end.
  void ExchangeDelay(const CardClock& clock, double slotRestSeconds);

  /// The card's clock has been stepped by `nanoseconds`.
  void ClockStepped(double nanoseconds) { masterToFollowerNs_ += nanoseconds; }

  /// The card corrected its clock by `nanoseconds`, after what this port measured.
  void ClockCorrected(double nanoseconds) { lastCorrectionNs_ = std::llround(nanoseconds); }

  /// Ends a telemetry interval of one second: decides the state and fills the record.
  void CloseInterval();

  /// Of the last interval closed.
  const TelemetryRecord& Record() const { return record_; }

  PtpState State() const { return state_; }

  /// Of the parent's last Announce; nothing without a parent.
  const MasterDataSet* Parent() const { return parent_ ? &foreignMasters_[*parent_].dataSet : nullptr; }

  /// Whether the port has measured enough of its parent for the card to follow it.
  bool Calibrated() const;

 private:
  /// A master heard, with its last Announce (IEEE 1588-2019, 9.3.2.4).
  struct ForeignMaster {
    MasterDataSet dataSet;
    std::int64_t announcedUtcNanoseconds = 0;
    std::uint32_t heard = 0;  ///< one bit per announce interval, the last one lowest
  };

  bool Qualified(std::size_t master) const;
  void ChooseParent();
  void ForgetMeasurements();
  void MeasurePathDelay(const CardClock& clock, double seconds);
  void FilterPathDelay(double sampleNs);
  void DecideState();
  void FillMasters();
  void FillTimeProperties();

  const PtpNetwork& network_;
  std::size_t sfp_;
  SfpLink link_;
  Random random_;

  std::vector<ForeignMaster> foreignMasters_;  ///< one per master of the network
  std::optional<std::size_t> parent_;

  PtpState state_ = PtpState::Listening;
  int secondsSettled_ = 0;
  int secondsWithoutSync_ = 0;
  int secondsWithoutDelay_ = 0;

  std::uint32_t syncsMeasured_ = 0;  ///< from this parent, as the next
  std::uint32_t delaysMeasured_ = 0;
  double masterToFollowerNs_ = 0;
  double meanPathDelayNs_ = 0;
  std::uint32_t pathDelaySamples_ = 0;  ///< in the filter
  double pathDelayDeviationNs_ = 0;  ///< mean absolute deviation of the samples from the filtered path delay
  int pathDelayOutliers_ = 0;        ///< of one sign in a row; negative for negative ones
  std::int64_t offsetNs_ = 0;
  std::int64_t lastCorrectionNs_ = 0;
  std::optional<std::int64_t> originDeviationNs_;  ///< of the last Sync's origin timestamp from the Sync grid

  SampleStatistics masterToFollower_;
  SampleStatistics originJitter_;
  SampleStatistics offset_;
  SampleStatistics meanPathDelay_;
  SampleStatistics followerToMaster_;
  SampleStatistics requestToResponse_;
  TelemetryRecord record_{};  ///< its counters run on from interval to interval
};

}  // namespace kestrune::simulated
