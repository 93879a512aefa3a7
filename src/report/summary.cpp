#include "report/summary.h"

#include <algorithm>
#include <vector>

#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::size_t mostReasons = 5;
constexpr std::size_t mostLines = 10;

std::string HeadLine(const Judgement& judgement, std::string_view name) {
  const Recording& recording = *judgement.recording;
  std::string line = std::string(VerdictText(judgement.verdict)) + "  " + std::string(name);
  if (recording.end <= recording.first) return line + ": " + NoTelemetryText(recording);
  return line + ", " + TimeText(recording.first) + " to " + TimeText(recording.end) + " UTC, " +
         DurationText(recording.end - recording.first) + ", " +
         CountText(static_cast<std::int64_t>(recording.Records()), "record", "records");
}

std::string ReasonLine(const Check& check, const Limits& limits) {
  const bool fails = check.severity == Severity::Fail;
  const std::string limit =
      fails ? FailText(limits[check.rule], check.rule) : WarnText(limits[check.rule], check.rule);
  return std::string(fails ? "  fail  " : "  warn  ") + std::string(TextOf(check.rule).name) + ": " +
         check.ValueText(limits) + ", limit " + limit + " (" + limits[check.rule].source + "); " +
         check.measure.detail;
}

std::string CountsLine(const Judgement& judgement) {
  std::int64_t unmeasured = 0;
  for (const Check& check : judgement.checks) unmeasured += check.measure.measured ? 0 : 1;
  std::string line = CountText(static_cast<std::int64_t>(judgement.episodes.size()), "episode", "episodes") +
                     ", " +
                     CountText(static_cast<std::int64_t>(judgement.changes.size()), "thing", "things") +
                     " that nobody logged";
  const SelfCheck& selfCheck = *judgement.selfCheck;
  const auto lines = selfCheck.Agreeing() + selfCheck.Differing();
  if (lines > 0) {
    line += ", " + GroupedText(static_cast<std::int64_t>(selfCheck.Agreeing())) + " of " +
            CountText(static_cast<std::int64_t>(lines), "period line", "period lines") +
            " agree with the raw data";
  }
  if (unmeasured > 0) line += ", " + CountText(unmeasured, "check", "checks") + " without data";
  return line;
}

std::string WorstLine(const Episode& episode, const Recording& recording) {
  const Finding& worst = WorstFinding(episode);
  std::string line =
      "  worst " + TimeText(episode.from) + "  " + TitleOf(episode, recording) + " (" + LengthOf(episode);
  if (worst.count > 1) line += ", worst at " + TimeText(worst.at);
  return line + ')';
}

}  // namespace

std::string SummaryText(const Judgement& judgement, std::string_view name) {
  std::vector<std::string> lines = {HeadLine(judgement, name)};
  if (judgement.verdict == Verdict::Pass || judgement.verdict == Verdict::None)
    lines.push_back(judgement.sentence);

  std::vector<const Check*> reasons;
  for (const Check& check : judgement.checks) {
    if (check.severity > Severity::Info) reasons.push_back(&check);
  }
  std::ranges::stable_sort(reasons, std::ranges::greater{}, &Check::severity);
  for (std::size_t i = 0; i < std::min(reasons.size(), mostReasons); ++i) {
    lines.push_back(ReasonLine(*reasons[i], judgement.limits));
  }
  if (reasons.size() > mostReasons) {
    lines.back() += "; and " + std::to_string(reasons.size() - mostReasons) + " more";
  }
  for (const std::size_t worst : judgement.worst) {
    if (lines.size() + 1 == mostLines) break;
    lines.push_back(WorstLine(judgement.episodes[worst], *judgement.recording));
  }
  lines.push_back(CountsLine(judgement));

  std::string text;
  for (const std::string& line : lines) {
    std::string plain = AsciiText(line);
    std::ranges::replace(plain, '\n', ' ');
    text += plain + '\n';
  }
  return text;
}

}  // namespace kestrune::report
