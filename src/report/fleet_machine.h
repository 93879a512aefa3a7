#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "report/rules.h"

namespace kestrune::report {

/// A check of a machine's report that didn't pass, or its redundancy.
struct MachineCheck {
  std::string name;   ///< "Offset from master"
  std::string value;  ///< "2 251 ns"
  Severity severity = Severity::Pass;
};

/// An episode of a machine's report, epoch seconds.
struct MachineEpisode {
  std::int64_t from = 0;
  std::int64_t to = 0;
  Severity severity = Severity::Info;
  std::string cause;  ///< as in JSON, "grandmaster"
  std::string title;
};

/// A grandmaster that a machine's card followed, [from, to), epoch seconds.
struct MachineMaster {
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::string grandmaster;  ///< "08-00-11-ff-fe-21-00-01"
  std::int64_t domain = 0;
};

/// What the plant's page shows of one recorder: a report in JSON.
struct Machine {
  std::string file;
  std::string error;  ///< why it couldn't be read; then nothing below is known
  std::string name;   ///< the run's, or the label, where it has one
  std::string verdict;
  std::string sentence;
  std::int64_t first = 0;  ///< epoch seconds; equal to `end` without telemetry
  std::int64_t end = 0;
  std::vector<MachineCheck> notPassed;  ///< the worst first
  MachineCheck redundancy;
  std::vector<MachineMaster> masters;    ///< in the order of time
  std::vector<MachineEpisode> episodes;  ///< in the order of time
  std::vector<std::size_t> worst;        ///< indices of `episodes`, the worst first
};

/// Reads a report's JSON file of at most 64 MiB. Never fails: what is wrong stands in `error`.
Machine ReadMachine(const std::string& file);
/// The same of a text.
Machine ParseMachine(const std::string& file, std::string_view json);

}  // namespace kestrune::report
