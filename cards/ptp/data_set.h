#pragma once

#include "ptp/messages.h"

namespace kestrune::ptp {

/// The data set comparison (IEEE 1588-2019, 9.3.4) of what two Announce messages say: the grandmasters'
/// attributes, and for one grandmaster heard on two ways the shorter one, then the lower sender.
bool IsBetter(const AnnounceMessage& left, const AnnounceMessage& right);

}  // namespace kestrune::ptp
