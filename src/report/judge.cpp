#include "report/judge.h"

#include <algorithm>
#include <map>
#include <utility>

#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t leastJudgedSeconds = 60;
constexpr std::size_t worstEpisodes = 10;
constexpr std::size_t mostEpisodes = 2000;

Check MakeCheck(Rule rule, const Evidence& evidence, const Limits& limits) {
  Check check{rule, MeasureRule(rule, evidence), Severity::Info, -1};
  const Measure& measure = check.measure;
  if (!measure.measured) return check;
  const bool oneUnit = TextOf(rule).warnUnit == TextOf(rule).failUnit;
  check.severity =
      Judge(limits[rule], rule, oneUnit ? measure.inFailUnit : measure.value, measure.inFailUnit);
  return check;
}

/// Which episode has this moment, or the first one of the recording in this minute; rather one with a finding
/// of the rule.
int EpisodeAt(const std::vector<Episode>& episodes, const Recording& recording, Rule rule,
              std::int64_t moment) {
  const std::int64_t time = std::max(moment, recording.first);
  constexpr std::int64_t margin = 3;
  int found = -1;
  for (std::size_t i = 0; i < episodes.size(); ++i) {
    const Episode& episode = episodes[i];
    if (time < episode.from - margin || time > episode.to + margin) continue;
    const bool ofRule = std::ranges::any_of(episode.findings, [&](const Finding& finding) {
      return Shows(finding.cause, rule) && time >= finding.from - margin && time <= finding.to + margin;
    });
    if (ofRule) return static_cast<int>(i);
    if (found < 0) found = static_cast<int>(i);
  }
  return found;
}

/// What a check that didn't pass says in the verdict's sentence.
std::string SentenceOf(const Check& check, const Limits& limits) {
  const RuleText& text = TextOf(check.rule);
  const Limit& limit = limits[check.rule];
  const bool fails = check.severity == Severity::Fail;
  std::string sentence = std::string(text.name) + ": " + check.ValueText(limits) + ", limit " +
                         (fails ? FailText(limit, check.rule) : WarnText(limit, check.rule));
  if (check.measure.at >= 0) sentence += ", worst at " + TimeText(check.measure.at);
  return sentence + '.';
}

std::string SentenceOf(const Judgement& judgement) {
  if (judgement.verdict == Verdict::None) {
    return "Too little data for a verdict: " +
           CountText(judgement.watch->JudgedSeconds(), "second", "seconds") + " of a locked card's offset, " +
           std::to_string(leastJudgedSeconds) + " are needed.";
  }
  std::string sentence;
  std::int64_t warnings = 0;
  const Severity shown = judgement.verdict == Verdict::Fail ? Severity::Fail : Severity::Warn;
  for (const Check& check : judgement.checks) {
    warnings += check.severity == Severity::Warn ? 1 : 0;
    if (check.severity != shown) continue;
    sentence.append(sentence.empty() ? "" : " ").append(SentenceOf(check, judgement.limits));
  }
  if (judgement.verdict == Verdict::Pass) return "Everything that was measured lies within its limits.";
  if (shown == Severity::Warn) return "No limit that fails is exceeded. " + sentence;
  if (warnings > 0)
    sentence += " Besides, " + CountText(warnings, "check wants a look.", "checks want a look.");
  return sentence;
}

Verdict VerdictOf(const Judgement& judgement) {
  Severity worst = Severity::Pass;
  for (const Check& check : judgement.checks) {
    if (check.measure.measured) worst = std::max(worst, check.severity);
  }
  if (worst == Severity::Fail) return Verdict::Fail;
  if (judgement.watch->JudgedSeconds() < leastJudgedSeconds) return Verdict::None;
  return worst == Severity::Warn ? Verdict::Warn : Verdict::Pass;
}

