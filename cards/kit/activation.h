#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kit/card.h"
#include "kit/card_engine.h"

namespace kestrune::kit {

/// A system at work. Every object that the caller holds shares in it; when the last of them goes, the cards'
/// threads end.
class Activation {
 public:
  Activation(System system, const std::shared_ptr<Clock>& clock);
  ~Activation();
  Activation(const Activation&) = delete;
  Activation& operator=(const Activation&) = delete;

  std::size_t CardCount() const { return engines_.size(); }
  CardEngine& Engine(std::size_t card) { return *engines_[card]; }

  /// Counts a call; the code that it must return, if it has been struck by a fault. The system's own
  /// operations belong to no card: their time is 0.
  std::optional<HRESULT> Strike(Operation operation) { return Strike(operation, 0); }
  std::optional<HRESULT> Strike(Operation operation, const CardEngine& engine) {
    return Strike(operation, engine.Now());
  }

 private:
  std::optional<HRESULT> Strike(Operation operation, std::int64_t time) {
    return strike_ ? strike_(operation, time) : std::nullopt;
  }

  const std::function<std::optional<HRESULT>(Operation, std::int64_t)> strike_;
  // Shared with their telemetry threads.
  std::vector<std::shared_ptr<CardEngine>> engines_;
};

}  // namespace kestrune::kit
