#include "ptp/follower.h"

#include <cmath>
#include <cstdlib>
#include <utility>

#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

constexpr std::uint32_t syncsForCalibration = 8;
constexpr std::uint32_t delaysForCalibration = 4;
constexpr double lockThreshold = 500;
constexpr double unlockThreshold = 1'000;
constexpr int secondsForLock = 4;
constexpr int syncReceiptTimeoutSeconds = 3;
constexpr int delayReceiptTimeoutSeconds = 10;

}  // namespace

void Follower::HearAnnounce(const AnnounceMessage& message, std::int64_t now) {
  foreignMasters_.Hear(message, now);
  ++counters_.announceReceived;
  if (message.sourcePortIdentity != parent_) ++counters_.announceForeignReceived;
}

void Follower::ChooseParent(std::int64_t now) {
  foreignMasters_.LookAt(now);
  const auto masters = foreignMasters_.Qualified(parent_);
  const auto best = masters.empty() ? std::nullopt : std::optional(masters.front()->sourcePortIdentity);
  if (best == parent_) return;
  parent_ = best;
  twoStep_ = false;
  state_ = best ? PortState::Uncalibrated : PortState::Listening;
  EndSyncInterval();
  ForgetMeasurements();
}

std::optional<std::int64_t> Follower::HearSync(const SyncMessage& message) {
  if (message.sourcePortIdentity != parent_) return std::nullopt;
  ++counters_.syncReceived;
  twoStep_ = message.twoStepFlag;
  return Measure(syncMatching_.Add(message));
}

std::optional<std::int64_t> Follower::HearFollowUp(const FollowUpMessage& message) {
  if (message.sourcePortIdentity != parent_) return std::nullopt;
  ++counters_.followUpReceived;
  return Measure(syncMatching_.Add(message));
}

void Follower::EndSyncInterval() {
  syncMatching_.Discard();
  counters_.discarded += syncMatching_.TakeDiscarded();
}

std::optional<std::int64_t> Follower::Measure(const std::optional<SyncTimes>& times) {
  if (!times) return std::nullopt;
  const SyncTimes last = lastSync_.value_or(*times);
  const auto intervals = static_cast<std::int16_t>(times->sequenceId - last.sequenceId);
  measurements_.originTimestampJitter.Add(times->originTimestamp - last.originTimestamp -
                                          intervals * syncInterval);
  lastSync_ = times;

  const std::int64_t delay = times->receiveTimestamp - times->originTimestamp;
  measurements_.masterToFollowerDelay.Add(delay);
  masterToFollower_ = static_cast<double>(delay);
  // IEEE 1588-2019, 11.2; the path delay counts as 0 until it is measured.
  offset_ = std::llround(masterToFollower_ - pathDelay_.Mean());
  measurements_.offsetFromMaster.Add(offset_);
  ++syncsMeasured_;
  return offset_;
}

std::uint16_t Follower::SendDelayReq() {
  ++counters_.delayReqSent;
  requestSent_.reset();
  return ++requestSequenceId_;
}

void Follower::HearDelayResp(const DelayRespMessage& message, std::int64_t receiveTimestamp) {
  if (message.sourcePortIdentity != parent_) return;
  ++counters_.delayRespReceived;
  if (message.sequenceId != requestSequenceId_ || !requestSent_) {
    ++counters_.discarded;
    return;
  }
  const std::int64_t sent = *std::exchange(requestSent_, std::nullopt);
  const std::int64_t followerToMaster = message.receiveTimestamp - message.correction - sent;
  const double sample = (masterToFollower_ + static_cast<double>(followerToMaster)) / 2;  // 11.3
  measurements_.followerToMasterDelay.Add(followerToMaster);
  measurements_.meanPathDelay.Add(std::llround(sample));
  measurements_.delayReqToDelayRespDelay.Add(receiveTimestamp - sent);
  ++delaysMeasured_;
  pathDelay_.Add(sample);
}

bool Follower::Calibrated() const {
  return parent_ && syncsMeasured_ >= syncsForCalibration && delaysMeasured_ >= delaysForCalibration;
}

void Follower::ForgetMeasurements() {
  syncsMeasured_ = 0;
  delaysMeasured_ = 0;
  lastSync_.reset();
  offset_ = 0;
  pathDelay_ = {};
  requestSent_.reset();
  secondsSettled_ = 0;
}

void Follower::DecideState() {
  const bool synced = measurements_.offsetFromMaster.Count() > 0;
  secondsWithoutSync_ = synced ? 0 : secondsWithoutSync_ + 1;
  secondsWithoutDelay_ = measurements_.meanPathDelay.Count() > 0 ? 0 : secondsWithoutDelay_ + 1;
  if (!parent_) return;
  if (secondsWithoutSync_ >= syncReceiptTimeoutSeconds) ForgetMeasurements();

  const double offset = std::abs(measurements_.offsetFromMaster.Mean());
  const bool usable = synced && secondsWithoutDelay_ < delayReceiptTimeoutSeconds;
  secondsSettled_ = usable && offset < lockThreshold ? secondsSettled_ + 1 : 0;
  if (!Calibrated() || offset > stepThreshold) {
    state_ = PortState::Uncalibrated;
    secondsSettled_ = 0;
  } else if (state_ == PortState::FollowerLocked) {
    if (!usable || offset > unlockThreshold) state_ = PortState::FollowerUnlocked;
  } else {
    state_ = secondsSettled_ >= secondsForLock ? PortState::FollowerLocked : PortState::FollowerUnlocked;
  }
}

void Follower::EndInterval() {
  DecideState();
  lastMeasurements_ = std::exchange(measurements_, {});
}

}  // namespace kestrune::ptp
