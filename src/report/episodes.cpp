#include "report/episodes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <tuple>
#include <utility>

#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t near = 15;
constexpr std::int64_t nearByTheMinute = 75;
constexpr std::int64_t longestPauseOfFlaps = 3600;
constexpr std::int64_t leastFlaps = 3;
constexpr std::size_t openEpisodes = 32;
/// What something brings about is over so many seconds after it.
constexpr std::int64_t aftermath = 600;

bool KnownByTheMinute(Cause cause) {
  return cause == Cause::PathDelay || cause == Cause::Difference || cause == Cause::Loss ||
         cause == Cause::Jitter;
}

/// Changes of what a master tells are episodes of their own, whatever happens beside them.
bool StandsAlone(Cause cause) {
  return cause == Cause::UtcOffset || cause == Cause::MasterData || cause == Cause::ClockClass ||
         cause == Cause::Profile || cause == Cause::SelfCheck || cause == Cause::Damage;
}

/// A start explains what is harmless and over with it; the rest only began at the same time, as when a range
/// of a recording begins in the middle of it.
bool Outlasts(const Finding& finding, const Finding& start) {
  return finding.cause != Cause::Start && (finding.severity > Severity::Info || finding.to > start.to + near);
}

bool BelongTogether(const Episode& episode, const Finding& finding) {
  for (const Finding& other : episode.findings) {
    if (other.cause == Cause::Start && Outlasts(finding, other)) return false;
    if (finding.cause == Cause::Start && Outlasts(other, finding)) return false;
  }
  const bool alone = StandsAlone(finding.cause) || StandsAlone(episode.WhatCaused());
  if (alone && finding.cause != episode.WhatCaused()) return false;
  return std::ranges::any_of(episode.findings, [&](const Finding& other) {
    const bool coarse = KnownByTheMinute(finding.cause) || KnownByTheMinute(other.cause);
    const std::int64_t distance = coarse ? nearByTheMinute : near;
    const bool ofOneSfp = other.sfp < 0 || finding.sfp < 0 || other.sfp == finding.sfp;
    const bool within = coarse && ofOneSfp && KnownByTheMinute(finding.cause) && finding.from <= other.to;
    return within || std::abs(finding.from - other.from) <= distance ||
           std::abs(finding.from - other.to) <= distance;
  });
}

bool SameKind(const Finding& left, const Finding& right) {
  return left.cause == right.cause && left.sfp == right.sfp &&
         (left.cause != Cause::Loss || left.after == right.after);
}

/// Takes a finding among others; one of its kind counts for both, and the worse one stands for them.
void Absorb(std::vector<Finding>& findings, const Finding& added) {
  const auto same =
      std::ranges::find_if(findings, [&](const Finding& finding) { return SameKind(finding, added); });
  if (same == findings.end()) {
    findings.push_back(added);
    return;
  }
  const bool worse = std::fabs(added.value) > std::fabs(same->value);
  Finding joined = worse ? added : *same;
  joined.from = std::min(same->from, added.from);
  joined.to = std::max(same->to, added.to);
  joined.severity = std::max(same->severity, added.severity);
  joined.count = same->count + added.count;
  joined.seconds = same->seconds + added.seconds;
  *same = joined;
}

void Absorb(Episode& episode, const Finding& finding) {
  episode.from = std::min(episode.from, finding.from);
  episode.to = std::max(episode.to, finding.to);
  episode.severity = std::max(episode.severity, finding.severity);
  Absorb(episode.findings, finding);
}

std::vector<Episode> JoinNeighbours(std::vector<Finding>& findings) {
  std::vector<Episode> episodes;
  for (const Finding& finding : findings) {
    const auto newest = episodes.rbegin();
    const auto oldest = episodes.size() > openEpisodes ? newest + openEpisodes : episodes.rend();
    const auto found = std::find_if(newest, oldest,
                                    [&](const Episode& episode) { return BelongTogether(episode, finding); });
    if (found != oldest) {
      Absorb(*found, finding);
    } else {
      episodes.push_back({finding.from, finding.to, finding.severity, finding.count, {finding}});
    }
  }
  return episodes;
}

