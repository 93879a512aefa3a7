#include "report/json_output.h"

#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "report/figures.h"
#include "report/followed.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr int schemaVersion = 1;
constexpr std::size_t longestFollowedList = 2000;

/// Writes members of an object. Numbers that JSON doesn't have are null.
class Writer {
 public:
  explicit Writer(std::ostream& output) : output_(output), writer_(output_) { writer_.SetIndent(' ', 1); }

  void Begin(std::string_view name) { Key(name), writer_.StartObject(); }
  void Begin() { writer_.StartObject(); }
  void End() { writer_.EndObject(); }
  void BeginList(std::string_view name) { Key(name), writer_.StartArray(); }
  void EndList() { writer_.EndArray(); }

  void Text(std::string_view text) {
    const std::string clean = CleanText(text);
    writer_.String(clean.data(), static_cast<rapidjson::SizeType>(clean.size()));
  }
  void Text(std::string_view name, std::string_view text) { Key(name), Text(text); }
  void Whole(std::string_view name, std::int64_t value) { Key(name), writer_.Int64(value); }
  void Whole(std::string_view name, std::uint64_t value) { Key(name), writer_.Uint64(value); }
  void Flag(std::string_view name, bool value) { Key(name), writer_.Bool(value); }
  void Null(std::string_view name) { Key(name), writer_.Null(); }

  /// To a thousandth; whole numbers without a fraction.
  void Number(std::string_view name, std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return Null(name);
    const double rounded = std::round(*value * 1000) / 1000;
    Key(name);
    if (rounded == std::floor(rounded) && std::fabs(rounded) < 1e15) {
      writer_.Int64(static_cast<std::int64_t>(rounded));
    } else {
      writer_.Double(rounded);
    }
  }
  /// An instant: null below 0.
  void Instant(std::string_view name, std::int64_t epoch) {
    if (epoch < 0) return Null(name);
    Text(name, IsoText(epoch));
  }
  void Sfp(std::string_view name, int sfp) {
    if (sfp < 0) return Null(name);
    Text(name, sfp == 0 ? "A" : "B");
  }

 private:
  void Key(std::string_view name) { writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }

  rapidjson::OStreamWrapper output_;
  rapidjson::PrettyWriter<rapidjson::OStreamWrapper> writer_;
};

std::string EpisodeId(std::size_t index) { return "e" + std::to_string(index + 1); }

std::string_view VerdictKey(Verdict verdict) {
  static constexpr std::string_view keys[] = {"pass", "warn", "fail", "none"};
  return keys[static_cast<std::size_t>(verdict)];
}

void WriteRecording(Writer& json, const Recording& recording) {
  json.Begin("recording");
  const bool hasData = recording.end > recording.first;
  json.Instant("first", hasData ? recording.first : -1);
  json.Instant("end", hasData ? recording.end : -1);
  json.Whole("seconds", recording.end - recording.first);
  json.Whole("records", recording.Records());
  json.Whole("gapSeconds", recording.gapSeconds);
  json.BeginList("notes");
  for (const std::string& note : RecordingNotes(recording)) json.Text(note);
  json.EndList();
  json.End();
}

void WriteChecks(Writer& json, const Judgement& judgement) {
  json.BeginList("checks");
  for (const Check& check : judgement.checks) {
    const RuleText& text = TextOf(check.rule);
    const Limit& limit = judgement.limits[check.rule];
    const bool measured = check.measure.measured;
    json.Begin();
    json.Text("rule", text.key);
    json.Text("severity", measured ? SeverityText(check.severity) : "none");
    json.Number("value", measured ? std::optional(check.measure.value) : std::nullopt);
    json.Text("unit", UnitText(text.warnUnit));
    json.Number("warn", limit.warn);
    json.Number("fail", limit.fail);
    json.Text("failUnit", UnitText(text.failUnit));
    json.Text("source", limit.source);
    json.Text("detail", check.measure.detail);
    json.Instant("time", check.measure.at);
    json.Sfp("sfp", check.measure.sfp);
    if (check.episode < 0) {
      json.Null("episode");
    } else {
      json.Text("episode", EpisodeId(static_cast<std::size_t>(check.episode)));
    }
    json.End();
  }
  json.EndList();
}

void WriteFindings(Writer& json, const Episode& episode, const Recording& recording) {
  json.BeginList("findings");
  for (const Finding& finding : episode.findings) {
    json.Begin();
    json.Text("kind", CauseKey(finding.cause));
    json.Sfp("sfp", finding.sfp);
    json.Instant("from", finding.from);
    json.Instant("to", finding.to);
    json.Instant("at", finding.at);
    json.Text("severity", SeverityText(finding.severity));
    const auto rule = RuleOf(finding.cause);
    json.Number("value", rule ? std::optional(finding.value) : std::nullopt);
    json.Text("unit", rule ? UnitText(TextOf(*rule).warnUnit) : "");
    json.Whole("count", finding.count);
    json.Whole("seconds", finding.seconds);
    json.Text("text", FindingText(finding, recording));
    json.End();
  }
  json.EndList();
}

