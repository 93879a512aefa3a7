#include "report/findings.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "report/changes.h"
#include "report/logged_states.h"

namespace kestrune::report {
namespace {

constexpr std::int32_t lockedState = 10;

/// Takes findings in; when they get too many, the same thing within an hour becomes one, and in the end what
/// changes, whatever from and to.
class FindingList {
 public:
  void Add(Finding finding) {
    finding.to = std::max(finding.to, finding.from + 1);
    finding.seconds = std::max(finding.seconds, finding.to - finding.from);
    const auto key = KeyOf(finding);
    const auto [place, added] = last_.try_emplace(key, findings_.size());
    if (!added && findings_.size() >= crowded && Repeats(findings_[place->second], finding)) {
      Join(findings_[place->second], finding);
      return;
    }
    place->second = findings_.size();
    findings_.push_back(finding);
  }

  std::vector<Finding> Take() {
    std::ranges::stable_sort(findings_, [](const Finding& left, const Finding& right) {
      return std::tie(left.from, left.cause) < std::tie(right.from, right.cause);
    });
    return std::move(findings_);
  }

 private:
  using Key = std::tuple<Cause, int, std::int32_t, std::int32_t>;

  static constexpr std::size_t crowded = 5000;
  static constexpr std::size_t overcrowded = 20'000;
  static constexpr std::int64_t longestPause = 3600;

  Key KeyOf(const Finding& finding) const {
    const bool isChange = finding.cause != Cause::Loss && finding.cause != Cause::Relock;
    if (isChange && findings_.size() >= overcrowded) return {finding.cause, finding.sfp, 0, 0};
    return {finding.cause, finding.sfp, finding.before, finding.after};
  }

  static bool Repeats(const Finding& before, const Finding& after) {
    return after.from >= before.from && after.from - before.to <= longestPause;
  }

  static void Join(Finding& into, const Finding& added) {
    into.to = std::max(into.to, added.to);
    into.severity = std::max(into.severity, added.severity);
    into.count += added.count;
    into.seconds += added.seconds;
    if (std::fabs(added.value) <= std::fabs(into.value)) return;
    into.value = added.value;
    into.at = added.at;
  }

  std::vector<Finding> findings_;
  std::map<Key, std::size_t> last_;
};

/// Finds one kind after the other.
class Finder {
 public:
  Finder(const Evidence& evidence, const Limits& limits)
      : recording_(*evidence.recording), watch_(*evidence.watch), evidence_(evidence), limits_(limits) {}

  std::vector<Finding> Find(const SelfCheck& selfCheck) {
    FindStarts();
    FindRecordingTrouble();
    for (int sfp = 0; sfp < sfpCount; ++sfp) {
      FindLink(sfp);
      FindLockLosses(sfp);
      FindRelocks(sfp);
      FindMasterChanges(sfp);
      FindMasterFaults(sfp);
      FindMinutes(sfp);
      FindJitter(sfp);
      AddExcursions(Cause::Offset, sfp, watch_.Offsets(sfp));
    }
    AddExcursions(Cause::CardLock, -1, watch_.CardUnlocked());
    AddExcursions(Cause::Difference, -1, watch_.Difference().Minutes());
    FindCardChanges();
    for (const auto& difference : selfCheck.Differences()) {
      Add({Cause::SelfCheck, difference.sfp, difference.time - difference.minutes * std::int64_t{60},
           difference.time, Severity::Info, 1, difference.time});
    }
    return list_.Take();
  }

 private:
  Severity Judged(Rule rule, double value) const {
    return std::max(Severity::Info, Judge(limits_[rule], rule, value));
  }

  /// Minutes and lines of the log reach beyond the recording.
  void Add(Finding finding) {
    if (finding.from < recording_.end && finding.to > recording_.first) {
      finding.from = std::max(finding.from, recording_.first);
      finding.to = std::min(finding.to, recording_.end);
      finding.at = std::max(finding.at, recording_.first);
      finding.seconds = std::min(finding.seconds, finding.to - finding.from);
    }
    list_.Add(finding);
  }

  /// Seconds beyond a rule's limit, or out of lock: judged by the value, or by how long it lasted.
  void AddExcursions(Cause cause, int sfp, const Excursions& excursions) {
    const Rule rule = *RuleOf(cause);
    for (const Excursion& excursion : excursions.All()) {
      const double value = rule == Rule::CardLock ? static_cast<double>(excursion.seconds) : excursion.worst;
      Finding finding{
          cause, sfp, excursion.from, excursion.to, Judged(rule, std::fabs(value)), value, excursion.worstAt};
      finding.seconds = excursion.seconds;
      Add(finding);
    }
  }

