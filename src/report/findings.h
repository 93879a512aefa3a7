#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/limits.h"
#include "report/measures.h"
#include "report/self_check.h"

namespace kestrune::report {

/// What kind of thing was found, in the order in which one explains the others: of what happens at once, the
/// first is taken for the cause.
enum class Cause {
  Start,
  ClockStep,
  NoTelemetry,
  Absent,
  Damage,
  Link,
  Grandmaster,
  GenlockSource,
  Genlock,
  UtcOffset,
  ClockClass,
  MasterData,
  Profile,
  PathDelay,
  Difference,
  Loss,
  Jitter,
  Offset,
  CardLock,
  SfpLock,
  Relock,
  Step,
  FollowedSfp,
  SelfCheck,
};

/// One thing found, at one time; or the same thing again and again, counted. Kept without a text, for there
/// may be many.
struct Finding {
  static constexpr std::int32_t neverLocked = -1;  ///< `after` of a loss of lock that has no end

  Cause cause = Cause::Start;
  int sfp = -1;  ///< -1: both, or the card
  std::int64_t from = 0;
  std::int64_t to = 0;
  Severity severity = Severity::Info;
  double value = 0;         ///< the worst, in its rule's unit; seconds, where no rule measures it
  std::int64_t at = 0;      ///< when it was worst
  std::int32_t before = 0;  ///< of a change: masters, or numbers of the event log's texts
  std::int32_t after = 0;
  std::int64_t count = 1;
  std::int64_t seconds = 0;  ///< that it lasted in all
};

/// The rule that a finding's value is measured by; none for what isn't judged.
std::optional<Rule> RuleOf(Cause cause);

/// Does a finding of this cause show what a rule judges?
bool Shows(Cause cause, Rule rule);

/// All findings, in the order of time. Few, however much was found: beyond some thousands, the same thing
/// within an hour is one finding with a count.
std::vector<Finding> FindAll(const Evidence& evidence, const SelfCheck& selfCheck, const Limits& limits);

/// Is it something that lasts, rather than a moment?
bool Lasts(Cause cause);

/// Its name in the JSON output: "noTelemetry".
std::string_view CauseKey(Cause cause);

/// What it says: "SFP A: no signal for 7 min", "12 times, 1 min in all".
std::string FindingText(const Finding& finding, const Recording& recording);

/// A short name for what has happened, as the title of what it caused: "SFP A: no signal".
std::string CauseText(const Finding& finding, const Recording& recording);

}  // namespace kestrune::report
