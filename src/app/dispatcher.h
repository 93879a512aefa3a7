#pragma once

#include <cstdint>

#include "app/card_selection.h"
#include "cmdline/command_line_parser.h"
#include "diag/result_holder.h"

namespace kestrune {

/// Reads option "d" into `hours`, which keeps its value without that option. Prints its own failure.
ResultHolder ReadDuration(const CZvCommandLineParser& parser, std::uint32_t& hours);

/// Runs the mode that the command line asks for, wherever its word stands: the pass phrase before "help"
/// before "list" before "run". The two first need no card. Prints its own failures.
ResultHolder Dispatch(ApplicationContext& context, int argc, const char* const* argv);

}  // namespace kestrune
