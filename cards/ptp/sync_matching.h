#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "ptp/message_counters.h"
#include "ptp/messages.h"

namespace kestrune::ptp {

/// A Sync as it was sent and received.
struct SyncTimes {
  std::uint16_t sequenceId;
  std::int64_t originTimestamp;  ///< corrections included
  std::int64_t receiveTimestamp;
};

/// A larger step between sequence numbers is no gap: the master has begun anew.
inline constexpr int largestSequenceStep = 64;

/// Brings each Sync of one master together with its Follow_Up, whichever comes first, by their sequence
/// numbers, and counts into `counters` what is lost, doubled, late or discarded.
class SyncMatching {
 public:
  /// The times, when they are complete.
  std::optional<SyncTimes> Add(const SyncMessage& sync, MessageCounters& counters);
  std::optional<SyncTimes> Add(const FollowUpMessage& followUp, MessageCounters& counters);

  /// Discards what still waits for a partner.
  void DiscardWaiting(MessageCounters& counters);

  /// Discards what still waits for a partner, and begins anew with another master.
  void Forget(MessageCounters& counters);

 private:
  /// What has been heard under one sequence number.
  struct Exchange {
    std::uint16_t sequenceId;
    std::optional<std::int64_t> receiveTimestamp{};
    std::optional<std::int64_t> originTimestamp{};
    std::int64_t correction = 0;
    bool Complete() const { return receiveTimestamp && originTimestamp; }
  };

  Exchange* Find(std::uint16_t sequenceId);
  Exchange& FindOrAdd(std::uint16_t sequenceId, MessageCounters& counters);
  bool IsNew(std::uint16_t sequenceId, MessageCounters& counters);

  std::deque<Exchange> exchanges_;  ///< the last few, complete ones too
  std::optional<std::uint16_t> latest_;
};

}  // namespace kestrune::ptp
