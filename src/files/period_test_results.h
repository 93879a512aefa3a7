#pragma once

#include <cstdint>
#include <string>

#include "files/period_statistics.h"

namespace kestrune {

/// The legend and the line of column names that head each run in the period test results file; no newline at
/// the end.
std::string PeriodTestResultsHeader();

/// One line of the period test results file, newline included. `durationMinutes` is 15 or 1440, `sfp` an SFP
/// index, `epochSeconds` the test's time.
std::string FormatPeriodTestLine(const PeriodResults& results, std::uint32_t durationMinutes,
                                 std::uint32_t sfp, std::int64_t epochSeconds);

/// The 50 values of a period, joined by ",".
std::string FormatPeriodResults(const PeriodResults& results);

/// A quantity's eight values, joined by ",": seconds and nanoseconds of minimum, maximum, average, standard
/// deviation.
std::string FormatQuantityResults(const QuantityResults& results);

}  // namespace kestrune
