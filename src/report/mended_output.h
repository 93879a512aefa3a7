#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace kestrune::report {

struct MendedResult {
  bool good = false;         ///< false when reading or writing failed
  std::uint64_t units = 0;   ///< written
  std::uint64_t places = 0;  ///< that were left out
  std::uint64_t bytes = 0;   ///< left out, those at the end included
};

/// Writes the whole units of a raw data file, one behind the other, so that the copy is on its grid again.
MendedResult WriteMended(const std::string& rawDataFile, std::ostream& output);

}  // namespace kestrune::report
