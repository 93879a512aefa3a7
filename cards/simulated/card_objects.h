#pragma once

#include <cstddef>
#include <memory>

#include "sdk/card_services.h"
#include "simulated/simulation.h"

namespace kestrune::simulated {

/// A new card object, with one reference for the caller, on the simulation's card of this index.
IZvCardConfiguration* MakeCardObject(std::shared_ptr<Simulation> simulation, std::size_t card);

}  // namespace kestrune::simulated
