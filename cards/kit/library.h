#pragma once

#include <variant>

#include "kit/card.h"

namespace kestrune::kit {

// What each library defines.

/// By which its lines on standard error begin.
extern const char* const libraryName;

/// The system of a new activation; or why there is none, which a line on standard error has told.
std::variant<System, HRESULT> MakeSystem();

}  // namespace kestrune::kit