std::vector<MasterUse> MastersOf(const Recording& recording) {
  std::map<std::int32_t, MasterUse> uses;
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    const std::vector<Run>& runs = recording.sfp[sfp].master.All();
    for (std::size_t i = 0; i < runs.size(); ++i) {
      if (recording.masters[static_cast<std::size_t>(runs[i].value)].grandmaster == 0) continue;
      const std::int64_t to = i + 1 < runs.size() ? runs[i + 1].from : recording.sfp[sfp].end;
      const auto [use, added] =
          uses.try_emplace(runs[i].value, MasterUse{runs[i].value, runs[i].from, to, {}, 0});
      use->second.first = std::min<std::int64_t>(use->second.first, runs[i].from);
      use->second.last = std::max(use->second.last, to);
      use->second.followed[sfp] += to - runs[i].from;
      ++use->second.times;
    }
  }
  std::vector<MasterUse> masters;
  masters.reserve(uses.size());
  for (const auto& [index, use] : uses) masters.push_back(use);
  std::ranges::stable_sort(masters, {}, &MasterUse::first);
  return masters;
}

std::vector<Relock> RelocksOf(const Watch& watch) {
  std::vector<Relock> relocks;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const auto& all = watch.Relocks(sfp).All();
    relocks.insert(relocks.end(), all.begin(), all.end());
  }
  std::ranges::stable_sort(relocks, {}, &Relock::detected);
  return relocks;
}

std::vector<Change> ChangesOf(const Recording& recording, const SelfCheck& selfCheck) {
  std::vector<Change> changes = FindChanges(recording);
  for (const auto& unsummed : selfCheck.WithoutLine()) {
    changes.push_back({unsummed.stretch.from, unsummed.stretch.to, 1, unsummed.sfp,
                       "records without a period line", "",
                       DurationText(unsummed.stretch.to - unsummed.stretch.from), Severity::Warn});
  }
  std::ranges::stable_sort(changes, {}, &Change::time);
  return changes;
}

/// Notes that tell of a count, if it isn't 0.
class Notes {
 public:
  void Count(std::uint64_t count, std::string_view one, std::string_view many) {
    if (count > 0) notes_.push_back(CountText(static_cast<std::int64_t>(count), one, many));
  }
  void If(bool holds, std::string_view text) {
    if (holds) notes_.emplace_back(text);
  }
  std::vector<std::string> Take() { return std::move(notes_); }

 private:
  std::vector<std::string> notes_;
};

}  // namespace

std::string_view VerdictText(Verdict verdict) {
  static constexpr std::string_view texts[] = {"PASS", "WARN", "FAIL", "NO VERDICT"};
  return texts[static_cast<std::size_t>(verdict)];
}

int ExitStatus(Verdict verdict) { return static_cast<int>(verdict); }

std::string Check::ValueText(const Limits& limits) const {
  if (!measure.measured) return "no data";
  const bool fails = severity == Severity::Fail;
  const Unit unit = fails ? TextOf(rule).failUnit : TextOf(rule).warnUnit;
  const bool inFailUnit = fails && unit != TextOf(rule).warnUnit;
  std::string text = report::ValueText(inFailUnit ? measure.inFailUnit : measure.value, unit);
  if (severity < Severity::Warn || unit == Unit::ClockClass) return text;
  // Rounded, it must not look as if it were on the limit.
  const Limit& limit = limits[rule];
  const std::optional<double> bound = fails ? limit.fail : limit.warn;
  if (!bound || text != report::ValueText(*bound, unit)) return text;
  return "just over " + (fails ? FailText(limit, rule) : WarnText(limit, rule));
}

