#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ptp/foreign_masters.h"
#include "ptp/interval_statistics.h"
#include "ptp/messages.h"
#include "ptp/path_delay_filter.h"
#include "ptp/sync_matching.h"

namespace kestrune::ptp {

/// The PTP port states that a follower goes through, with the records' codes.
enum class PortState : std::int32_t {
  Listening = 4,
  Uncalibrated = 8,
  FollowerUnlocked = 9,
  FollowerLocked = 10,
};

/// A clock that is further from its master is not a follower's yet, in nanoseconds.
inline constexpr double stepThreshold = 10'000;

/// What the follower has measured in one telemetry interval.
struct Measurements {
  IntervalStatistics masterToFollowerDelay;
  IntervalStatistics originTimestampJitter;
  IntervalStatistics offsetFromMaster;
  IntervalStatistics meanPathDelay;
  IntervalStatistics followerToMasterDelay;
  IntervalStatistics delayReqToDelayRespDelay;
};

/// Messages since the follower began. Of Sync and Delay_Resp, the parent's alone.
struct MessageCounters {
  std::uint32_t announceReceived = 0;
  std::uint32_t announceForeignReceived = 0;  ///< from others than the parent
  std::uint32_t syncReceived = 0;
  std::uint32_t followUpReceived = 0;
  std::uint32_t delayReqSent = 0;
  std::uint32_t delayRespReceived = 0;
  std::uint32_t managementReceived = 0;
  std::uint32_t discarded = 0;  ///< for want of a partner
};

/// A PTP port in the follower's role: hears the masters' messages, chooses its parent among them, measures
/// the clock that stamps them against the parent's and decides its state. It never touches the clock, and it
/// neither sends nor waits: whoever owns it brings the messages and the time. Not thread-safe.
///
/// `now` is a time in nanoseconds that only goes forward, whatever becomes of the clock that is measured.
class Follower {
 public:
  void HearAnnounce(const AnnounceMessage& message, std::int64_t now);

  /// To be called once an announce interval, after its messages: a parent that fell silent, or that is no
  /// longer the best one, is left.
  void ChooseParent(std::int64_t now);

  // The offset from the master in nanoseconds, once a Sync's timestamps are complete. What doesn't come from
  // the parent is ignored.
  std::optional<std::int64_t> HearSync(const SyncMessage& message);
  std::optional<std::int64_t> HearFollowUp(const FollowUpMessage& message);

  /// To be called when a Sync interval is over: discards what still waits for its partner.
  void EndSyncInterval();

  void HearManagement() { ++counters_.managementReceived; }

  /// Whether the path delay is to be measured.
  bool WantsDelay() const { return parent_ && syncsMeasured_ != 0; }

  /// A Delay_Req goes out. Returns its sequenceId.
  std::uint16_t SendDelayReq();

  /// When the last Delay_Req has left, by the follower's clock.
  void DelayReqSent(std::int64_t transmitTimestamp) { requestSent_ = transmitTimestamp; }

  /// `receiveTimestamp` is the response's, by the follower's clock.
  void HearDelayResp(const DelayRespMessage& message, std::int64_t receiveTimestamp);

  /// The follower's clock has been stepped by `nanoseconds`.
  void ClockStepped(double nanoseconds) { masterToFollower_ += nanoseconds; }

  /// Ends a telemetry interval of one second: decides the state.
  void EndInterval();

  PortState State() const { return state_; }

  /// The parent's last Announce; null without a parent.
  const AnnounceMessage* Parent() const { return parent_ ? foreignMasters_.Find(*parent_) : nullptr; }

  /// Whether enough of the parent has been measured to follow it.
  bool Calibrated() const;

  /// The last Announce of the parent and of those that may become it, the best one first.
  std::vector<const AnnounceMessage*> Masters() const { return foreignMasters_.Qualified(parent_); }

  /// Of the last interval that has ended.
  const Measurements& LastMeasurements() const { return lastMeasurements_; }

  const MessageCounters& Counters() const { return counters_; }

  // In nanoseconds; 0 until they are measured of this parent.
  std::int64_t OffsetFromMaster() const { return offset_; }
  double MeanPathDelay() const { return pathDelay_.Mean(); }

  /// As the parent's last Sync said.
  bool TwoStep() const { return twoStep_; }

 private:
  std::optional<std::int64_t> Measure(const std::optional<SyncTimes>& times);
  void ForgetMeasurements();
  void DecideState();

  ForeignMasters foreignMasters_;
  std::optional<PortIdentity> parent_;
  bool twoStep_ = false;
  SyncMatching syncMatching_;

  PortState state_ = PortState::Listening;
  int secondsSettled_ = 0;
  int secondsWithoutSync_ = 0;
  int secondsWithoutDelay_ = 0;

  std::uint32_t syncsMeasured_ = 0;  ///< from this parent, as the next
  std::uint32_t delaysMeasured_ = 0;
  std::optional<SyncTimes> lastSync_;
  double masterToFollower_ = 0;
  std::int64_t offset_ = 0;
  PathDelayFilter pathDelay_;

  std::uint16_t requestSequenceId_ = 0;
  std::optional<std::int64_t> requestSent_;  ///< of the Delay_Req that waits for its response

  Measurements measurements_;  ///< of the interval under way
  Measurements lastMeasurements_;
  MessageCounters counters_;
};

}  // namespace kestrune::ptp
