#include "report/measures.h"

#include <algorithm>
#include <cmath>

#include "report/changes.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr std::string_view arrow = " \u2192 ";

Measure Measured(double value, std::int64_t at, int sfp, std::string detail) {
  return {true, value, value, at, sfp, std::move(detail)};
}

std::string At(std::int64_t time) { return "at " + TimeText(time); }

Measure MeasureOffset(const Evidence& evidence) {
  const DayFigures* worst = nullptr;
  for (const auto& [start, day] : evidence.watch->Days()) {
    if (day.judged == 0) continue;
    if (worst == nullptr || std::fabs(day.worstOffset) > std::fabs(worst->worstOffset)) worst = &day;
  }
  if (worst == nullptr) return {};
  return Measured(std::fabs(worst->worstOffset), worst->worstOffsetAt, worst->worstOffsetSfp,
                  SfpText(worst->worstOffsetSfp) + ' ' + TenthsText(worst->worstOffset) + ' ' +
                      At(worst->worstOffsetAt) + "; " + GroupedText(evidence.watch->JudgedSeconds()) +
                      " seconds judged");
}

/// Calls tell(relock) for those of both SFPs.
template <typename Tell>
void ForEachRelock(const Evidence& evidence, Tell tell) {
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    for (const Relock& relock : evidence.watch->Relocks(sfp).All()) tell(relock);
  }
}

Measure MeasureRelock(const Evidence& evidence) {
  Measure measure{evidence.watch->ObservedSeconds() > 0, 0, 0, -1, -1, "never out of lock"};
  ForEachRelock(evidence, [&](const Relock& relock) {
    if (static_cast<double>(relock.Took()) < measure.value) return;
    measure = Measured(static_cast<double>(relock.Took()), relock.detected, relock.sfp,
                       SfpText(relock.sfp) + ' ' + At(relock.detected));
    if (relock.locked < 0) measure.detail += ", not locked again by " + TimeText(relock.end);
  });
  const std::uint64_t count = evidence.watch->Relocks(0).Count() + evidence.watch->Relocks(1).Count();
  if (count > 0) {
    measure.detail += "; " + CountText(static_cast<std::int64_t>(count), "loss of lock", "losses of lock");
  }
  return measure;
}

/// The day with most seconds of a kind.
template <typename Seconds>
Measure MeasureWorstDay(const Evidence& evidence, const Excursions& excursions, Seconds seconds,
                        const std::string& never) {
  std::int64_t total = 0;
  std::int64_t most = 0;
  std::int64_t day = 0;
  for (const auto& [start, figures] : evidence.watch->Days()) {
    total += seconds(figures);
    if (seconds(figures) <= most) continue;
    most = seconds(figures);
    day = start;
  }
  Measure measure{evidence.watch->ObservedSeconds() > 0, 0, 0, -1, -1, never};
  if (total == 0) return measure;
  const auto longest = std::ranges::max_element(excursions.All(), {},
                                                [](const Excursion& excursion) { return excursion.seconds; });
  measure = Measured(static_cast<double>(most), longest->from, -1, "");
  measure.detail = CountText(static_cast<std::int64_t>(excursions.All().size()), "time", "times") + ", " +
                   DurationText(total) + " in all, longest " + DurationText(longest->seconds) + ' ' +
                   At(longest->from);
  if (evidence.watch->Days().size() > 1) measure.detail += "; most on " + DateText(day);
  return measure;
}

Measure MeasureCardLock(const Evidence& evidence) {
  Measure measure = MeasureWorstDay(
      evidence, evidence.watch->CardUnlocked(), [](const DayFigures& day) { return day.cardUnlocked; },
      "never out of lock since it locked");
  constexpr std::int64_t late = 30;
  const Runs& card = evidence.recording->eventLog.card;
  if (card.Empty()) {
    measure.detail += "; by the SFPs, as no document tells the card's state";
  } else if (card.All().front().from > evidence.recording->first + late) {
    measure.detail += "; by the SFPs up to the first document of the card, " + At(card.All().front().from);
  }
  return measure;
}

Measure MeasureRedundancy(const Evidence& evidence) {
  Measure measure = MeasureWorstDay(
      evidence, evidence.watch->NotRedundant(), [](const DayFigures& day) { return day.notRedundant; },
      "both SFPs locked all the time");
  return measure;
}

Measure MeasureDifference(const Evidence& evidence) {
  const DifferenceTracker& difference = evidence.watch->Difference();
  Measure measure;
  for (const auto* figures : {&difference.Locked(), &difference.Unlocked()}) {
    if (figures->minutes == 0) continue;
    const bool locked = figures == &difference.Locked();
    std::string detail = measure.detail + (measure.detail.empty() ? "" : "; ") +
                         (locked ? "locked" : "unlocked") + " on average " + TenthsText(figures->Average()) +
                         ", worst minute " + TenthsText(figures->worst) + ' ' + At(figures->worstAt);
    if (!measure.measured || std::fabs(figures->worst) > measure.value) {
      measure = Measured(std::fabs(figures->worst), figures->worstAt, -1, "");
    }
    measure.detail = std::move(detail);
  }
  if (!measure.measured) measure.detail = "never a minute on the same grandmaster";
  return measure;
}