void WriteEpisodes(Writer& json, const Judgement& judgement) {
  json.BeginList("episodes");
  for (std::size_t i = 0; i < judgement.episodes.size(); ++i) {
    const Episode& episode = judgement.episodes[i];
    json.Begin();
    json.Text("id", EpisodeId(i));
    json.Instant("from", episode.from);
    json.Instant("to", episode.to);
    json.Text("severity", SeverityText(episode.severity));
    json.Text("cause", CauseKey(episode.WhatCaused()));
    json.Text("title", TitleOf(episode, *judgement.recording));
    json.Whole("count", episode.count);
    WriteFindings(json, episode, *judgement.recording);
    json.End();
  }
  json.EndList();
  json.Whole("episodesLeftOut", std::uint64_t{judgement.episodesLeftOut});
  json.BeginList("worst");
  for (const std::size_t index : judgement.worst) json.Text(EpisodeId(index));
  json.EndList();
}

void WriteRelocks(Writer& json, const Judgement& judgement) {
  const auto master = [&](std::int32_t index) {
    return IdentityText(judgement.recording->masters[static_cast<std::size_t>(index)].grandmaster);
  };
  json.BeginList("relocks");
  for (const Relock& relock : judgement.relocks) {
    json.Begin();
    json.Sfp("sfp", relock.sfp);
    json.Instant("lastMessage", relock.lastMessage);
    json.Instant("detected", relock.detected);
    json.Instant("locked", relock.locked);
    json.Number("seconds",
                relock.locked < 0 ? std::nullopt : std::optional(static_cast<double>(relock.Took())));
    json.Number("step", relock.stepMeasured ? std::optional(relock.step) : std::nullopt);
    json.Text("from", master(relock.from));
    json.Text("to", master(relock.to));
    json.Flag("grandmasterChanged", relock.grandmasterChanged);
    json.Flag("linkWasDown", relock.linkWasDown);
    json.End();
  }
  json.EndList();
}

void WriteChanges(Writer& json, const Judgement& judgement) {
  json.BeginList("unlogged");
  for (const Change& change : judgement.changes) {
    json.Begin();
    json.Instant("time", change.time);
    json.Instant("until", change.until);
    json.Whole("count", change.count);
    json.Sfp("sfp", change.sfp);
    json.Text("what", change.what);
    json.Text("from", change.from);
    json.Text("to", change.to);
    json.End();
  }
  json.EndList();
}

void WriteMasters(Writer& json, const Judgement& judgement) {
  json.BeginList("masters");
  for (const MasterUse& use : judgement.masters) {
    const Master& master = judgement.recording->masters[static_cast<std::size_t>(use.master)];
    json.Begin();
    json.Text("grandmaster", IdentityText(master.grandmaster));
    json.Text("sender", IdentityText(master.sender));
    json.Text("address", AddressText(master.address));
    json.Whole("domain", std::int64_t{master.domain});
    json.Whole("clockClass", std::int64_t{master.clockClass});
    json.Whole("stepsRemoved", std::int64_t{master.stepsRemoved});
    json.Whole("timeSource", std::int64_t{master.timeSource});
    json.Whole("utcOffset", std::int64_t{master.utcOffset});
    json.Instant("first", use.first);
    json.Instant("last", use.last);
    json.Whole("followedSecondsA", use.followed[0]);
    json.Whole("followedSecondsB", use.followed[1]);
    json.Whole("times", use.times);
    json.End();
  }
  json.EndList();
}

void WriteFollowed(Writer& json, const Recording& recording) {
  const FollowedMasters followed = FindFollowedMasters(recording, longestFollowedList);
  json.BeginList("followed");
  for (const FollowedStretch& stretch : followed.first) {
    json.Begin();
    json.Instant("from", stretch.from);
    json.Instant("to", stretch.to);
    json.Text("grandmaster", IdentityText(stretch.grandmaster));
    json.Whole("domain", std::int64_t{stretch.domain});
    json.End();
  }
  json.EndList();
  json.Whole("followedLeftOut", followed.leftOut);
}