Judgement JudgeRecording(const Recording& recording, const Watch& watch, const SelfCheck& selfCheck,
                         const Limits& limits) {
  Judgement judgement;
  judgement.limits = limits;
  judgement.recording = &recording;
  judgement.watch = &watch;
  judgement.selfCheck = &selfCheck;
  const Evidence evidence(recording, watch, limits);
  std::vector<Episode>& episodes = judgement.episodes;
  episodes = JoinFindings(FindAll(evidence, selfCheck, limits), limits);
  for (const RuleText& text : RuleTexts()) {
    Check& check = judgement.checks[static_cast<std::size_t>(text.rule)];
    check = MakeCheck(text.rule, evidence, limits);
    if (check.severity <= Severity::Info || check.measure.at < 0) continue;
    const int episode = EpisodeAt(episodes, recording, check.rule, check.measure.at);
    if (episode < 0) continue;
    Raise(episodes[static_cast<std::size_t>(episode)], check.rule, check.severity, check.measure.value,
          limits);
  }
  judgement.episodesLeftOut = LeaveOutMildest(episodes, mostEpisodes);
  judgement.worst = WorstOf(episodes, worstEpisodes);
  for (Check& check : judgement.checks) {
    if (check.measure.at >= 0) check.episode = EpisodeAt(episodes, recording, check.rule, check.measure.at);
  }
  judgement.relocks = RelocksOf(watch);
  judgement.changes = ChangesOf(recording, selfCheck);
  judgement.masters = MastersOf(recording);
  judgement.verdict = VerdictOf(judgement);
  judgement.sentence = SentenceOf(judgement);
  return judgement;
}

std::string NoTelemetryText(const Recording& recording) {
  return recording.outsideRange > 0 ? "no telemetry in the range that was asked for" : "no telemetry";
}

std::vector<std::string> RawDataNotes(const Recording& recording) {
  Notes notes;
  notes.Count(recording.damagedPlaces, "damaged place in the raw data", "damaged places in the raw data");
  notes.Count(recording.damagedBytes, "byte left out there", "bytes left out there");
  notes.Count(recording.rawDataLost, "byte at the end of the raw data could not be read",
              "bytes at the end of the raw data could not be read");
  notes.Count(recording.tornBytes, "byte behind the last whole unit", "bytes behind the last whole unit");
  notes.Count(recording.otherSfp, "unit of neither SFP", "units of neither SFP");
  notes.Count(recording.implausible, "unit with impossible contents left out",
              "units with impossible contents left out");
  notes.Count(recording.wildStamps, "unit with a wild time stamp left out",
              "units with wild time stamps left out");
  notes.Count(recording.doubledSeconds, "second with a second record", "seconds with a second record");
  notes.Count(recording.clockSteps.size(), "step of the recorder's clock", "steps of the recorder's clock");
  notes.Count(recording.mastersDropped, "master's data taken for similar ones",
              "masters' data taken for similar ones");
  std::uint64_t dropped = 0;
  for (const SfpRecording& sfp : recording.sfp) dropped += sfp.state.Dropped() + sfp.master.Dropped();
  notes.Count(dropped, "change of a state or a master beyond the report's limit left out",
              "changes of states and masters beyond the report's limit left out");
  notes.If(recording.batched, "several records of one time stamp: their seconds were counted out");
  if (recording.runs.size() > 1) notes.Count(recording.runs.size(), "run in one file", "runs in one file");
  return notes.Take();
}

std::vector<std::string> EventLogNotes(const EventLog& log) {
  Notes notes;
  notes.Count(log.damaged, "place in the event log that is no document",
              "places in the event log that are no documents");
  notes.If(log.unended, "the event log's last document isn't whole");
  notes.Count(log.wild, "document with a wild time left out", "documents with wild times left out");
  notes.Count(log.backward, "document that lies before the one before it",
              "documents that lie before the one before them");
  notes.Count(log.DroppedChanges(), "logged change beyond the report's limit left out",
              "logged changes beyond the report's limit left out");
  notes.Count(log.dropped, "event beyond the report's limit left out",
              "events beyond the report's limit left out");
  return notes.Take();
}

std::vector<std::string> PeriodLineNotes(const PeriodLines& lines) {
  Notes notes;
  notes.Count(lines.damaged, "period line that is none", "period lines that are none");
  notes.If(lines.unended, "the last period line isn't whole");
  return notes.Take();
}

std::vector<std::string> RecordingNotes(const Recording& recording) {
  std::vector<std::string> notes;
  for (const std::string& name : recording.unreadable)
    notes.push_back(name + " is there and could not be read");
  for (const auto& ofFile :
       {RawDataNotes(recording), EventLogNotes(recording.eventLog), PeriodLineNotes(recording.periodLines)})
    notes.insert(notes.end(), ofFile.begin(), ofFile.end());
  return notes;
}

}  // namespace kestrune::report