Measure MeasureStep(const Evidence& evidence) {
  Measure measure{evidence.watch->ObservedSeconds() > 0, 0, 0, -1, -1, "no change of grandmaster"};
  std::int64_t count = 0;
  ForEachRelock(evidence, [&](const Relock& relock) {
    if (!relock.grandmasterChanged || !relock.stepMeasured) return;
    if (count++ > 0 && std::fabs(relock.step) <= measure.value) return;
    const auto& masters = evidence.recording->masters;
    measure = Measured(
        std::fabs(relock.step), relock.detected, relock.sfp,
        SfpText(relock.sfp) + ' ' + TenthsText(relock.step) + ' ' + At(relock.detected) + ", " +
            ShortIdentityText(masters[static_cast<std::size_t>(relock.from)].grandmaster) +
            std::string(arrow) + ShortIdentityText(masters[static_cast<std::size_t>(relock.to)].grandmaster));
  });
  return measure;
}

Measure MeasurePathDelay(const Evidence& evidence) {
  Measure measure;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const DayDeviation& deviation = evidence.pathDelay[static_cast<std::size_t>(sfp)];
    const double percent = std::fabs(deviation.worst) * 100;
    if (!deviation.measured || (measure.measured && percent <= measure.value)) continue;
    measure = Measured(percent, deviation.worstAt, sfp,
                       SfpText(sfp) + ' ' + NanosecondsText(deviation.worstMedian) + " instead of " +
                           NanosecondsText(deviation.dayMedian) + ' ' + At(deviation.worstAt));
  }
  return measure;
}

Measure MeasureMessages(const Evidence& evidence) {
  Measure measure;
  std::string detail;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const LossTracker& losses = evidence.watch->Losses(sfp);
    for (const MessageKind kind : {syncMessage, followUpMessage, delayRespMessage}) {
      const MessageTally& tally = losses.All()[kind];
      if (tally.due <= 0) continue;
      const double percent = tally.MissingShare() * 100;
      detail.append(detail.empty() ? "" : ", ").append(sfp == 0 ? "A " : "B ");
      detail.append(MessageKindText(kind)).append(" ").append(PercentText(tally.MissingShare()));
      if (measure.measured && percent <= measure.value) continue;
      const auto& minutes = losses.Minutes(kind).All();
      const auto longest = std::ranges::max_element(minutes, {}, &Excursion::seconds);
      const Excursion& shown = longest == minutes.end() ? losses.WorstMinute(kind) : *longest;
      measure = Measured(percent, tally.Missing() > 0 ? shown.from : -1, sfp, "");
    }
  }
  measure.detail = detail;
  return measure;
}

/// Calls tell(time, sfp, master) for each stretch of time in which an SFP follows a master.
template <typename Tell>
void ForEachMaster(const Evidence& evidence, Tell tell) {
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    ForEachFollowedMaster(*evidence.recording, sfp, [&](std::int64_t from, std::int64_t, std::int32_t index) {
      tell(from, sfp, evidence.recording->masters[static_cast<std::size_t>(index)]);
    });
  }
}

Measure MeasureClockClass(const Evidence& evidence) {
  Measure measure;
  ForEachMaster(evidence, [&](std::int64_t time, int sfp, const Master& master) {
    const double worse = JudgedClockClass(master);
    if (measure.measured && worse <= measure.inFailUnit) return;
    measure = Measured(master.clockClass, time, sfp,
                       ShortIdentityText(master.grandmaster) + " from " + TimeText(time));
    measure.inFailUnit = worse;
  });
  return measure;
}

Measure MeasureUtcOffset(const Evidence& evidence) {
  Measure measure;
  ForEachMaster(evidence, [&](std::int64_t, int, const Master& master) {
    if (measure.measured) return;
    measure = Measured(0, -1, -1, std::to_string(master.utcOffset) + "\u00a0s all the time");
  });
  const Recording& recording = *evidence.recording;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    std::int64_t count = 0;
    ForEachMasterChange(recording, sfp, [&](std::int64_t time, std::int32_t from, std::int32_t to) {
      const Master& before = recording.masters[static_cast<std::size_t>(from)];
      const Master& after = recording.masters[static_cast<std::size_t>(to)];
      if (before.utcOffset == after.utcOffset) return;
      const std::string change = FieldText(MasterField::UtcOffset, before) + std::string(arrow) +
                                 FieldText(MasterField::UtcOffset, after) + ' ' + At(time);
      if (!ChangesUtcOffsetUnannounced(recording, sfp, time, before, after)) {
        if (measure.value == 0) measure.detail = change + ", announced";
        return;
      }
      if (measure.value == 0) {
        measure.at = time;
        measure.detail = change;
      }
      measure.value = std::max(measure.value, static_cast<double>(++count));
    });
  }
  measure.inFailUnit = measure.value;
  return measure;
}

