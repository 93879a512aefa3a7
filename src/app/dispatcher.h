#pragma once

#include "app/card_selection.h"
#include "diag/result_holder.h"

namespace kestrune {

/// Runs the mode that the command line asks for, wherever its word stands: the pass phrase before "help"
/// before "list" before "run". The two first need no card. Prints its own failures.
ResultHolder Dispatch(ApplicationContext& context, int argc, const char* const* argv);

}  // namespace kestrune