/// The same thing of both SFPs is said once.
void JoinSfps(std::vector<Finding>& findings) {
  for (std::size_t i = 0; i < findings.size(); ++i) {
    for (std::size_t j = i + 1; j < findings.size(); ++j) {
      Finding& one = findings[i];
      const Finding& other = findings[j];
      const bool same = one.cause == other.cause && one.sfp >= 0 && other.sfp >= 0 && one.sfp != other.sfp &&
                        one.count == other.count && one.seconds == other.seconds &&
                        one.value == other.value && one.after == other.after;
      if (!same) continue;
      one.sfp = -1;
      one.from = std::min(one.from, other.from);
      one.to = std::max(one.to, other.to);
      findings.erase(findings.begin() + static_cast<std::ptrdiff_t>(j));
      break;
    }
  }
}

bool CauseFirst(const Finding& left, const Finding& right) {
  // A worse finding doesn't explain a milder one that came before it: the order of causes does.
  return std::tie(left.cause, left.from) < std::tie(right.cause, right.from);
}

/// Puts first what the episode is named by: the first in the order of causes that lasted long enough to
/// account for the worst of it. Seconds without genlock don't explain hours of an offset.
void PutLeadFirst(Episode& episode) {
  std::int64_t longest = 0;
  for (const Finding& finding : episode.findings) {
    // Hours that a clock which was set back told twice are one after all.
    const std::int64_t lasted = std::min(finding.seconds, finding.to - finding.from);
    if (finding.severity == episode.severity) longest = std::max(longest, lasted);
  }
  const auto lead = std::ranges::find_if(episode.findings, [&](const Finding& finding) {
    const std::int64_t oneByOne = finding.seconds + finding.count * aftermath;
    return std::min(oneByOne, finding.to - finding.from + aftermath) >= longest;
  });
  std::rotate(episode.findings.begin(), lead, lead + 1);
}

double WeightOf(Rule rule, double value, const Limits& limits) {
  const Limit& limit = limits[rule];
  const double bound = TextOf(rule).warnUnit == TextOf(rule).failUnit
                           ? limit.fail.value_or(limit.warn.value_or(1))
                           : limit.warn.value_or(1);
  return std::fabs(value) / std::max(bound, 1.0);
}

double WeightOf(const Finding& finding, const Limits& limits) {
  const auto rule = RuleOf(finding.cause);
  return rule && finding.severity > Severity::Info ? WeightOf(*rule, finding.value, limits) : 0;
}

bool IsWorse(const Episode& left, const Episode& right) {
  return std::tie(left.severity, left.weight) > std::tie(right.severity, right.weight);
}

void Finish(Episode& episode, const Limits& limits) {
  std::stable_sort(episode.findings.begin() + 1, episode.findings.end(), CauseFirst);
  JoinSfps(episode.findings);
  // What is known by the minute doesn't tell in which second of it it began.
  std::int64_t from = INT64_MAX;
  for (const Finding& finding : episode.findings) {
    if (!KnownByTheMinute(finding.cause)) from = std::min(from, finding.from);
  }
  if (from - episode.from <= nearByTheMinute) episode.from = from;
  episode.weight = 0;
  for (const Finding& finding : episode.findings) {
    // The worst severity decides the rank; the weight is of what has it.
    if (finding.severity == episode.severity)
      episode.weight = std::max(episode.weight, WeightOf(finding, limits));
  }
}

