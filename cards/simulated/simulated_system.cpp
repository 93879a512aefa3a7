#include "simulated/simulated_system.h"

#include <memory>
#include <utility>

#include "simulated/card_model.h"
#include "simulated/fault_plan.h"

namespace kestrune::simulated {

kit::System MakeSimulatedSystem(Scenario scenario) {
  kit::System system;
  const auto shared = std::make_shared<const Scenario>(std::move(scenario));
  for (std::size_t card = 0; card < shared->cards.size(); ++card) {
    system.cards.push_back(std::make_unique<CardModel>(shared, card));
  }
  system.strike = [plan = std::make_shared<FaultPlan>(shared->faults)](kit::Operation operation,
                                                                       std::int64_t time) {
    return plan->Strike(operation, static_cast<double>(time));
  };
  return system;
}

}  // namespace kestrune::simulated
