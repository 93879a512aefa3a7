#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulated/scenario.h"

namespace kestrune::simulated {

// The ST 2059-2 default profile's message rates, and the grid on which the model lives: one slot holds one
// Sync and one Delay_Req, every second slot begins with an Announce.
inline constexpr std::int64_t slotsPerSecond = 8;
inline constexpr double slotSeconds = 1.0 / slotsPerSecond;
inline constexpr std::int64_t slotNanoseconds = 1'000'000'000 / slotsPerSecond;
inline constexpr std::int64_t slotsPerAnnounce = 2;
inline constexpr std::int32_t logAnnounceInterval = -2;
inline constexpr std::int32_t logSyncInterval = -3;
inline constexpr std::int32_t logMinDelayReqInterval = -3;

/// What an Announce message says of a master: its data set (IEEE 1588-2019, 9.3.4) and what else a record
/// shows.
struct MasterDataSet {
  std::uint64_t grandmasterIdentity = 0;
  std::uint64_t senderIdentity = 0;  ///< clock identity of the port that sends the messages
  std::array<std::uint8_t, 4> ipv4{};
  std::uint8_t priority1 = 0;
  std::uint8_t clockClass = 0;
  std::uint8_t clockAccuracy = 0;
  std::uint8_t priority2 = 0;
  std::uint8_t timeSource = 0;
  bool twoStep = false;
  std::uint16_t offsetScaledLogVariance = 0;
  std::uint16_t stepsRemoved = 0;
  std::int16_t currentUtcOffset = 0;
};

/// The data set comparison of IEEE 1588-2019, 9.3.4: the grandmasters' attributes, and for one grandmaster
/// heard on two ways the shorter one, then the lower sender identity.
bool IsBetter(const MasterDataSet& left, const MasterDataSet& right);

/// The masters around the card, as they are now.
class PtpNetwork {
 public:
  explicit PtpNetwork(const std::vector<Grandmaster>& grandmasters);

  std::size_t Count() const { return masters_.size(); }
  const MasterDataSet& DataSet(std::size_t master) const { return masters_[master].dataSet; }

  /// Whether the master's messages come as far as the fibre of `sfp`.
  bool Reaches(std::size_t master, std::size_t sfp) const {
    return masters_[master].present && masters_[master].reachable[sfp];
  }

  /// Of the time that the master serves, in nanoseconds against the true time.
  double TimeError(std::size_t master) const { return masters_[master].timeErrorNs; }

  void SetPresent(std::size_t master, bool present) { masters_.at(master).present = present; }

  /// Gives the master everything of `attributes` but its name and its presence.
  void Change(std::size_t master, const Grandmaster& attributes);

 private:
  struct Master {
    MasterDataSet dataSet;
    std::array<bool, 2> reachable{};
    bool present = false;
    double timeErrorNs = 0;
  };

  static Master MakeMaster(const Grandmaster& grandmaster);

  std::vector<Master> masters_;
};

}  // namespace kestrune::simulated
