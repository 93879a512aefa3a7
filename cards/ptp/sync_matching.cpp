#include "ptp/sync_matching.h"

#include <algorithm>
#include <cstdlib>

namespace kestrune::ptp {
namespace {

constexpr std::size_t exchangesKept = 16;

}  // namespace

std::optional<SyncTimes> SyncMatching::Add(const SyncMessage& sync, MessageCounters& counters) {
  if (!IsNew(sync.sequenceId, counters)) {
    ++counters.discarded;
    return std::nullopt;
  }
  Exchange& exchange = FindOrAdd(sync.sequenceId, counters);
  exchange.receiveTimestamp = sync.receiveTimestamp;
  exchange.correction += sync.correction;
  if (!sync.twoStepFlag) exchange.originTimestamp = sync.originTimestamp;
  if (!exchange.Complete()) return std::nullopt;
  return SyncTimes{sync.sequenceId, *exchange.originTimestamp + exchange.correction, sync.receiveTimestamp};
}

std::optional<SyncTimes> SyncMatching::Add(const FollowUpMessage& followUp, MessageCounters& counters) {
  Exchange& exchange = FindOrAdd(followUp.sequenceId, counters);
  if (exchange.originTimestamp) {
    ++counters.discarded;
    return std::nullopt;
  }
  exchange.originTimestamp = followUp.preciseOriginTimestamp;
  exchange.correction += followUp.correction;
  if (!exchange.Complete()) return std::nullopt;
  return SyncTimes{followUp.sequenceId, *exchange.originTimestamp + exchange.correction,
                   *exchange.receiveTimestamp};
}

void SyncMatching::DiscardWaiting(MessageCounters& counters) {
  const auto waiting =
      std::erase_if(exchanges_, [](const Exchange& exchange) { return !exchange.Complete(); });
  counters.discarded += static_cast<std::uint32_t>(waiting);
}

void SyncMatching::Forget(MessageCounters& counters) {
  DiscardWaiting(counters);
  exchanges_.clear();
  latest_.reset();
}

SyncMatching::Exchange* SyncMatching::Find(std::uint16_t sequenceId) {
  const auto found = std::ranges::find(exchanges_, sequenceId, &Exchange::sequenceId);
  return found != exchanges_.end() ? &*found : nullptr;
}

SyncMatching::Exchange& SyncMatching::FindOrAdd(std::uint16_t sequenceId, MessageCounters& counters) {
  if (Exchange* known = Find(sequenceId)) return *known;
  if (exchanges_.size() == exchangesKept) {
    counters.discarded += !exchanges_.front().Complete();
    exchanges_.pop_front();
  }
  return exchanges_.emplace_back(Exchange{.sequenceId = sequenceId});
}

/// Whether a Sync is heard for the first time.
bool SyncMatching::IsNew(std::uint16_t sequenceId, MessageCounters& counters) {
  const int step = latest_ ? static_cast<std::int16_t>(sequenceId - *latest_) : 1;
  if (std::abs(step) > largestSequenceStep) Forget(counters);
  if (step > 0 || !latest_) {
    if (latest_) counters.syncLost += static_cast<std::uint32_t>(step - 1);
    latest_ = sequenceId;
    return true;
  }
  const Exchange* known = Find(sequenceId);
  if (step == 0 || (known != nullptr && known->receiveTimestamp)) {
    ++counters.syncDuplicate;
    return false;
  }
  ++counters.syncLate;
  counters.syncLost -= counters.syncLost > 0 ? 1 : 0;
  return true;
}

}  // namespace kestrune::ptp