  void FindStarts() {
    for (const StartUp& start : watch_.StartUps()) {
      const std::int64_t longest = std::max({start.sfp[0], start.sfp[1], start.card});
      const std::int64_t took = std::max<std::int64_t>(longest, 0);
      Add({Cause::Start, -1, start.from, start.from + took, Severity::Info, static_cast<double>(longest),
           start.from});
    }
  }

  void FindRecordingTrouble() {
    for (const Stretch& gap : recording_.gaps) {
      const auto seconds = static_cast<double>(gap.to - gap.from);
      Add({Cause::NoTelemetry, -1, gap.from, gap.to,
           std::max(Severity::Info, Judge(limits_[Rule::Telemetry], Rule::Telemetry, seconds, 0)), seconds,
           gap.from});
    }
    for (const ClockStep& step : recording_.clockSteps) {
      Add({Cause::ClockStep, -1, step.at, step.at + 1, Severity::Info, static_cast<double>(step.by),
           step.at});
    }
    for (const Damage& damage : recording_.damage) {
      const std::int64_t time = damage.time != 0 ? damage.time : recording_.first;
      if (!recording_.IsWanted(time)) continue;
      Add({Cause::Damage, -1, time, time + 1, Severity::Info, static_cast<double>(damage.bytes), time});
    }
  }

  /// Calls tell(run, stretch, valueBefore) for the runs within the recording, with the stretch of it that
  /// they have; the value before is -1 where the run began before the recording.
  template <typename Tell>
  void ForEachRun(const Runs& runs, Tell tell) const {
    const std::vector<Run>& all = runs.All();
    const std::int64_t logged = all.empty() ? 0 : all.back().from + std::int64_t{1};
    const ReadOptions& wanted = recording_.options;
    const bool recorded = recording_.end != 0;
    const std::int64_t first = recorded ? recording_.first : std::max<std::int64_t>(wanted.from, 0);
    const std::int64_t end = recorded ? recording_.end : std::min(logged, wanted.to);
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::int64_t to = i + 1 < all.size() ? std::min<std::int64_t>(all[i + 1].from, end) : end;
      if (to <= first || all[i].from > end) continue;
      const std::int64_t from = std::max<std::int64_t>(all[i].from, first);
      const bool changes = i > 0 && all[i].from >= first;
      tell(all[i], Stretch{from, std::max(to, from + 1)}, changes ? all[i - 1].value : -1);
    }
  }

  void FindLink(int sfp) {
    const EventLog& log = recording_.eventLog;
    const std::int32_t up = NumberOf(log, linkIsUp);
    ForEachRun(log.link[static_cast<std::size_t>(sfp)], [&](const Run& run, const Stretch& down, int) {
      if (run.value == up) return;
      const auto seconds = static_cast<double>(down.to - down.from);
      Add({Cause::Link, sfp, down.from, down.to, Judged(Rule::Redundancy, seconds), seconds, down.from, up,
           run.value});
    });
  }

  bool IsStart(std::int64_t time) const {
    constexpr std::int64_t margin = 30;
    return std::ranges::any_of(watch_.StartUps(),
                               [&](const StartUp& start) { return std::abs(start.from - time) <= margin; });
  }

  bool IsBeforeFirstLock(int sfp, std::int64_t time) const {
    return std::ranges::any_of(watch_.StartUps(), [&](const StartUp& start) {
      const std::int64_t after = start.sfp[static_cast<std::size_t>(sfp)];
      return time >= start.from && (after < 0 || time < start.from + after);
    });
  }

  void FindLockLosses(int sfp) {
    const SfpRecording& records = recording_.sfp[static_cast<std::size_t>(sfp)];
    const auto unlocked =
        SpansWhere(records.state, 0, [](std::int32_t state) { return state != 0 && state != lockedState; });
    FindAbsence(sfp);
    for (const Stretch& span : unlocked) {
      if (IsBeforeFirstLock(sfp, span.from)) continue;
      const std::int64_t to = std::min(span.to, records.end);
      const auto seconds = static_cast<double>(to - span.from);
      Add({Cause::SfpLock, sfp, span.from, to, Judged(Rule::Redundancy, seconds), seconds, span.from});
    }
  }

