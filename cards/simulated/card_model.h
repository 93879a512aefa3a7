#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "sdk/records.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

/// The physics of one simulated card, without threads, clocks or COM: its two PTP followers, the masters that
/// they hear and its genlock, advanced second by second. The same scenario, card and start give the same
/// records, on every platform. Not thread-safe: the owner serialises. The scenario's indices must be valid:
/// an index out of range throws std::out_of_range.
///
/// Every present master announces itself; a follower takes the Sync of its best one only. With the automatic
/// selection, and with every value but 2 and 3, the card follows the SFP that hears the best master, and of
/// two SFPs with the same one the locked one, else SFP A. A change of a grandmaster leaves its presence
/// alone.
class CardModel {
 public:
  /// What one second brought.
  struct Second {
    std::vector<TelemetryRecord> telemetry;  ///< one per SFP that has a module, SFP A first
    bool genlockChanged = false;
    bool st2059Changed = false;
    bool sfpIpChanged[2] = {false, false};
  };

  /// `startEpochNanoseconds` is the network's UTC at scenario time 0. Runs the card's warm-up and applies the
  /// events due at time 0.
  CardModel(const Scenario& scenario, std::size_t card, std::int64_t startEpochNanoseconds);
  ~CardModel();

  /// Seconds of scenario time passed so far.
  std::int64_t Now() const;

  /// Lives through the next second, applying the timeline's events that fall into it (those at its end
  /// included), each at the next eighth of a second.
  Second Advance();

  // The state of now, as the card reports it.
  GenlockStatus ReadGenlockStatus() const;
  GenlockSettings ReadGenlockSettings() const;
  St2059Status ReadSt2059Status() const;
  St2059Settings ReadSt2059Settings() const;
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const;
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kestrune::simulated
