#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/minutes.h"
#include "report/watch.h"

namespace kestrune::report {

/// What the counters of the metrics are made of: sums since the recording began.
struct MetricsSums {
  std::array<std::uint64_t, sfpCount> records{};
  std::array<std::uint64_t, sfpCount> relocks{};
  std::array<MessageTallies, sfpCount> messages;  ///< while the link is up
  std::int64_t cardUnlocked = 0;                  ///< seconds, start-up apart
  std::int64_t beyondWarn = 0;  ///< seconds whose judged offset is beyond the limit that warns
  std::int64_t beyondFail = 0;
  std::int64_t grandmasterChanges = 0;
};

/// A unit of the raw data from which a later pass goes on, and what was known there.
struct MetricsMark {
  std::uint64_t place = 0;                    ///< byte of the raw data
  std::array<std::int64_t, sfpCount> last{};  ///< as in `Checkpoint`
  std::int64_t newest = 0;                    ///< second before it; 0: none
  WatchMemory watch;
  MetricsSums sums;
};

/// A value of the event log from a second on.
struct LoggedRun {
  std::int64_t from = 0;
  std::string text;
};

/// What the event log said from the mark on, and where it is to be read further.
struct EventLogMemory {
  std::uint64_t place = 0;  ///< byte behind the last whole document
  std::vector<std::int64_t> starts;
  std::vector<LoggedRun> card;
  std::vector<LoggedRun> followed;
  std::array<std::vector<LoggedRun>, sfpCount> link;
};

/// All that one run of the program leaves to the next beside the metrics.
struct MetricsState {
  std::uint64_t limits = 0;        ///< hash of the limits that were counted by
  std::uint64_t beginning = 0;     ///< hash of the raw data's first unit
  std::uint64_t beforeMark = 0;    ///< hash of the raw data's last unit before the mark
  std::uint64_t rawDataBytes = 0;  ///< so many there were
  MetricsMark mark;
  EventLogMemory eventLog;
  std::map<std::string, double> shown;  ///< counters as they stand in the metrics, by name and labels
  std::int64_t verdict = -1;            ///< exit status; negative: never judged
  std::int64_t judgedAt = 0;            ///< the recording's newest second when it was
  std::int64_t judgedSeconds = 0;       ///< the length of what was judged
};

std::string WriteState(const MetricsState& state);
/// Nothing for a text that isn't a whole state of this version.
std::optional<MetricsState> ReadState(std::string_view json);

}  // namespace kestrune::report