Measure MeasureProfile(const Evidence& evidence) {
  Measure measure;
  std::vector<std::string> found;
  ForEachMaster(evidence, [&](std::int64_t time, int sfp, const Master& master) {
    measure.measured = true;
    for (std::string& outside : OutsideProfile(master)) {
      if (std::ranges::find(found, outside) != found.end()) continue;
      if (found.empty()) {
        measure.at = time;
        measure.sfp = sfp;
      }
      measure.detail.append(found.empty() ? "" : ", ").append(outside);
      found.push_back(std::move(outside));
    }
  });
  measure.value = measure.inFailUnit = static_cast<double>(found.size());
  if (measure.measured && found.empty()) measure.detail = "within ST 2059-2's profile";
  return measure;
}

Measure MeasureGrandmasterChanges(const Evidence& evidence) {
  Measure measure{evidence.watch->ObservedSeconds() > 0, 0, 0, -1, -1, ""};
  std::int64_t total = 0;
  std::int64_t worstDay = 0;
  for (const auto& [start, day] : evidence.watch->Days()) {
    total += day.grandmasterChanges;
    if (static_cast<double>(day.grandmasterChanges) <= measure.value) continue;
    measure.value = measure.inFailUnit = static_cast<double>(day.grandmasterChanges);
    worstDay = start;
  }
  measure.detail = total == 0 ? "locked to one grandmaster, or none, all the time"
                              : CountText(total, "change", "changes") + " in all";
  if (total == 0) return measure;
  ForEachRelock(evidence, [&](const Relock& relock) {
    if (!relock.grandmasterChanged || DayOf(relock.detected) != worstDay) return;
    if (measure.at < 0 || relock.detected < measure.at) measure.at = relock.detected;
  });
  if (evidence.watch->Days().size() > 1) measure.detail += "; most on " + DateText(worstDay);
  return measure;
}

Measure MeasureTelemetry(const Evidence& evidence) {
  const Recording& recording = *evidence.recording;
  const auto length = static_cast<double>(recording.end - recording.first - recording.secondsLeftOut);
  if (length <= 0) return {};
  const auto missing = static_cast<double>(recording.gapSeconds);
  Measure measure =
      Measured(missing, -1, -1, GroupedText(static_cast<std::int64_t>(recording.Records())) + " records");
  measure.inFailUnit = 100 * missing / length;
  const auto longest =
      std::ranges::max_element(recording.gaps, {}, [](const Stretch& gap) { return gap.to - gap.from; });
  if (longest != recording.gaps.end()) {
    measure.at = longest->from;
    measure.detail = CountText(static_cast<std::int64_t>(recording.gapCount), "gap", "gaps") + ", " +
                     PercentText(missing / length) + " of the time, longest " +
                     DurationText(longest->to - longest->from) + ' ' + At(longest->from);
  }
  return measure;
}

}  // namespace

Evidence::Evidence(const Recording& seen, const Watch& watched, const Limits& limits)
    : recording(&seen), watch(&watched) {
  constexpr double percent = 0.01;
  const double limit = limits[Rule::PathDelay].warn.value_or(limits[Rule::PathDelay].fail.value_or(INFINITY));
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    pathDelay[static_cast<std::size_t>(sfp)] =
        DeviationFromDay(watched.PathDelays(sfp).All(), limit * percent);
  }
}

double JudgedClockClass(const Master& master) {
  constexpr std::uint32_t primaryReference = 6;
  return master.clockClass < primaryReference ? primaryReference + 1 : master.clockClass;
}

std::string_view MessageKindText(MessageKind kind) {
  static constexpr std::string_view texts[] = {"Sync", "Follow_Up", "Delay_Resp", "Announce"};
  return texts[kind];
}

Measure MeasureRule(Rule rule, const Evidence& evidence) {
  if (evidence.watch->ObservedSeconds() == 0) return {};  // what didn't happen then tells nothing
  switch (rule) {
    case Rule::Offset:
      return MeasureOffset(evidence);
    case Rule::Relock:
      return MeasureRelock(evidence);
    case Rule::CardLock:
      return MeasureCardLock(evidence);
    case Rule::Redundancy:
      return MeasureRedundancy(evidence);
    case Rule::Difference:
      return MeasureDifference(evidence);
    case Rule::Step:
      return MeasureStep(evidence);
    case Rule::PathDelay:
      return MeasurePathDelay(evidence);
    case Rule::MessagesMissing:
      return MeasureMessages(evidence);
    case Rule::ClockClass:
      return MeasureClockClass(evidence);
    case Rule::UtcOffset:
      return MeasureUtcOffset(evidence);
    case Rule::Profile:
      return MeasureProfile(evidence);
    case Rule::GrandmasterChanges:
      return MeasureGrandmasterChanges(evidence);
    case Rule::Telemetry:
      return MeasureTelemetry(evidence);
  }
  return {};
}

}  // namespace kestrune::report
