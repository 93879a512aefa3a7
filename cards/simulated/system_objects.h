#pragma once

#include <memory>

#include "platform/com.h"
#include "sdk/card_services.h"
#include "simulated/simulation.h"

namespace kestrune::simulated {

/// A new root object, with one reference for the caller.
IZvSystemConfiguration* MakeSystemConfiguration(std::shared_ptr<Simulation> simulation);

/// A new class factory, with one reference for the caller. The root objects that it makes bring the scenario
/// of the environment variable ZV_SIM_SCENARIO to life, or the built-in one; ZV_E_INVALID_FILE_FORMAT, and
/// one line on standard error, when that scenario is no good.
IClassFactory* MakeClassFactory();

}  // namespace kestrune::simulated
