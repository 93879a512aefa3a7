#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "report/rules.h"

namespace kestrune::report {

/// What a rule allows. A limit that is absent is never exceeded.
struct Limit {
  std::optional<double> warn;  ///< in the rule's warnUnit
  std::optional<double> fail;  ///< in the rule's failUnit
  std::string source;          ///< where the numbers come from
};

struct Limits {
  std::array<Limit, ruleCount> byRule;

  const Limit& operator[](Rule rule) const { return byRule[static_cast<std::size_t>(rule)]; }
  Limit& operator[](Rule rule) { return byRule[static_cast<std::size_t>(rule)]; }
};

/// Those that stand without a limits file.
Limits DefaultLimits();

struct LimitsResult {
  Limits limits;
  std::string error;  ///< empty if the text was good; else what is wrong with it and where
};

/// The default limits with what a limits file changes of them.
LimitsResult ReadLimits(std::string_view json);

/// A limits file that changes nothing, as a beginning for one that does; with a newline at its end.
std::string WriteLimits(const Limits& limits);

/// How a value of a rule's warnUnit (and the same value in its failUnit) stands to its limits: Pass, Warn or
/// Fail.
Severity Judge(const Limit& limit, Rule rule, double value, double valueInFailUnit);
Severity Judge(const Limit& limit, Rule rule, double value);

/// A limit as text: "500 ns", "any", "52 and above"; "none" without one.
std::string WarnText(const Limit& limit, Rule rule);
std::string FailText(const Limit& limit, Rule rule);

/// "warn beyond 500 ns, fail beyond 1 000 ns".
std::string LimitText(const Limit& limit, Rule rule);

}  // namespace kestrune::report
