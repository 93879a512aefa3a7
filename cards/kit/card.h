#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kit/operations.h"
#include "platform/com.h"
#include "sdk/records.h"

namespace kestrune::kit {

/// What a card is, for as long as it lives.
struct CardDescription {
  std::uint32_t modelCode = 98;
  std::string serialNumber{};  ///< at most 31 characters
  std::string cardModel{};     ///< at most 103 characters
  bool st2059 = true;
  std::vector<std::uint32_t> sfpNumbers{1, 2};  ///< that the SFP enumerator hands out, in this order

  /// Whether everything is told in the one order in which the steps bring it, on one thread, and a second's
  /// records are never in a batch with another's. Otherwise each kind of notification has a thread of its
  /// own and seconds that are due at once share batches.
  bool inOrder = false;

  /// How a card that lives in real time waits for what it has to live through next, for so long at most. The
  /// engine calls it between two steps, on the thread that calls Advance, while others may read the card's
  /// state. Empty: the card lives by the whole seconds of the wall clock.
  std::function<void(std::chrono::milliseconds longest)> wait{};
};

/// A card as a library knows it: what it tells as its time goes by, and its state. Its time stands at second
/// 0 until the engine advances it. Not thread-safe: the engine serialises the calls. SFP index: 0 = SFP A, 1
/// = SFP B.
class Card {
 public:
  /// What a step brought.
  struct Step {
    std::vector<TelemetryRecord> telemetry;  ///< in the order of their delivery
    bool genlockChanged = false;
    bool st2059Changed = false;
    std::array<bool, 2> sfpIpChanged{};
  };

  virtual ~Card() = default;

  /// The same at any time, so any thread calls.
  virtual const CardDescription& Description() const = 0;

  /// Called once, before anything below. `epochNanoseconds` is the wall clock's UTC at the card's second 0.
  virtual void Wake(std::int64_t epochNanoseconds) = 0;

  /// Seconds of the card's time lived through.
  virtual std::int64_t Now() const = 0;

  /// Lives through the next step: to the end of the second, or less far when what it brings has to be told
  /// first.
  virtual Step Advance() = 0;

  // The state of now, as the card reports it.
  virtual GenlockStatus ReadGenlockStatus() const = 0;
  virtual GenlockSettings ReadGenlockSettings() const = 0;
  virtual St2059Status ReadSt2059Status() const = 0;
  virtual St2059Settings ReadSt2059Settings() const = 0;
  virtual St2059SfpStatus ReadSt2059SfpStatus(std::size_t sfp) const = 0;
  virtual SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const = 0;
};

/// What one activation of a library brings to life.
struct System {
  std::vector<std::unique_ptr<Card>> cards;  ///< in the order of their enumeration

  /// Asked at each call of an operation, at this time of the card in seconds (0 if it concerns no card): the
  /// code to return instead of doing its work, or none. Any thread calls. May be empty.
  std::function<std::optional<HRESULT>(Operation operation, std::int64_t time)> strike;
};

}  // namespace kestrune::kit