  /// Stretches with records of the other SFP only.
  void FindAbsence(int sfp) {
    constexpr std::int64_t shortest = 4;
    const SfpRecording& records = recording_.sfp[static_cast<std::size_t>(sfp)];
    const SfpRecording& others = recording_.sfp[static_cast<std::size_t>(1 - sfp)];
    if (others.records == 0) return;
    const auto add = [&](std::int64_t from, std::int64_t to) {
      const auto seconds = static_cast<double>(to - from);
      if (to - from < shortest || others.state.At(from + (to - from) / 2) == 0) return;
      Add({Cause::Absent, sfp, from, to, Judged(Rule::Redundancy, seconds), seconds, from});
    };
    if (records.records == 0) return add(others.first, others.end);
    for (const Stretch& span : SpansWhere(records.state, 0, [](std::int32_t state) { return state == 0; })) {
      if (span.from >= records.first && span.to <= records.end) add(span.from, span.to);
    }
    add(others.first, records.first);
    add(records.end, others.end);
  }

  void FindRelocks(int sfp) {
    for (const Relock& relock : watch_.Relocks(sfp).All()) {
      const auto took = static_cast<double>(relock.Took());
      const std::int32_t outcome = relock.locked < 0 ? Finding::neverLocked : 0;
      Add({Cause::Relock, sfp, relock.start, relock.end, Judged(Rule::Relock, took), took, relock.detected, 0,
           outcome});
      if (!relock.grandmasterChanged || !relock.stepMeasured) continue;
      Add({Cause::Step, sfp, relock.detected, relock.detected + 1, Judged(Rule::Step, std::fabs(relock.step)),
           relock.step, relock.detected});
    }
  }

  const Master& MasterAt(std::int32_t index) const {
    return recording_.masters[static_cast<std::size_t>(index)];
  }

  void FindMasterChanges(int sfp) {
    ForEachMasterChange(recording_, sfp, [&](std::int64_t time, std::int32_t before, std::int32_t after) {
      const Master& from = MasterAt(before);
      const Master& to = MasterAt(after);
      const bool sameGrandmaster = from.grandmaster == to.grandmaster;
      Cause cause = sameGrandmaster ? Cause::MasterData : Cause::Grandmaster;
      Severity severity = Severity::Info;
      if (ChangesUtcOffsetUnannounced(recording_, sfp, time, from, to)) {
        severity = Judged(Rule::UtcOffset, 1);
        if (sameGrandmaster) cause = Cause::UtcOffset;
      }
      Add({cause, sfp, time, time + 1, severity, 1, time, before, after});
    });
  }

  /// Stretches on a master whose class, domain or rates are judged.
  void FindMasterFaults(int sfp) {
    ForEachFollowedMaster(recording_, sfp, [&](std::int64_t from, std::int64_t to, std::int32_t index) {
      const Master& master = MasterAt(index);
      const Severity ofClass = Judged(Rule::ClockClass, JudgedClockClass(master));
      if (ofClass > Severity::Info) {
        Add({Cause::ClockClass, sfp, from, to, ofClass, static_cast<double>(master.clockClass), from, 0,
             index});
      }
      const auto outside = static_cast<double>(OutsideProfile(master).size());
      if (outside > 0) {
        Add({Cause::Profile, sfp, from, to, Judged(Rule::Profile, outside), outside, from, 0, index});
      }
    });
  }

  void FindMinutes(int sfp) {
    const DayDeviation& path = evidence_.pathDelay[static_cast<std::size_t>(sfp)];
    for (const Excursion& excursion : path.beyond.All()) {
      const double percent = excursion.worst * 100;
      Add({Cause::PathDelay, sfp, excursion.from, excursion.to, Judged(Rule::PathDelay, std::fabs(percent)),
           percent, excursion.worstAt});
    }
    for (const MessageKind kind : {syncMessage, followUpMessage, delayRespMessage, announceMessage}) {
      const LossTracker& losses = watch_.Losses(sfp);
      // A minute weighs what the whole weighs: the rule judges the whole.
      const Severity severity = kind == announceMessage
                                    ? Severity::Info
                                    : Judged(Rule::MessagesMissing, losses.All()[kind].MissingShare() * 100);
      bool shown = false;
      for (const Excursion& excursion : losses.Minutes(kind).All()) {
        const bool chance = excursion.seconds <= minuteLength && excursion.worst < 0.03;
        if (chance) continue;
        Finding finding{Cause::Loss,       sfp,      excursion.from,
                        excursion.to,      severity, excursion.worst * 100,
                        excursion.worstAt, kind,     kind};
        finding.seconds = excursion.seconds;
        Add(finding);
        shown = true;
      }
      if (shown || severity <= Severity::Info) continue;
      // No minute stands out, but all of them together are too many.
      const Excursion& worst = losses.WorstMinute(kind);
      Add({Cause::Loss, sfp, worst.from, worst.to, severity, worst.worst * 100, worst.from, kind, kind});
    }
  }

