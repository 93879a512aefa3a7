#include "report/self_check.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "report/texts.h"
#include "report/unit_sums.h"

namespace kestrune::report {
namespace {

/// Seconds around a line's time in which its last record may lie.
constexpr std::int64_t margin = 3;
/// The same where the line is missing, and only its place in the period's raster known: a clock that runs
/// fast writes lines of some seconds more or less.
constexpr std::int64_t marginOfMissing = 15;
/// Records of one SFP around a line's time that are kept: more come when the recorder's clock stands still.
constexpr std::size_t mostNear = 64;
constexpr std::int32_t quarterMinutes = 15;
constexpr std::int32_t dayMinutes = 1440;

constexpr std::size_t figuresPerGroup = 1 + quantitiesPerGroup * 8;
using Figures = std::array<std::int32_t, 2 * figuresPerGroup>;

std::int64_t PeriodOf(const PeriodLine& line) { return line.minutes * std::int64_t{60}; }

/// When the run began that wrote this line, its first, by the log's start document; nothing without one.
std::optional<std::int64_t> BeginOfRun(const PeriodLine& line, const EventLog& log) {
  const std::int64_t begin = line.time - PeriodOf(line);
  std::optional<std::int64_t> nearest;
  std::int64_t least = 3 * margin;
  for (const std::int64_t start : log.starts) {
    if (std::abs(start - begin) >= least) continue;
    least = std::abs(start - begin);
    nearest = start;
  }
  return nearest;
}

std::int64_t Nanoseconds(std::int32_t seconds, std::int32_t nanoseconds) {
  return seconds * std::int64_t{1'000'000'000} + nanoseconds;
}

/// Are sums so great that they depend on the order in which they were added?
bool IsRounded(const GroupSample& group) {
  constexpr double wholeBelow = 9007199254740992.0;  // 2^53
  return std::ranges::any_of(group.quantities, [](const QuantitySums& sums) {
    return std::fabs(sums.sum) >= wholeBelow || sums.summedSquaredDeviation >= wholeBelow;
  });
}

/// All but the last digits of a sum's precision, and a nanosecond that is cut off.
bool IsNear(const Figures& left, const Figures& right) {
  constexpr double share = 1e-12;
  for (std::size_t i = 0; i < left.size(); ++i) {
    const bool isSeconds = i % figuresPerGroup % 2 == 1;
    if (!isSeconds) continue;
    const auto a = static_cast<double>(Nanoseconds(left[i], left[i + 1]));
    const auto b = static_cast<double>(Nanoseconds(right[i], right[i + 1]));
    if (std::fabs(a - b) > 1 + share * std::fabs(a)) return false;
  }
  return true;
}

bool Equal(PeriodAccumulator sums, const PeriodResults& line) {
  if (line.syncGroup.count != sums.syncGroup.count) return false;
  if (line.delayRespGroup.count != sums.delayRespGroup.count) return false;
  const bool isRounded = IsRounded(sums.syncGroup) || IsRounded(sums.delayRespGroup);
  const PeriodResults results = ComputePeriodResults(sums);
  return results == line ||
         (isRounded && IsNear(std::bit_cast<Figures>(results), std::bit_cast<Figures>(line)));
}

std::size_t CountDiffering(const PeriodResults& line, const PeriodResults& raw) {
  const auto left = std::bit_cast<Figures>(line);
  const auto right = std::bit_cast<Figures>(raw);
  std::size_t count = 0;
  for (std::size_t i = 0; i < left.size(); ++i) count += left[i] != right[i] ? 1 : 0;
  return count;
}

/// What the `index`th of a line's 50 figures is and what it says on either side.
std::string FigureText(std::size_t index, const Figures& line, const Figures& raw) {
  static constexpr const char* counts[] = {"Sync messages", "Delay_Resp messages"};
  static constexpr const char* quantities[] = {"delay from the master",  "jitter of the origin time stamps",
                                               "offset from the master", "mean path delay",
                                               "delay to the master",    "time from Delay_Req to Delay_Resp"};
  static constexpr const char* values[] = {"least", "greatest", "average", "standard deviation"};
  const std::size_t group = index / figuresPerGroup;
  const std::size_t inGroup = index % figuresPerGroup;
  const auto text = [](const std::string& what, const std::string& inLine, const std::string& inRaw) {
    return what + ": " + inLine + " in the line, " + inRaw + " in the raw data";
  };
  if (inGroup == 0) return text(counts[group], GroupedText(line[index]), GroupedText(raw[index]));
  const std::size_t pair = (inGroup - 1) / 2;
  const std::size_t place = group * figuresPerGroup + 1 + 2 * pair;
  const std::string what =
      std::string(quantities[group * quantitiesPerGroup + pair / 4]) + ", " + values[pair % 4];
  return text(what, NanosecondsText(static_cast<double>(Nanoseconds(line[place], line[place + 1]))),
              NanosecondsText(static_cast<double>(Nanoseconds(raw[place], raw[place + 1]))));
}

}  // namespace

void SelfCheck::Expect() {
  expecting_ = true;
  for (const PeriodLine& line : recording_->periodLines.lines) {
    if (line.sfp < 0 || line.sfp >= sfpCount) continue;
    if (line.minutes != quarterMinutes && line.minutes != dayMinutes) continue;
    auto& lines =
        sfps_[static_cast<std::size_t>(line.sfp)].chains[line.minutes == dayMinutes ? day : quarter].lines;
    const bool firstOfRun = lines.empty() || lines.back().line->run != line.run;
    const std::int64_t begin = line.time - PeriodOf(line);
    const auto beginOfRun = firstOfRun ? BeginOfRun(line, recording_->eventLog) : std::nullopt;
    const bool lineIsMissing =
        !firstOfRun && begin - lines.back().line->time >= PeriodOf(line) - marginOfMissing;
    if (beginOfRun) {
      lines.push_back({&line, *beginOfRun});
    } else if (firstOfRun || lineIsMissing) {
      const std::int64_t vague = firstOfRun ? margin : marginOfMissing;
      lines.push_back({&line, begin - vague, begin + vague, lineIsMissing});
    } else {
      lines.push_back({&line});
    }
  }
}

Stretch SelfCheck::Together(int sfp, std::int64_t stamp) const {
  const Sfp& seen = sfps_[static_cast<std::size_t>(sfp)];
  const bool isPlain = stamp >= seen.plainFrom && stamp < seen.plainUntil;
  return isPlain ? Stretch{seen.plainFrom, seen.plainUntil} : Stretch{stamp, stamp};
}

/// Sums are whole numbers; below 2^53 they are the same in whatever order they are added.
void SelfCheck::OnUnits(int sfp, const UnitSums& sums) {
  if (!expecting_) Expect();
  sawUnit_ = true;
  Sfp& seen = sfps_[static_cast<std::size_t>(sfp)];
  PeriodAccumulator added;
  for (const FigureTotals& figures : sums.figures) AccumulatePerformanceSample(figures.Sample(), added);
  const PerformanceSample sample{added.syncGroup, added.delayRespGroup};
  if (sums.first < seen.plainFrom || sums.first >= seen.plainUntil) {
    for (Chain& chain : seen.chains) OnSample(chain, sums.first, sample);
    return FindPlain(seen, sums.first);
  }
  for (Chain& chain : seen.chains) {
    if (chain.first < 0) chain.first = sums.first;
    chain.last = sums.last;
    if (chain.next < chain.lines.size()) AccumulatePerformanceSample(sample, chain.sums);
  }
}

/// From here on: to the next time near the end of a period, or near a run's begin.
void SelfCheck::FindPlain(Sfp& sfp, std::int64_t time) const {
  sfp.plainFrom = time;
  sfp.plainUntil = INT64_MAX;
  for (const Chain& chain : sfp.chains) {
    if (chain.next == chain.lines.size()) continue;
    const ExpectedLine& expected = chain.lines[chain.next];
    sfp.plainUntil = std::min(sfp.plainUntil, expected.line->time - margin);
    if (time < expected.notBefore) {
      sfp.plainUntil = std::min(sfp.plainUntil, expected.notBefore);
    } else if (IsVague(chain, time)) {
      sfp.plainUntil = time;
    }
  }
}

void SelfCheck::OnSample(Chain& chain, std::int64_t time, const PerformanceSample& sample) {
  Leave(chain, time);
  if (chain.first < 0) chain.first = time;
  chain.last = time;
  if (chain.next == chain.lines.size()) return;
  const ExpectedLine& expected = chain.lines[chain.next];
  if (IsVague(chain, time) && chain.vague.size() < mostNear) {
    chain.vague.push_back({time, sample});
    return;
  }
  const bool isNear = time >= expected.line->time - margin;
  if (isNear && chain.near.empty()) chain.before = chain.sums;
  AccumulatePerformanceSample(sample, chain.sums);
  if (!isNear) return;
  if (chain.near.size() < mostNear) chain.near.push_back({time, sample});
  while (chain.next < chain.lines.size() && chain.lines[chain.next].line->time - margin <= time &&
         Agrees(chain)) {
    EndPeriod(chain, true);
  }
}

/// Before a record: ends the periods that lie behind, and drops what belongs to none.
void SelfCheck::Leave(Chain& chain, std::int64_t time) {
  while (chain.next < chain.lines.size() && time > chain.lines[chain.next].line->time + margin) {
    EndPeriod(chain, Agrees(chain));
  }
  if (chain.next == chain.lines.size() || chain.first < 0) return;
  const ExpectedLine& expected = chain.lines[chain.next];
  if (time < expected.notBefore || chain.first >= expected.notBefore) return;
  if (expected.line->minutes == quarterMinutes && (expected.lineIsMissing || NeedsLine(chain))) {
    ReportWithoutLine(expected.line->sfp, chain.first, chain.last + 1);
  }
  chain.vague.clear();
  chain.sums = {};
  chain.near.clear();
  chain.first = -1;
}

/// May a record of this time belong to the expected period or to the one before?
bool SelfCheck::IsVague(const Chain& chain, std::int64_t time) {
  const ExpectedLine& expected = chain.lines[chain.next];
  return time <= chain.vagueUntil || (time >= expected.notBefore && time <= expected.vagueUntil);
}

/// At the end of a run: was there time enough for another line?
bool SelfCheck::NeedsLine(const Chain& chain) {
  return chain.first >= 0 && chain.last - chain.first >= quarterMinutes * 60 + margin;
}

/// With some of the records that may belong to the period before, or none.
bool SelfCheck::Agrees(const Chain& chain) {
  const PeriodResults& line = chain.lines[chain.next].line->results;
  PeriodAccumulator sums = chain.sums;
  if (Equal(sums, line)) return true;
  return std::any_of(chain.vague.rbegin(), chain.vague.rend(), [&](const Sample& sample) {
    AccumulatePerformanceSample(sample.figures, sums);
    return Equal(sums, line);
  });
}

/// Were all records read that may belong to a line?
bool SelfCheck::IsWithinRange(const PeriodLine& line) const {
  const ReadOptions& range = recording_->options;
  return line.time - PeriodOf(line) - margin >= range.from && line.time + margin < range.to;
}

void SelfCheck::EndPeriod(Chain& chain, bool agrees) {
  const PeriodLine& line = *chain.lines[chain.next].line;
  if (!IsWithinRange(line)) {
    ++notCompared_;
  } else if (agrees) {
    ++agreeing_;
  } else {
    Report(chain);
  }
  // Two neighbouring seconds may be so alike that a line agrees with either for its begin.
  const bool knowsEnd = agrees && chain.vague.empty();
  chain.vagueUntil = knowsEnd ? INT64_MIN : line.time + margin;
  chain.vague = knowsEnd ? std::vector<Sample>{} : std::move(chain.near);
  chain.near.clear();
  chain.sums = {};
  chain.first = chain.vague.empty() ? -1 : chain.vague.front().time;
  ++chain.next;
}

void SelfCheck::Finish() {
  if (!expecting_) Expect();
  for (Sfp& sfp : sfps_) {
    auto& chains = sfp.chains;
    for (Chain& chain : chains) {
      while (chain.next < chain.lines.size()) {
        if (sawUnit_) {
          EndPeriod(chain, Agrees(chain));
        } else {
          ++notCompared_;
          ++chain.next;
        }
      }
    }
    if (NeedsLine(chains[quarter])) {
      ReportWithoutLine(static_cast<int>(&sfp - sfps_.data()), chains[quarter].first,
                        chains[quarter].last + 1);
    }
  }
  SpareClockSteps();
}

/// Did the recorder's clock step within this stretch, or go through it again?
bool SelfCheck::HasClockStep(const Stretch& stretch) const {
  return std::ranges::any_of(recording_->clockSteps, [&](const ClockStep& step) {
    const auto [from, to] = std::minmax({step.at, step.at + step.by});
    return to >= stretch.from - margin && from <= stretch.to + margin;
  });
}

/// Where the clock steps, time stamps don't tell to which period a record belongs.
void SelfCheck::SpareClockSteps() {
  const std::size_t spared = std::erase_if(differences_, [&](const Difference& difference) {
    return HasClockStep({difference.time - difference.minutes * std::int64_t{60}, difference.time});
  });
  differing_ -= spared;
  notCompared_ += spared;
  std::erase_if(withoutLine_, [&](const Unsummed& unsummed) { return HasClockStep(unsummed.stretch); });
}

/// What the raw data gives for a line that doesn't agree: of the records that may belong to it, those with
/// which most figures do, so that the others are the wrong ones; in doubt, those within its times.
PeriodResults SelfCheck::Nearest(const Chain& chain) {
  const PeriodLine& line = *chain.lines[chain.next].line;
  PeriodAccumulator middle = chain.near.empty() ? chain.sums : chain.before;
  PeriodAccumulator within = middle;
  for (const auto* samples : {&chain.vague, &chain.near}) {
    for (const Sample& sample : *samples) {
      if (sample.time > line.time - PeriodOf(line) && sample.time <= line.time)
        AccumulatePerformanceSample(sample.figures, within);
    }
  }
  PeriodResults nearest = ComputePeriodResults(within);
  std::size_t fewest = CountDiffering(line.results, nearest);
  const auto look = [&](PeriodAccumulator sums) {
    const PeriodResults results = ComputePeriodResults(sums);
    const std::size_t differing = CountDiffering(line.results, results);
    if (differing >= fewest) return;
    fewest = differing;
    nearest = results;
  };
  for (std::size_t begin = chain.vague.size();; --begin) {
    PeriodAccumulator sums = middle;
    if (chain.near.empty()) look(sums);
    for (const Sample& sample : chain.near) {
      AccumulatePerformanceSample(sample.figures, sums);
      look(sums);
    }
    if (begin == 0) return nearest;
    AccumulatePerformanceSample(chain.vague[begin - 1].figures, middle);
  }
}

void SelfCheck::Report(const Chain& chain) {
  if (differences_.size() == limit) {
    ++differing_;
    return;
  }
  const PeriodLine& line = *chain.lines[chain.next].line;
  const PeriodResults nearest = Nearest(chain);
  const std::size_t count = CountDiffering(line.results, nearest);
  if (count == 0) {  // records that came out of their order
    ++agreeing_;
    return;
  }
  ++differing_;
  const auto expected = std::bit_cast<Figures>(line.results);
  const auto raw = std::bit_cast<Figures>(nearest);
  const auto first = static_cast<std::size_t>(std::ranges::mismatch(expected, raw).in1 - expected.begin());
  const std::string period = line.minutes == dayMinutes ? "24 hours" : "15 minutes";
  differences_.push_back({line.time, line.minutes, line.sfp,
                          SfpText(line.sfp) + ", " + period + " up to " + TimeText(line.time) + ": " +
                              FigureText(first, expected, raw) + "; " + std::to_string(count) +
                              " of 50 figures differ"});
}

void SelfCheck::ReportWithoutLine(int sfp, std::int64_t from, std::int64_t to) {
  if (!recording_->periodLines.present || withoutLine_.size() == limit) return;
  withoutLine_.push_back({sfp, {from, to}});
}

}  // namespace kestrune::report