void WriteDays(Writer& json, const Judgement& judgement) {
  json.BeginList("days");
  for (const auto& [start, day] : judgement.watch->Days()) {
    json.Begin();
    json.Text("date", DateText(start));
    json.Text("severity", SeverityText(SeverityOfDay(day, judgement.limits)));
    json.Whole("observedSeconds", day.observed);
    json.Whole("judgedSeconds", day.judged);
    json.Number("worstOffset", day.judged > 0 ? std::optional(day.worstOffset) : std::nullopt);
    json.Instant("worstOffsetTime", day.judged > 0 ? day.worstOffsetAt : -1);
    json.Whole("cardUnlockedSeconds", day.cardUnlocked);
    json.Whole("notRedundantSeconds", day.notRedundant);
    json.Whole("grandmasterChanges", day.grandmasterChanges);
    json.End();
  }
  json.EndList();
}

void WriteMessages(Writer& json, const Judgement& judgement) {
  json.BeginList("messages");
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    for (const MessageKind kind : {syncMessage, followUpMessage, delayRespMessage, announceMessage}) {
      const MessageTally& tally = judgement.watch->Losses(sfp).All()[kind];
      json.Begin();
      json.Sfp("sfp", sfp);
      json.Text("kind", MessageKindText(kind));
      json.Number("due", tally.due);
      json.Number("received", tally.got);
      json.Number("missing", tally.Missing());
      json.End();
    }
  }
  json.EndList();
}

void WriteDifference(Writer& json, std::string_view name, const DifferenceTracker::Figures& figures) {
  const bool measured = figures.minutes > 0;
  json.Begin(name);
  json.Whole("seconds", figures.seconds);
  json.Number("average", measured ? std::optional(figures.Average()) : std::nullopt);
  json.Number("worstMinute", measured ? std::optional(figures.worst) : std::nullopt);
  json.Instant("worstMinuteTime", measured ? figures.worstAt : -1);
  json.End();
}

void WriteStat(Writer& json, std::string_view name, const Stat& stat) {
  const bool measured = stat.count > 0;
  const auto figure = [&](double value) { return measured ? std::optional(value) : std::nullopt; };
  json.Begin(name);
  json.Whole("messages", stat.count);
  json.Number("least", figure(static_cast<double>(stat.least)));
  json.Number("average", figure(stat.mean));
  json.Number("standardDeviation", figure(stat.StandardDeviation()));
  json.Number("greatest", figure(static_cast<double>(stat.greatest)));
  json.End();
}

void WriteFigures(Writer& json, const Judgement& judgement) {
  json.BeginList("figures");
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const SfpRecording& side = judgement.recording->sfp[static_cast<std::size_t>(sfp)];
    const LockFigures lock = LockFiguresOf(judgement, sfp);
    json.Begin();
    json.Sfp("sfp", sfp);
    json.Whole("records", side.records);
    json.Whole("lossesOfLock", lock.losses);
    json.Whole("unlockedSeconds", lock.unlocked);
    WriteStat(json, "offset", side.all[offset]);
    WriteStat(json, "offsetLocked", side.locked[offset]);
    WriteStat(json, "pathDelay", side.all[pathDelay]);
    WriteStat(json, "pathDelayLocked", side.locked[pathDelay]);
    json.End();
  }
  json.EndList();
}

void WritePeriodLines(Writer& json, const SelfCheck& selfCheck) {
  json.Begin("periodLines");
  json.Whole("agreeing", selfCheck.Agreeing());
  json.Whole("differing", selfCheck.Differing());
  json.Whole("notCompared", selfCheck.NotCompared());
  json.BeginList("differences");
  for (const auto& difference : selfCheck.Differences()) json.Text(difference.text);
  json.EndList();
  json.End();
}

}  // namespace

bool WriteJson(const Judgement& judgement, const Heading& heading, std::ostream& output) {
  Writer json(output);
  json.Begin();
  json.Whole("schema", std::int64_t{schemaVersion});
  json.Text("version", heading.version);
  json.Instant("generated", heading.generated);
  json.Text("name", heading.name);
  json.Text("label", heading.label);
  json.Text("verdict", VerdictKey(judgement.verdict));
  json.Whole("exitStatus", std::int64_t{ExitStatus(judgement.verdict)});
  json.Text("sentence", judgement.sentence);
  WriteRecording(json, *judgement.recording);
  WriteChecks(json, judgement);
  WriteEpisodes(json, judgement);
  WriteRelocks(json, judgement);
  WriteChanges(json, judgement);
  WriteMasters(json, judgement);
  WriteFollowed(json, *judgement.recording);
  WriteDays(json, judgement);
  WriteMessages(json, judgement);
  json.Begin("difference");
  WriteDifference(json, "locked", judgement.watch->Difference().Locked());
  WriteDifference(json, "unlocked", judgement.watch->Difference().Unlocked());
  json.End();
  WriteFigures(json, judgement);
  WritePeriodLines(json, *judgement.selfCheck);
  json.End();
  output << '\n';
  return output.good();
}

}  // namespace kestrune::report