  /// Stretches in which the messages' offsets spread far wider than usual. They are shown, not judged.
  void FindJitter(int sfp) {
    constexpr double times = 3;
    constexpr double more = 3;  // ns
    const SfpRecording& records = recording_.sfp[static_cast<std::size_t>(sfp)];
    const auto steady = [](const Bucket& bucket) {
      return bucket.locked == bucket.records && bucket.offset.count > 1;
    };
    std::vector<double> spreads;
    for (const Bucket& bucket : records.buckets) {
      if (steady(bucket)) spreads.push_back(bucket.offset.StandardDeviation());
    }
    if (spreads.empty()) return;
    const auto middle = spreads.begin() + static_cast<std::ptrdiff_t>(spreads.size() / 2);
    std::nth_element(spreads.begin(), middle, spreads.end());
    const double usual = *middle;
    Excursions wide(2 * recording_.bucketWidth);
    for (const Bucket& bucket : records.buckets) {
      const double spread = bucket.offset.StandardDeviation();
      if (steady(bucket) && spread > times * usual + more)
        wide.Add(bucket.start, recording_.bucketWidth, spread);
    }
    for (const Excursion& excursion : wide.All()) {
      if (excursion.seconds < 2 * recording_.bucketWidth)
        continue;  // one bucket is a step's, not the network's
      Add({Cause::Jitter, sfp, excursion.from, excursion.to, Severity::Info, excursion.worst,
           excursion.worstAt});
    }
  }

  void FindCardChanges() {
    const EventLog& log = recording_.eventLog;
    const std::int32_t locked = NumberOf(log, lockedGenlock);
    ForEachRun(log.genlock, [&](const Run& run, const Stretch& out, int) {
      if (run.value == locked || IsStart(run.from)) return;
      Add({Cause::Genlock, -1, out.from, out.to, Severity::Info, static_cast<double>(out.to - out.from),
           out.from, locked, run.value});
    });
    const auto addChanges = [&](Cause cause, const Runs& runs) {
      ForEachRun(runs, [&](const Run& run, const Stretch&, std::int32_t before) {
        if (before < 0 || before == run.value) return;
        Add({cause, -1, run.from, run.from + 1, Severity::Info, 1, run.from, before, run.value});
      });
    };
    addChanges(Cause::GenlockSource, log.genlockSource);
    addChanges(Cause::FollowedSfp, log.bestSfp);
  }

  const Recording& recording_;
  const Watch& watch_;
  const Evidence& evidence_;
  const Limits& limits_;
  FindingList list_;
};

}  // namespace

std::optional<Rule> RuleOf(Cause cause) {
  switch (cause) {
    case Cause::Offset:
      return Rule::Offset;
    case Cause::Relock:
      return Rule::Relock;
    case Cause::CardLock:
      return Rule::CardLock;
    case Cause::Absent:
    case Cause::Link:
    case Cause::SfpLock:
      return Rule::Redundancy;
    case Cause::Difference:
      return Rule::Difference;
    case Cause::Step:
      return Rule::Step;
    case Cause::PathDelay:
      return Rule::PathDelay;
    case Cause::Loss:
      return Rule::MessagesMissing;
    case Cause::ClockClass:
      return Rule::ClockClass;
    case Cause::UtcOffset:
      return Rule::UtcOffset;
    case Cause::Profile:
      return Rule::Profile;
    case Cause::NoTelemetry:
      return Rule::Telemetry;
    default:
      return std::nullopt;
  }
}

bool Shows(Cause cause, Rule rule) {
  return RuleOf(cause) == rule || (cause == Cause::Grandmaster && rule == Rule::GrandmasterChanges);
}

std::vector<Finding> FindAll(const Evidence& evidence, const SelfCheck& selfCheck, const Limits& limits) {
  return Finder(evidence, limits).Find(selfCheck);
}

}  // namespace kestrune::report
