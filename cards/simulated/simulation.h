#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "simulated/card_engine.h"
#include "simulated/fault_plan.h"
#include "simulated/scenario.h"
#include "simulated/system.h"

namespace kestrune::simulated {

/// All that one activation of the card services brings to life. Every object that the caller holds shares in
/// it; when the last of them goes, the cards' threads end.
class Simulation {
 public:
  Simulation(Scenario scenario, const std::shared_ptr<Clock>& clock);
  ~Simulation();
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  std::size_t CardCount() const { return engines_.size(); }
  CardEngine& Engine(std::size_t card) { return *engines_[card]; }

  /// Counts a call; the code that it must return, if it has been struck by a fault. The system's own
  /// operations belong to no card: their scenario time is 0.
  std::optional<HRESULT> Strike(Operation operation) { return faults_.Strike(operation, 0); }
  std::optional<HRESULT> Strike(Operation operation, const CardEngine& engine) {
    return faults_.Strike(operation, static_cast<double>(engine.Now()));
  }

 private:
  FaultPlan faults_;
  // Shared with their telemetry threads.
  std::vector<std::shared_ptr<CardEngine>> engines_;
};

}  // namespace kestrune::simulated
