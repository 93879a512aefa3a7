#include "ptp/follower.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

constexpr std::uint32_t syncsForCalibration = 8;
constexpr std::uint32_t delaysForCalibration = 4;
constexpr int secondsForLock = 4;
constexpr std::int64_t syncReceiptTimeoutSeconds = 3;
constexpr std::int64_t delayReceiptTimeoutSeconds = 10;
constexpr std::size_t requestsKept = 16;
constexpr std::int64_t largestDelay = 100'000'000'000;
constexpr std::int64_t presumedUtcOffset = 37;  ///< of a master that doesn't vouch for its own, in seconds

/// The whole seconds that an interval may leave without a message.
std::int64_t WholeSeconds(std::int32_t logInterval) { return Interval(logInterval) / 1'000'000'000; }

}  // namespace

void Follower::HearAnnounce(const AnnounceMessage& message, std::int64_t now) {
  foreignMasters_.Hear(message, now, parent_);
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
  logSyncInterval_ = ptp::logSyncInterval;
  logMinDelayReqInterval_ = ptp::logMinDelayReqInterval;
  state_ = best ? PortState::Uncalibrated : PortState::Listening;
  syncMatching_.Forget(counters_);
  ForgetMeasurements();
}

std::optional<std::int64_t> Follower::ReceiptDeadline() const {
  return parent_ ? foreignMasters_.ReceiptDeadline(*parent_) : std::nullopt;
}

std::int32_t Follower::LogAnnounceInterval() const {
  const AnnounceMessage* parent = Parent();
  return parent != nullptr ? AnnouncedLog(parent->logMessageInterval, ptp::logAnnounceInterval)
                           : ptp::logAnnounceInterval;
}

std::optional<std::int64_t> Follower::HearSync(const SyncMessage& message) {
  if (message.sourcePortIdentity != parent_) return std::nullopt;
  ++counters_.syncReceived;
  twoStep_ = message.twoStepFlag;
  logSyncInterval_ = AnnouncedLog(message.logMessageInterval, logSyncInterval_);
  return Measure(syncMatching_.Add(message, counters_));
}

std::optional<std::int64_t> Follower::HearFollowUp(const FollowUpMessage& message) {
  if (message.sourcePortIdentity != parent_) return std::nullopt;
  ++counters_.followUpReceived;
  return Measure(syncMatching_.Add(message, counters_));
}

/// What to add to the follower's clock to have the parent's time scale, in nanoseconds.
std::int64_t Follower::ClockToMaster() const {
  const AnnounceMessage* parent = Parent();
  if (!settings_.clockIsUtc || parent == nullptr || (parent->flagOctet1 & ptpTimescale) == 0) return 0;
  const bool valid = (parent->flagOctet1 & currentUtcOffsetValid) != 0;
  return nanosecondsPerSecond * (valid ? parent->currentUtcOffset : presumedUtcOffset);
}

std::optional<std::int64_t> Follower::Measure(const std::optional<SyncTimes>& times) {
  if (!times) return std::nullopt;
  const std::int64_t delay = times->receiveTimestamp + ClockToMaster() - times->originTimestamp;
  if (std::abs(delay) > largestDelay) {
    ++counters_.discarded;
    return std::nullopt;
  }
  SyncTimes last = lastSync_.value_or(*times);
  int step = static_cast<std::int16_t>(times->sequenceId - last.sequenceId);
  // A late one was sent before. Numbers that go back otherwise begin anew, or one was out of its turn.
  const bool goesBack = step < 0 && times->originTimestamp > last.originTimestamp;
  if (goesBack || std::abs(step) > largestSequenceStep) {
    last = *times;
    step = 0;
  }
  measurements_.originTimestampJitter.Add(times->originTimestamp - last.originTimestamp -
                                          step * Interval(logSyncInterval_));
  // IEEE 1588-2019, 11.2; the path delay counts as 0 until it is measured.
  const std::int64_t offset = std::llround(static_cast<double>(delay) - pathDelay_.Mean());
  measurements_.masterToFollowerDelay.Add(delay);
  measurements_.offsetFromMaster.Add(offset);
  ++syncsMeasured_;
  if (step < 0) return offset;  // a later one has overtaken it
  lastSync_ = times;
  masterToFollower_ = static_cast<double>(delay);
  offset_ = offset;
  return offset;
}

std::uint16_t Follower::SendDelayReq() {
  ++counters_.delayReqSent;
  if (requests_.size() == requestsKept) requests_.pop_front();
  return requests_.emplace_back(DelayExchange{.sequenceId = ++requestSequenceId_}).sequenceId;
}

