#include "report/rules.h"

#include <cmath>

#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::array<RuleText, ruleCount> ruleTexts = {{
    {Rule::Offset, "offset", "Offset from master", Unit::Nanoseconds, Unit::Nanoseconds,
     "absolute average offset of a second, of the SFP that the locked card follows"},
    {Rule::Relock, "relock", "Time to lock again", Unit::Seconds, Unit::Seconds,
     "from the old master's last message, or from the first message behind an outage of the link"},
    {Rule::CardLock, "cardLock", "Card out of lock", Unit::Seconds, Unit::Seconds,
     "card not locked, in the worst day, start-up apart"},
    {Rule::Redundancy, "redundancy", "Not redundant", Unit::Seconds, Unit::Seconds,
     "either SFP unlocked or absent, in the worst day, start-up apart"},
    {Rule::Difference, "difference", "Difference of the SFPs", Unit::Nanoseconds, Unit::Nanoseconds,
     "average offset of a minute, SFP A less SFP B, on the same grandmaster"},
    {Rule::Step, "step", "Step at a change of grandmaster", Unit::Nanoseconds, Unit::Nanoseconds,
     "offset in the new grandmaster's first second less the last one to the old"},
    {Rule::PathDelay, "pathDelay", "Change of path delay", Unit::Percent, Unit::Percent,
     "median of a minute against the median of its day"},
    {Rule::MessagesMissing, "messagesMissing", "Messages missing", Unit::Percent, Unit::Percent,
     "Sync, Follow_Up and Delay_Resp, each, of those due while the link is up"},
    {Rule::ClockClass, "clockClass", "Clock class", Unit::ClockClass, Unit::ClockClass,
     "clock class of a grandmaster that an SFP followed"},
    {Rule::UtcOffset, "utcOffset", "UTC offset changes", Unit::Count, Unit::Count,
     "changes of the UTC offset without a leap flag before"},
    {Rule::Profile, "profile", "Outside the profile", Unit::Count, Unit::Count,
     "domains and message rates outside the profile"},
    {Rule::GrandmasterChanges, "grandmasterChanges", "Changes of grandmaster", Unit::Count, Unit::Count,
     "in the worst day"},
    {Rule::Telemetry, "telemetry", "Telemetry missing", Unit::Seconds, Unit::Percent,
     "seconds without a record of either SFP, and their share of the recording"},
}};

}  // namespace

std::string_view SeverityText(Severity severity) {
  static constexpr std::string_view texts[] = {"pass", "info", "warn", "fail"};
  return texts[static_cast<std::size_t>(severity)];
}

std::string_view SeverityMark(Severity severity) {
  static constexpr std::string_view marks[] = {"\u2713", "i", "!", "\u2715"};
  return marks[static_cast<std::size_t>(severity)];
}

const std::array<RuleText, ruleCount>& RuleTexts() { return ruleTexts; }

const RuleText& TextOf(Rule rule) { return ruleTexts[static_cast<std::size_t>(rule)]; }

std::string_view UnitText(Unit unit) {
  switch (unit) {
    case Unit::Nanoseconds:
      return "ns";
    case Unit::Seconds:
      return "s";
    case Unit::Percent:
      return "%";
    case Unit::Count:
    case Unit::ClockClass:
      break;
  }
  return "";
}

std::string ValueText(double value, Unit unit) {
  switch (unit) {
    case Unit::Nanoseconds:
      return NanosecondsText(value);
    case Unit::Seconds:
      return DurationText(std::llround(value));
    case Unit::Percent:
      return value < 0 ? "\u2212" + PercentText(-value / 100) : PercentText(value / 100);
    case Unit::Count:
    case Unit::ClockClass:
      break;
  }
  return GroupedText(std::llround(value));
}

}  // namespace kestrune::report