/// Flaps: chains of the same cause.
std::vector<Episode> JoinFlaps(std::vector<Episode> episodes) {
  const auto keyOf = [](const Episode& episode) {
    const Finding& cause = episode.CauseOf();
    const bool anyMaster = cause.cause == Cause::Grandmaster;  // there and back is one kind of flap
    return std::tuple(cause.cause, anyMaster ? -1 : cause.sfp);
  };
  std::map<std::tuple<Cause, int>, std::vector<std::size_t>> chains;
  std::vector<std::size_t> into(episodes.size());
  std::iota(into.begin(), into.end(), 0U);
  const auto endChain = [&](std::vector<std::size_t>& chain) {
    std::int64_t count = 0;
    for (const std::size_t i : chain) count += episodes[i].count;
    if (count >= leastFlaps) {
      for (const std::size_t i : chain) into[i] = chain.front();
    }
    chain.clear();
  };
  for (std::size_t i = 0; i < episodes.size(); ++i) {
    if (episodes[i].WhatCaused() == Cause::Start) continue;
    auto& chain = chains[keyOf(episodes[i])];
    if (!chain.empty() && episodes[i].from - episodes[chain.back()].to > longestPauseOfFlaps) endChain(chain);
    chain.push_back(i);
  }
  for (auto& [key, chain] : chains) endChain(chain);

  std::vector<Episode> joined;
  std::map<std::size_t, std::size_t> places;
  for (std::size_t i = 0; i < episodes.size(); ++i) {
    const auto [place, added] = places.try_emplace(into[i], joined.size());
    if (added) {
      joined.push_back(std::move(episodes[i]));
      continue;
    }
    Episode& flaps = joined[place->second];
    flaps.count += episodes[i].count;
    for (const Finding& finding : episodes[i].findings) Absorb(flaps, finding);
  }
  return joined;
}

}  // namespace

std::vector<Episode> JoinFindings(std::vector<Finding> findings, const Limits& limits) {
  std::vector<Episode> episodes = JoinNeighbours(findings);
  for (Episode& episode : episodes) {
    std::ranges::stable_sort(episode.findings, CauseFirst);
    PutLeadFirst(episode);
    episode.count = episode.CauseOf().count;
  }
  episodes = JoinFlaps(std::move(episodes));
  for (Episode& episode : episodes) Finish(episode, limits);
  std::ranges::stable_sort(episodes, {}, &Episode::from);
  return episodes;
}

void Raise(Episode& episode, Rule rule, Severity severity, double value, const Limits& limits) {
  bool shows = false;
  for (Finding& finding : episode.findings) {
    if (!Shows(finding.cause, rule)) continue;
    shows = true;
    finding.severity = std::max(finding.severity, severity);
  }
  if (!shows || severity < episode.severity) return;
  const double before = severity > episode.severity ? 0 : episode.weight;
  episode.severity = severity;
  episode.weight = std::max(before, WeightOf(rule, value, limits));
}

const Finding& WorstFinding(const Episode& episode) {
  return *std::ranges::max_element(episode.findings, {}, &Finding::severity);
}

std::string TitleOf(const Episode& episode, const Recording& recording) {
  Finding cause = episode.CauseOf();
  const bool bothSfps = std::ranges::any_of(episode.findings, [&](const Finding& finding) {
    return finding.cause == cause.cause && finding.sfp != cause.sfp;
  });
  if (cause.cause == Cause::Grandmaster && episode.count > 1) {
    return "Grandmaster changes, " + CountText(episode.count, "time", "times");
  }
  std::string title = CauseText(cause, recording);
  if (bothSfps && cause.sfp >= 0) {
    cause.sfp = -1;
    title = CauseText(cause, recording);
  }
  if (episode.count > 1) title += ", " + CountText(episode.count, "time", "times");
  return title;
}

std::string LengthOf(const Episode& episode) {
  const Finding& cause = episode.CauseOf();
  const std::int64_t all = episode.to - episode.from;
  const bool partly = Lasts(cause.cause) && 2 * cause.seconds < all;
  return (partly ? DurationText(cause.seconds) + " of " : "") + DurationText(all);
}

std::size_t LeaveOutMildest(std::vector<Episode>& episodes, std::size_t count) {
  if (episodes.size() <= count) return 0;
  const std::size_t left = episodes.size() - count;
  std::ranges::stable_sort(episodes, IsWorse);
  episodes.resize(count);
  std::ranges::stable_sort(episodes, {}, &Episode::from);
  return left;
}

std::vector<std::size_t> WorstOf(const std::vector<Episode>& episodes, std::size_t count) {
  std::vector<std::size_t> worst;
  for (std::size_t i = 0; i < episodes.size(); ++i) {
    if (episodes[i].severity > Severity::Info) worst.push_back(i);
  }
  std::ranges::stable_sort(
      worst, [&](std::size_t left, std::size_t right) { return IsWorse(episodes[left], episodes[right]); });
  if (worst.size() > count) worst.resize(count);
  return worst;
}

}  // namespace kestrune::report
