#pragma once

#include "ptp/follower.h"
#include "sdk/telemetry_record.h"

namespace kestrune::ptp {

/// Enters into a telemetry record what the follower knows at the end of an interval. Counters, measurements,
/// masters and intervals are the follower's; the SFP, the last correction and the link's figures are others'.
void FillRecord(const Follower& follower, TelemetryRecord& record);

}  // namespace kestrune::ptp
