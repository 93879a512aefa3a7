#pragma once

#include <array>
#include <cstddef>

#include "ptp/follower.h"

namespace kestrune::ptp {

/// Which of a card's two ports is rather to be followed: a calibrated one before one that is not, the one
/// with the better master, then the locked one. Without a master on either, `selected` stays selected.
std::size_t SelectPort(const std::array<const Follower*, 2>& ports, std::size_t selected);

}  // namespace kestrune::ptp
