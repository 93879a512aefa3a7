#include "ptp/sync_matching.h"

#include <utility>

namespace kestrune::ptp {

std::optional<SyncTimes> SyncMatching::Add(const SyncMessage& sync) {
  if (!sync.twoStepFlag) {
    return SyncTimes{sync.sequenceId, sync.originTimestamp + sync.correction, sync.receiveTimestamp};
  }
  discarded_ += sync_.has_value();
  sync_ = sync;
  return Match();
}

std::optional<SyncTimes> SyncMatching::Add(const FollowUpMessage& followUp) {
  discarded_ += followUp_.has_value();
  followUp_ = followUp;
  return Match();
}

void SyncMatching::Discard() {
  discarded_ += sync_.has_value() + followUp_.has_value();
  sync_.reset();
  followUp_.reset();
}

std::uint32_t SyncMatching::TakeDiscarded() { return std::exchange(discarded_, 0); }

std::optional<SyncTimes> SyncMatching::Match() {
  if (!sync_ || !followUp_ || sync_->sequenceId != followUp_->sequenceId ||
      sync_->sourcePortIdentity != followUp_->sourcePortIdentity) {
    return std::nullopt;
  }
  const SyncTimes times{sync_->sequenceId,
                        followUp_->preciseOriginTimestamp + sync_->correction + followUp_->correction,
                        sync_->receiveTimestamp};
  sync_.reset();
  followUp_.reset();
  return times;
}

}  // namespace kestrune::ptp
