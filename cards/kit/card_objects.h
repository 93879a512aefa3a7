#pragma once

#include <cstddef>
#include <memory>

#include "kit/activation.h"
#include "sdk/card_services.h"

namespace kestrune::kit {

/// A new card object, with one reference for the caller, on the activation's card of this index.
IZvCardConfiguration* MakeCardObject(std::shared_ptr<Activation> activation, std::size_t card);

}  // namespace kestrune::kit
