#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/period_statistics.h"
#include "report/time_zone.h"

namespace kestrune::report {

/// One result line of the period test results.
struct PeriodLine {
  std::int64_t time = 0;     ///< the end of the period, epoch seconds
  std::int32_t minutes = 0;  ///< 15 or 1440
  std::int32_t sfp = 0;      ///< index
  std::int32_t run = 0;      ///< which start line of the file stands before it; 0 without one
  PeriodResults results;
};

/// The period test results as read.
struct PeriodLines {
  bool present = false;
  std::uint64_t bytes = 0;
  std::vector<PeriodLine> lines;     ///< in the order of the file
  std::vector<std::int64_t> starts;  ///< start lines, as civil local times (see TimeZone)
  std::uint64_t damaged = 0;         ///< lines that are neither result nor heading
  bool unended = false;              ///< the last line isn't whole (yet)
};

/// Reads period test results; adds their pairs of local and epoch time to `zone`. A file that isn't there
/// gives none.
PeriodLines ReadPeriodLines(const std::string& fileName, TimeZone& zone);
/// The same of a text.
PeriodLines ParsePeriodLines(std::string_view text, TimeZone& zone);

}  // namespace kestrune::report
