#pragma once

#include "kit/card.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

/// The scenario's cards, whose operations its faults strike.
kit::System MakeSimulatedSystem(Scenario scenario);

}  // namespace kestrune::simulated
