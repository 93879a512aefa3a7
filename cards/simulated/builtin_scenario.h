#pragma once

#include "simulated/scenario.h"

namespace kestrune::simulated {

/// What is simulated when no scenario is named: one card, two grandmasters, and within the first hour a
/// fail-over, a fibre pulled and put back, and a change of the genlock settings.
Scenario BuiltinScenario();

}  // namespace kestrune::simulated
