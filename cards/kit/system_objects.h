#pragma once

#include <memory>
#include <variant>

#include "kit/activation.h"
#include "platform/com.h"
#include "sdk/card_services.h"

namespace kestrune::kit {

/// A new root object, with one reference for the caller.
IZvSystemConfiguration* MakeSystemConfiguration(std::shared_ptr<Activation> activation);

/// A new class factory, with one reference for the caller. Each root object that it makes brings a system of
/// `makeSystem` to life, whose failure is the creation's.
IClassFactory* MakeClassFactory(std::variant<System, HRESULT> (*makeSystem)());

}  // namespace kestrune::kit
