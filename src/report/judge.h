#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "report/changes.h"
#include "report/episodes.h"
#include "report/limits.h"
#include "report/measures.h"
#include "report/recording.h"
#include "report/self_check.h"
#include "report/watch.h"

namespace kestrune::report {

enum class Verdict { Pass, Warn, Fail, None };

/// "PASS", "WARN", "FAIL", "NO VERDICT".
std::string_view VerdictText(Verdict verdict);

/// 0 pass, 1 warn, 2 fail, 3 too little data for a verdict; the program's exit status.
int ExitStatus(Verdict verdict);

/// One rule's outcome.
struct Check {
  Rule rule = Rule::Offset;
  Measure measure;
  Severity severity = Severity::Pass;  ///< Info: too little data to measure it
  int episode = -1;                    ///< the one with its worst moment; -1: none

  /// "2 251 ns", "just over 500 ns", "no data"; in the unit of the limit that it exceeds.
  std::string ValueText(const Limits& limits) const;
};

/// One grandmaster's appearances with the same data.
struct MasterUse {
  std::int32_t master = 0;  ///< index into the recording's masters
  std::int64_t first = 0;
  std::int64_t last = 0;
  std::array<std::int64_t, sfpCount> followed{};  ///< seconds
  std::int64_t times = 0;                         ///< how often an SFP took it up
};

/// All that the report says of a recording beyond its figures.
struct Judgement {
  Verdict verdict = Verdict::None;
  std::string sentence;
  std::array<Check, ruleCount> checks;  ///< in the order of the rules
  Limits limits;
  std::vector<Episode> episodes;    ///< in the order of time
  std::size_t episodesLeftOut = 0;  ///< the mildest ones beyond the first thousands
  std::vector<std::size_t> worst;   ///< the ten worst episodes
  std::vector<Relock> relocks;      ///< of both SFPs, in the order of time
  std::vector<Change> changes;      ///< that nobody logged
  std::vector<MasterUse> masters;   ///< in the order of their first appearance

  // What stands in the outputs beside these; the judgement doesn't own them.
  const Recording* recording = nullptr;
  const Watch* watch = nullptr;
  const SelfCheck* selfCheck = nullptr;
};

/// Judges a recording that has been read, by a watch and a self check that saw it and are finished. All three
/// must outlive the judgement.
Judgement JudgeRecording(const Recording& recording, const Watch& watch, const SelfCheck& selfCheck,
                         const Limits& limits);

/// What is said in the place of a range of time, of a recording without records.
std::string NoTelemetryText(const Recording& recording);

/// What can be said against the files, one sentence each: damage, clock steps, wild time stamps and so on.
std::vector<std::string> RawDataNotes(const Recording& recording);
std::vector<std::string> EventLogNotes(const EventLog& log);
std::vector<std::string> PeriodLineNotes(const PeriodLines& lines);
/// All of that, and which files could not be read.
std::vector<std::string> RecordingNotes(const Recording& recording);

}  // namespace kestrune::report
