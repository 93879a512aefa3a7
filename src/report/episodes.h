#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/findings.h"

namespace kestrune::report {

/// Findings that belong together: what happened, and what it brought about.
struct Episode {
  std::int64_t from = 0;
  std::int64_t to = 0;
  Severity severity = Severity::Info;
  std::int64_t count = 1;  ///< how often it happened: flaps of one kind are one episode
  /// What it is named by first, the rest in the order of causes; of each kind and SFP one, with a count.
  std::vector<Finding> findings;
  double weight =
      0;  ///< its worst value over the limit that fails (or warns, where none fails); 0: not judged

  const Finding& CauseOf() const { return findings.front(); }
  Cause WhatCaused() const { return findings.front().cause; }
};

/// Joins findings, which are in the order of time, into episodes, also in that order:
/// - what begins within 15 s of another's begin or end (75 s for what is known by the minute) belongs to it;
/// - three times and more the same cause on the same SFP, each within an hour of the one before, are one
/// episode.
std::vector<Episode> JoinFindings(std::vector<Finding> findings, const Limits& limits);

/// What a rule judges may be the sum of much that is harmless by itself: an episode that shows it weighs at
/// least what the rule found, `value` in the unit of the limit that warns.
void Raise(Episode& episode, Rule rule, Severity severity, double value, const Limits& limits);

/// Of an episode, the finding that weighs most.
const Finding& WorstFinding(const Episode& episode);

/// "SFP A: no signal", "Grandmaster changes to …21-00-02, 40 times".
std::string TitleOf(const Episode& episode, const Recording& recording);

/// How long it lasted: "4 min 2 s"; "7 s of 3 h", where what gives it its name lasted for less than half.
std::string LengthOf(const Episode& episode);

/// Leaves out the mildest until at most `count` stay; how many went.
std::size_t LeaveOutMildest(std::vector<Episode>& episodes, std::size_t count);

/// The worst first: by severity, then by weight. At most `count`, as indices; none that is only for
/// information.
std::vector<std::size_t> WorstOf(const std::vector<Episode>& episodes, std::size_t count);

}  // namespace kestrune::report
