#pragma once

#include <cstdint>

namespace kestrune::report {

/// Draws a bar on standard error, if that is a terminal, from the second half second on; it is gone when all
/// is read.
void ShowProgress(std::uint64_t done, std::uint64_t all);

}  // namespace kestrune::report