Follower::DelayExchange* Follower::FindRequest(std::uint16_t sequenceId) {
  const auto found = std::ranges::find(requests_, sequenceId, &DelayExchange::sequenceId);
  return found != requests_.end() ? &*found : nullptr;
}

void Follower::DelayReqSent(std::uint16_t sequenceId, std::int64_t transmitTimestamp,
                            std::int64_t localTimestamp) {
  DelayExchange* request = FindRequest(sequenceId);
  if (request == nullptr || request->transmitTimestamp) return;
  request->transmitTimestamp = transmitTimestamp;
  request->localTransmitTimestamp = localTimestamp;
  Measure(*request);
}

void Follower::HearDelayResp(const DelayRespMessage& message, std::int64_t localTimestamp) {
  if (message.requestingPortIdentity != settings_.portIdentity) return;
  if (message.sourcePortIdentity != parent_) {
    ++counters_.delayRespForeignReceived;
    return;
  }
  ++counters_.delayRespReceived;
  logMinDelayReqInterval_ = AnnouncedLog(message.logMessageInterval, logMinDelayReqInterval_);
  DelayExchange* request = FindRequest(message.sequenceId);
  if (request == nullptr || request->receiveTimestamp) {
    ++counters_.discarded;
    return;
  }
  request->receiveTimestamp = message.receiveTimestamp - message.correction;
  request->localReceiveTimestamp = localTimestamp;
  Measure(*request);
}

void Follower::Measure(const DelayExchange& exchange) {
  if (!exchange.transmitTimestamp || !exchange.receiveTimestamp || syncsMeasured_ == 0) return;
  const std::int64_t followerToMaster =
      *exchange.receiveTimestamp - (*exchange.transmitTimestamp + ClockToMaster());
  if (std::abs(followerToMaster) > largestDelay) {
    ++counters_.discarded;
    return;
  }
  const double sample = (masterToFollower_ + static_cast<double>(followerToMaster)) / 2;  // 11.3
  measurements_.followerToMasterDelay.Add(followerToMaster);
  measurements_.meanPathDelay.Add(std::llround(sample));
  measurements_.delayReqToDelayRespDelay.Add(exchange.localReceiveTimestamp -
                                             exchange.localTransmitTimestamp);
  ++delaysMeasured_;
  pathDelay_.Add(sample);
}

bool Follower::Calibrated() const {
  return parent_ && syncsMeasured_ >= syncsForCalibration &&
         (!settings_.measuresDelay || delaysMeasured_ >= delaysForCalibration);
}

void Follower::ForgetMeasurements() {
  syncsMeasured_ = 0;
  delaysMeasured_ = 0;
  lastSync_.reset();
  offset_ = 0;
  pathDelay_ = PathDelayFilter(settings_.pathDelayFilter);
  requests_.clear();
  secondsSettled_ = 0;
}

void Follower::DecideState() {
  const bool synced = measurements_.offsetFromMaster.Count() > 0;
  secondsWithoutSync_ = synced ? 0 : secondsWithoutSync_ + 1;
  secondsWithoutDelay_ = measurements_.meanPathDelay.Count() > 0 ? 0 : secondsWithoutDelay_ + 1;
  if (!parent_) return;
  const std::int64_t syncSeconds = WholeSeconds(logSyncInterval_);
  if (secondsWithoutSync_ >= syncReceiptTimeoutSeconds * (syncSeconds + 1)) ForgetMeasurements();
  // At a Sync a second or fewer, seconds without one are as they have to be.
  if (!synced && secondsWithoutSync_ <= syncSeconds) return;

  const double offset = std::abs(measurements_.offsetFromMaster.Mean());
  const bool delayKnown =
      !settings_.measuresDelay ||
      secondsWithoutDelay_ < delayReceiptTimeoutSeconds * (WholeSeconds(logMinDelayReqInterval_) + 1);
  const bool usable = synced && delayKnown;
  secondsSettled_ = usable && offset < settings_.lockThreshold ? secondsSettled_ + 1 : 0;
  if (!Calibrated() || offset > settings_.calibrationThreshold) {
    state_ = PortState::Uncalibrated;
    secondsSettled_ = 0;
  } else if (state_ == PortState::FollowerLocked) {
    if (!usable || offset > settings_.unlockThreshold) state_ = PortState::FollowerUnlocked;
  } else {
    state_ = secondsSettled_ >= secondsForLock ? PortState::FollowerLocked : PortState::FollowerUnlocked;
  }
}

void Follower::EndInterval() {
  DecideState();
  lastMeasurements_ = std::exchange(measurements_, {});
}

}  // namespace kestrune::ptp
