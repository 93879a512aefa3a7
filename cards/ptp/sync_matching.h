#pragma once

#include <optional>

#include "ptp/messages.h"

namespace kestrune::ptp {

/// A Sync as it was sent and received.
struct SyncTimes {
  std::uint16_t sequenceId;
  std::int64_t originTimestamp;  ///< corrections included
  std::int64_t receiveTimestamp;
};

/// Brings each Sync of one master together with its Follow_Up, whichever comes first, by their source and
/// sequence numbers.
class SyncMatching {
 public:
  /// The times, when they are complete. What waited for a partner and is displaced is discarded.
  std::optional<SyncTimes> Add(const SyncMessage& sync);
  std::optional<SyncTimes> Add(const FollowUpMessage& followUp);

  /// Discards what still waits for a partner.
  void Discard();

  /// How many messages have been discarded since the last call.
  std::uint32_t TakeDiscarded();

 private:
  std::optional<SyncTimes> Match();

  std::optional<SyncMessage> sync_;
  std::optional<FollowUpMessage> followUp_;
  std::uint32_t discarded_ = 0;
};

}  // namespace kestrune::ptp
