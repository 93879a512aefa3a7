#pragma once

#include <cstdint>
#include <memory>

#include "kit/card.h"
#include "sdk/records.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

/// The physics of one simulated card: its two PTP followers, the masters that they hear and its genlock,
/// advanced second by second. The same scenario, card and start give the same records, on every platform. The
/// scenario's indices must be valid: an index out of range throws std::out_of_range.
///
/// Every present master announces itself; a follower takes the Sync of its best one only. With the automatic
/// selection, and with every value but 2 and 3, the card follows the SFP that hears the best master, and of
/// two SFPs with the same one the locked one, else SFP A. A change of a grandmaster leaves its presence
/// alone.
class CardModel : public kit::Card {
 public:
  CardModel(std::shared_ptr<const Scenario> scenario, std::size_t card);
  ~CardModel() override;

  const kit::CardDescription& Description() const override { return description_; }

  /// Runs the card's warm-up and applies the events due at time 0. The network's UTC is the scenario's, or
  /// else `epochNanoseconds`.
  void Wake(std::int64_t epochNanoseconds) override;

  std::int64_t Now() const override;

  /// Lives through the next second, applying the timeline's events that fall into it (those at its end
  /// included), each at the next eighth of a second. Telemetry comes from the SFPs that have a module, SFP A
  /// first.
  Step Advance() override;

  GenlockStatus ReadGenlockStatus() const override;
  GenlockSettings ReadGenlockSettings() const override;
  St2059Status ReadSt2059Status() const override;
  St2059Settings ReadSt2059Settings() const override;
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const override;
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const override;

 private:
  class Impl;

  const std::shared_ptr<const Scenario> scenario_;
  const std::size_t card_;
  const kit::CardDescription description_;
  std::unique_ptr<Impl> impl_;  ///< none while the card sleeps
};

}  // namespace kestrune::simulated
