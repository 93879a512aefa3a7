#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ptp/messages.h"

namespace kestrune::ptp {

/// The masters that a port hears: its foreignMasterDS (IEEE 1588-2019, 9.3.2.4). Times are in nanoseconds on
/// a clock that only goes forward.
class ForeignMasters {
 public:
  /// An Announce of an alternate master or of a master too far away qualifies nobody (9.3.2.5). When
  /// mostMasters are known, the one that was heard once, longest ago, gives way to a further one if that was
  /// some time ago; else the worst of those heard twice to a better one. The parent stays.
  void Hear(const AnnounceMessage& message, std::int64_t now, const std::optional<PortIdentity>& parent);

  /// Forgets those that have fallen silent; the masters that Qualified speaks of are those of `now`.
  void LookAt(std::int64_t now);

  /// The last Announce of each master that may become the parent, the best one first. Two Announces within
  /// four announce intervals qualify a master; from then on the parent stays qualified until its receipt
  /// timeout. The intervals are those that each master announces.
  std::vector<const AnnounceMessage*> Qualified(const std::optional<PortIdentity>& parent) const;

  /// The last Announce of a master; null when it is not known.
  const AnnounceMessage* Find(const PortIdentity& master) const;

  /// When a master's receipt timeout ends unless it is heard again; none when it is not known.
  std::optional<std::int64_t> ReceiptDeadline(const PortIdentity& master) const;

 private:
  static constexpr std::size_t mostMasters = 32;

  struct ForeignMaster {
    AnnounceMessage announce;  ///< the last one
    std::int64_t received;     ///< when that was
    std::optional<std::int64_t> receivedBefore;

    std::int64_t AnnounceInterval() const;
    std::int64_t TimeWindow() const;
    std::int64_t ReceiptDeadline() const;
  };

  void MakeRoomFor(const AnnounceMessage& message, std::int64_t now,
                   const std::optional<PortIdentity>& parent);
  const ForeignMaster* FindMaster(const PortIdentity& master) const;

  std::vector<ForeignMaster> masters_;
  std::int64_t now_ = 0;
};

}  // namespace kestrune::ptp
