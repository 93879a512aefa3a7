#pragma once

#include <cstdint>
#include <ostream>

#include "report/recording.h"

namespace kestrune::report {

/// Writes the recording as a table: a line of names, then a line per step and SFP, in rising order; UTC in
/// ISO 8601, all else whole numbers, times in nanoseconds, empty where there is no data. `step` > 0 in
/// seconds; steps begin at multiples of it. Of more than an hour without a record of either SFP only the
/// first step has its lines. Reads the raw data again. False when `output` fails.
bool WriteCsv(const Recording& recording, std::int64_t step, std::ostream& output);

}  // namespace kestrune::report
