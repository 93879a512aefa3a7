#include "simulated/simulation.h"

#include <utility>

namespace kestrune::simulated {

Simulation::Simulation(Scenario scenario, const std::shared_ptr<Clock>& clock) : faults_(scenario.faults) {
  const auto shared = std::make_shared<const Scenario>(std::move(scenario));
  for (std::size_t card = 0; card < shared->cards.size(); ++card) {
    engines_.push_back(std::make_shared<CardEngine>(shared, card, clock));
  }
}

Simulation::~Simulation() {
  for (const auto& engine : engines_) engine->Stop();
}

}  // namespace kestrune::simulated
