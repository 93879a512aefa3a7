#include <cmath>

#include "report/changes.h"
#include "report/findings.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr const char* arrow = " \u2192 ";

const Master& MasterOf(const Recording& recording, std::int32_t index) {
  return recording.masters[static_cast<std::size_t>(index)];
}

/// Is it said of an SFP, rather than of the card or the recording?
bool IsOfAnSfp(Cause cause) {
  switch (cause) {
    case Cause::Start:
    case Cause::ClockStep:
    case Cause::NoTelemetry:
    case Cause::Damage:
    case Cause::GenlockSource:
    case Cause::Genlock:
    case Cause::Difference:
    case Cause::CardLock:
    case Cause::FollowedSfp:
      return false;
    default:
      return true;
  }
}

std::string Whose(const Finding& finding) {
  if (!IsOfAnSfp(finding.cause)) return "";
  return (finding.sfp < 0 ? "Both SFPs" : SfpText(finding.sfp)) + ": ";
}

std::string LogText(const Recording& recording, std::int32_t number) {
  return number < 0 ? "unknown" : recording.eventLog.texts[number];
}

std::string ChangeText(const Recording& recording, const Finding& finding) {
  return LogText(recording, finding.before) + arrow + LogText(recording, finding.after);
}

std::string MasterChangeText(const Recording& recording, const Finding& finding) {
  const Master& before = MasterOf(recording, finding.before);
  const Master& after = MasterOf(recording, finding.after);
  std::string text;
  for (const MasterField field : DifferingFields(before, after)) {
    const bool grandmaster = field == MasterField::Grandmaster;
    text.append(text.empty() ? "" : ", ").append(FieldName(field)).append(" ");
    text.append(grandmaster ? ShortIdentityText(before.grandmaster) : FieldText(field, before)).append(arrow);
    text.append(grandmaster ? ShortIdentityText(after.grandmaster) : FieldText(field, after));
  }
  return text.empty() ? "master's data changed" : text;
}

std::string ProfileText(const Recording& recording, const Finding& finding) {
  std::string text;
  for (const std::string& outside : OutsideProfile(MasterOf(recording, finding.after))) {
    text.append(text.empty() ? "" : ", ").append(outside);
  }
  return text + ", outside the profile";
}

std::string SignedPercentText(double percent) {
  return (percent < 0 ? "\u2212" : "+") + PercentText(std::fabs(percent) / 100);
}

std::string StartText(const Finding& finding) {
  if (finding.value < 0) return "Start of the run: never locked";
  return finding.value == 0 ? "Start: already locked"
                            : "Start: locked after " + DurationText(finding.seconds);
}

/// What it was, without how long.
std::string WhatText(const Finding& finding, const Recording& recording) {
  switch (finding.cause) {
    case Cause::Start:
      return StartText(finding);
    case Cause::ClockStep:
      return std::string("The recorder's clock was set ") + (finding.value < 0 ? "back" : "forward") +
             " by " + DurationText(std::llround(std::fabs(finding.value)));
    case Cause::NoTelemetry:
      return "No telemetry of either SFP";
    case Cause::Absent:
      return "no telemetry";
    case Cause::Damage:
      return "Raw data damaged: " + CountText(std::llround(finding.value), "byte", "bytes") + " left out";
    case Cause::Link:
      return LogText(recording, finding.after);
    case Cause::Grandmaster:
    case Cause::UtcOffset:
    case Cause::MasterData:
      return MasterChangeText(recording, finding);
    case Cause::GenlockSource:
      return "Genlock set: " + ChangeText(recording, finding);
    case Cause::Genlock:
      return "Genlock " + LogText(recording, finding.after);
    case Cause::ClockClass:
      return "clock class " + GroupedText(std::llround(finding.value)) + " of " +
             ShortIdentityText(MasterOf(recording, finding.after).grandmaster);
    case Cause::Profile:
      return ProfileText(recording, finding);
    case Cause::PathDelay:
      return "mean path delay " + SignedPercentText(finding.value) + " against its day";
    case Cause::Difference:
      return "SFP A and SFP B measure " + TenthsText(finding.value) + " apart";
    case Cause::Loss:
      return "up to " + PercentText(finding.value / 100) + " of " +
             std::string(MessageKindText(static_cast<MessageKind>(finding.after))) + " missing";
    case Cause::Jitter:
      return "offsets of single messages spread by " + TenthsText(finding.value);
    case Cause::Offset:
      return "offset " + TenthsText(finding.value);
    case Cause::CardLock:
      return "The card itself out of lock";
    case Cause::SfpLock:
      return "out of lock";
    case Cause::Relock:
      if (finding.after == Finding::neverLocked && finding.value == 0) return "not locked again";
      return (finding.after == Finding::neverLocked ? "not locked again within " : "locked again after ") +
             DurationText(std::llround(finding.value));
    case Cause::Step:
      return "step of " + TenthsText(finding.value) + " to the new grandmaster";
    case Cause::FollowedSfp:
      return "The card follows " + LogText(recording, finding.after);
    case Cause::SelfCheck:
      return "a period line and the raw data differ";
  }
  return "";
}

}  // namespace

bool Lasts(Cause cause) {
  switch (cause) {
    case Cause::NoTelemetry:
    case Cause::Absent:
    case Cause::Link:
    case Cause::Genlock:
    case Cause::ClockClass:
    case Cause::Profile:
    case Cause::PathDelay:
    case Cause::Difference:
    case Cause::Loss:
    case Cause::Jitter:
    case Cause::Offset:
    case Cause::CardLock:
    case Cause::SfpLock:
      return true;
    default:
      return false;
  }
}

std::string_view CauseKey(Cause cause) {
  static constexpr std::string_view keys[] = {
      "start",       "clockStep",     "noTelemetry", "absent",    "damage",      "link",
      "grandmaster", "genlockSource", "genlock",     "utcOffset", "clockClass",  "masterData",
      "profile",     "pathDelay",     "difference",  "loss",      "jitter",      "offset",
      "cardLock",    "sfpLock",       "relock",      "step",      "followedSfp", "selfCheck"};
  return keys[static_cast<std::size_t>(cause)];
}

std::string FindingText(const Finding& finding, const Recording& recording) {
  std::string text = Whose(finding) + WhatText(finding, recording);
  if (finding.count > 1) {
    if (finding.value != 0 && RuleOf(finding.cause)) text.append(" at worst, ").append(TimeText(finding.at));
    text.append("; ");
    text.append(CountText(finding.count, "time", "times"));
    if (Lasts(finding.cause)) text.append(", ").append(DurationText(finding.seconds)).append(" in all");
  } else if (Lasts(finding.cause)) {
    text.append(" for ").append(DurationText(finding.seconds));
  }
  return text;
}

std::string CauseText(const Finding& finding, const Recording& recording) {
  switch (finding.cause) {
    case Cause::Grandmaster:
      return "Grandmaster changes to " + ShortIdentityText(MasterOf(recording, finding.after).grandmaster);
    case Cause::Jitter:
      return Whose(finding) + "heavy jitter";
    case Cause::Loss:
      return Whose(finding) + "messages missing";
    case Cause::PathDelay:
      return Whose(finding) + "path delay " + SignedPercentText(finding.value);
    default:
      return Whose(finding) + WhatText(finding, recording);
  }
}

}  // namespace kestrune::report
