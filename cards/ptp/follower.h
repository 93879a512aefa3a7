#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "ptp/foreign_masters.h"
#include "ptp/interval_statistics.h"
#include "ptp/message_counters.h"
#include "ptp/messages.h"
#include "ptp/path_delay_filter.h"
#include "ptp/sync_matching.h"

namespace kestrune::ptp {

/// The PTP port states that a follower goes through, with the records' codes; the first two are for its owner
/// to find.
enum class PortState : std::int32_t {
  Faulty = 2,
  Disabled = 3,
  Listening = 4,
  Uncalibrated = 8,
  FollowerUnlocked = 9,
  FollowerLocked = 10,
};

/// A clock that is further from its master is not a follower's yet, in nanoseconds.
inline constexpr double stepThreshold = 10'000;

/// What a follower is, for as long as it lives. Thresholds are of a second's mean offset, in nanoseconds.
struct FollowerSettings {
  PortIdentity portIdentity{};  ///< the follower's own
  std::uint8_t domainNumber = defaultDomainNumber;
  bool measuresDelay = true;  ///< else nothing is ever sent, and offsets contain the path delay
  bool clockIsUtc = false;    ///< else the clock keeps its master's time scale
  PathDelayFilter::Kind pathDelayFilter = PathDelayFilter::Kind::RunningMean;
  double lockThreshold = 500;
  double unlockThreshold = 1'000;
  double calibrationThreshold = stepThreshold;  ///< a clock further away is not calibrated
};

/// What the follower has measured in one telemetry interval.
struct Measurements {
  IntervalStatistics masterToFollowerDelay;
  IntervalStatistics originTimestampJitter;
  IntervalStatistics offsetFromMaster;
  IntervalStatistics meanPathDelay;
  IntervalStatistics followerToMasterDelay;
  IntervalStatistics delayReqToDelayRespDelay;
};

/// A PTP port in the follower's role: hears the masters' messages, chooses its parent among them, measures
/// the clock that stamps them against the parent's and decides its state. It never touches the clock, and it
/// neither sends nor waits: whoever owns it brings the messages and the time. Not thread-safe.
///
/// `now` is a time in nanoseconds that only goes forward, whatever becomes of the clock that is measured.
class Follower {
 public:
  explicit Follower(const FollowerSettings& settings = {})
      : settings_(settings), pathDelay_(settings.pathDelayFilter) {}

  const FollowerSettings& Settings() const { return settings_; }

  void HearAnnounce(const AnnounceMessage& message, std::int64_t now);

  /// To be called once an announce interval at least, after its messages, and at the receipt deadline: a
  /// parent that fell silent, or that is no longer the best one, is left.
  void ChooseParent(std::int64_t now);

  /// When the parent will have been silent for too long; none without a parent.
  std::optional<std::int64_t> ReceiptDeadline() const;

  // The offset from the master in nanoseconds, once a Sync's timestamps are complete. What doesn't come from
  // the parent is ignored; a clock that is further than 100 s from its master has nothing to do with it, so
  // what is measured then is discarded.
  std::optional<std::int64_t> HearSync(const SyncMessage& message);
  std::optional<std::int64_t> HearFollowUp(const FollowUpMessage& message);

  /// To be called when a Sync interval is known to be over: discards what still waits for its partner.
  void EndSyncInterval() { syncMatching_.DiscardWaiting(counters_); }

  void HearManagement() { ++counters_.managementReceived; }
  void HearDelayReq() { ++counters_.delayReqReceived; }

  /// A message that makes no sense.
  void HearNonsense() { ++counters_.discarded; }

  /// Whether the path delay is to be measured.
  bool WantsDelay() const { return settings_.measuresDelay && parent_ && syncsMeasured_ != 0; }

  /// A Delay_Req goes out. Returns its sequenceId.
  std::uint16_t SendDelayReq();

  /// When a Delay_Req has left: by the follower's clock, and by the clock that stamps the responses.
  void DelayReqSent(std::uint16_t sequenceId, std::int64_t transmitTimestamp, std::int64_t localTimestamp);

  /// `localTimestamp` is when the response came. It may be heard before its request is known to have left.
  /// Responses to others are ignored.
  void HearDelayResp(const DelayRespMessage& message, std::int64_t localTimestamp);

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

  // As the parent's last messages said, else as the profile does.
  std::int32_t LogAnnounceInterval() const;
  std::int32_t LogSyncInterval() const { return logSyncInterval_; }
  std::int32_t LogMinDelayReqInterval() const { return logMinDelayReqInterval_; }

 private:
  /// A Delay_Req and its response, whichever is known first.
  struct DelayExchange {
    std::uint16_t sequenceId;
    std::optional<std::int64_t> transmitTimestamp{};
    std::int64_t localTransmitTimestamp = 0;
    std::optional<std::int64_t> receiveTimestamp{};  ///< corrections included
    std::int64_t localReceiveTimestamp = 0;
  };

  std::optional<std::int64_t> Measure(const std::optional<SyncTimes>& times);
  void Measure(const DelayExchange& exchange);
  DelayExchange* FindRequest(std::uint16_t sequenceId);
  std::int64_t ClockToMaster() const;
  void ForgetMeasurements();
  void DecideState();

  const FollowerSettings settings_;
  ForeignMasters foreignMasters_;
  std::optional<PortIdentity> parent_;
  bool twoStep_ = false;
  std::int32_t logSyncInterval_ = ptp::logSyncInterval;
  std::int32_t logMinDelayReqInterval_ = ptp::logMinDelayReqInterval;
  SyncMatching syncMatching_;

  PortState state_ = PortState::Listening;
  int secondsSettled_ = 0;
  std::int64_t secondsWithoutSync_ = 0;
  std::int64_t secondsWithoutDelay_ = 0;

  std::uint32_t syncsMeasured_ = 0;  ///< from this parent, as the next
  std::uint32_t delaysMeasured_ = 0;
  std::optional<SyncTimes> lastSync_;
  double masterToFollower_ = 0;
  std::int64_t offset_ = 0;
  PathDelayFilter pathDelay_;

  std::uint16_t requestSequenceId_ = 0;
  std::deque<DelayExchange> requests_;  ///< the last few

  Measurements measurements_;  ///< of the interval under way
  Measurements lastMeasurements_;
  MessageCounters counters_;
};

}  // namespace kestrune::ptp
