#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "report/limits.h"
#include "report/recording.h"
#include "report/rules.h"
#include "report/watch.h"

namespace kestrune::report {

/// What a rule found in a recording: the worst of what it measures.
struct Measure {
  bool measured = false;  ///< was there enough to measure it at all?
  double value = 0;       ///< in the rule's warnUnit
  double inFailUnit = 0;  ///< the same in its failUnit
  std::int64_t at = -1;   ///< its moment, epoch seconds; -1: none in particular
  int sfp = -1;           ///< -1: both, or the card
  std::string detail;     ///< more about it, for people
};

/// What several rules look at, worked out once.
struct Evidence {
  /// Both must outlive the evidence; the watch is finished.
  Evidence(const Recording& seen, const Watch& watched, const Limits& limits);

  const Recording* recording;
  const Watch* watch;
  std::array<DayDeviation, sfpCount> pathDelay;
};

Measure MeasureRule(Rule rule, const Evidence& evidence);

/// A master's clock class as it is judged: one below 6 is reserved and no better than 7.
double JudgedClockClass(const Master& master);

/// "SFP A", or a name of a message's kind.
std::string_view MessageKindText(MessageKind kind);

}  // namespace kestrune::report
