#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "ptp/messages.h"
#include "ptp/profile.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

// The grid on which the model lives: one slot holds one Sync and one Delay_Req, every second slot begins with
// an Announce.
inline constexpr std::int64_t slotNanoseconds = ptp::syncInterval;
inline constexpr std::int64_t slotsPerSecond = 1'000'000'000 / slotNanoseconds;
inline constexpr double slotSeconds = 1.0 / slotsPerSecond;
inline constexpr std::int64_t slotsPerAnnounce = ptp::announceInterval / slotNanoseconds;

/// The masters around the card, as they are now.
class Network {
 public:
  explicit Network(const std::vector<Grandmaster>& grandmasters) : masters_(grandmasters) {}

  std::size_t Count() const { return masters_.size(); }

  /// By which port the master sends.
  ptp::PortIdentity Port(std::size_t master) const;

  /// The master that sends by this port, as far as it reaches the fibre of `sfp`.
  std::optional<std::size_t> Find(const ptp::PortIdentity& port, std::size_t sfp) const;

  /// What the master announces in this slot. `utcNanoseconds` is the network's UTC.
  ptp::AnnounceMessage Announce(std::size_t master, std::int64_t slot, std::int64_t utcNanoseconds) const;

  /// Whether the master's messages come as far as the fibre of `sfp`.
  bool Reaches(std::size_t master, std::size_t sfp) const {
    return masters_[master].present && masters_[master].reachable[sfp];
  }

  bool TwoStep(std::size_t master) const { return masters_[master].twoStep; }

  /// Of the time that the master serves, in nanoseconds against the true time.
  double TimeError(std::size_t master) const { return masters_[master].timeErrorNs; }

  void SetPresent(std::size_t master, bool present) { masters_.at(master).present = present; }

  /// Gives the master everything of `attributes` but its presence.
  void Change(std::size_t master, const Grandmaster& attributes);

 private:
  std::vector<Grandmaster> masters_;
};

}  // namespace kestrune::simulated
