#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrune::report {

/// In the order of weight: the worst of several is the greatest.
enum class Severity { Pass, Info, Warn, Fail };

/// "pass", "info", "warn", "fail": the class of an element of the page and the word of the JSON output.
std::string_view SeverityText(Severity severity);

/// "✓", "i", "!", "✕".
std::string_view SeverityMark(Severity severity);

/// What is judged, in the order of the page.
enum class Rule {
  Offset,
  Relock,
  CardLock,
  Redundancy,
  Difference,
  Step,
  PathDelay,
  MessagesMissing,
  ClockClass,
  UtcOffset,
  Profile,
  GrandmasterChanges,
  Telemetry,
};
inline constexpr std::size_t ruleCount = 13;

enum class Unit { Nanoseconds, Seconds, Percent, Count, ClockClass };

/// What a rule is called and what it measures. A value beyond a limit exceeds it; a clock class exceeds it
/// from the limit on.
struct RuleText {
  Rule rule;
  std::string_view key;   ///< its name in the limits file and in the JSON output
  std::string_view name;  ///< its name on the page
  Unit warnUnit;
  Unit failUnit;
  std::string_view measured;  ///< what the value is
};

const RuleText& TextOf(Rule rule);
const std::array<RuleText, ruleCount>& RuleTexts();

/// "ns", "s", "%"; empty for a number without a unit.
std::string_view UnitText(Unit unit);

/// A value of a unit as the page shows it: "2 251 ns", "1 min 18 s", "0.34 %", "4".
std::string ValueText(double value, Unit unit);

}  // namespace kestrune::report
