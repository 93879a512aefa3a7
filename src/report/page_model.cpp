#include "report/page_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "report/figures.h"
#include "report/page_fields.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

using Data = PageField;

std::string Text(std::string_view text) { return std::string(text); }

std::string ClassText(Severity severity, bool measured = true) {
  return measured ? Text(SeverityText(severity)) : "none";
}

std::string MarkText(Severity severity, bool measured = true) {
  return measured ? Text(SeverityMark(severity)) : "?";
}

/// The class of what stands on the page and not on paper.
std::string LateText(std::size_t index, std::size_t mostOnPaper) {
  return index >= mostOnPaper ? " late" : "";
}

std::string Count(std::size_t number) { return GroupedText(static_cast<std::int64_t>(number)); }

Data PaperNote(std::size_t onPaper, std::size_t total) {
  return PageFields(
      {{"class", "paper"}, {"text", "On paper the first " + Count(onPaper) + " of " + Count(total) + "."}});
}

/// What a list of `total` rows leaves out on the page, and on paper; `member` is where the JSON has them all.
Data ListNotes(std::size_t total, const char* member) {
  const std::size_t shown = std::min(total, longestPageList);
  Data notes = PageList();
  if (shown < total) {
    notes << PageFields({{"class", ""},
                         {"text", "The first " + Count(shown) + " of " + Count(total) +
                                      "; all of them stand in the JSON (--json), as " + member + "."}});
  }
  if (total > longestPaperList) notes << PaperNote(longestPaperList, total);
  return notes;
}

Data EpisodeNotes(const Judgement& judgement) {
  Data notes = PageList();
  const std::size_t shown = judgement.episodes.size();
  if (judgement.episodesLeftOut > 0) {
    notes << PageFields({{"class", ""},
                         {"text", Count(judgement.episodesLeftOut) + " more, the mildest, are left out, of " +
                                      Count(shown + judgement.episodesLeftOut) +
                                      "; --from and --to make a page of a part, with all of its own."}});
  }
  if (shown > mostPaperIncidents) notes << PaperNote(mostPaperIncidents, shown);
  return notes;
}

Data DayNotes(std::size_t days) {
  Data notes = PageList();
  if (days > mostPaperDays) notes << PaperNote(mostPaperDays, days);
  return notes;
}

std::string EpisodeLink(std::size_t index) { return "#e" + std::to_string(index + 1); }

std::string VerdictClass(Verdict verdict) {
  static constexpr const char* classes[] = {"pass", "warn", "fail", "none"};
  return classes[static_cast<std::size_t>(verdict)];
}

std::string VerdictMark(Verdict verdict) {
  static constexpr const char* marks[] = {"\u2713", "!", "\u2715", "?"};
  return marks[static_cast<std::size_t>(verdict)];
}

std::string WordText(const Check& check) {
  if (!check.measure.measured) return "too little data";
  if (check.severity == Severity::Fail) return "failed";
  return check.severity == Severity::Warn ? "wants a look" : "passed";
}

Data Checks(const Judgement& judgement) {
  Data list = PageList();
  for (const Check& check : judgement.checks) {
    const bool measured = check.measure.measured;
    list << PageFields(
        {{"name", Text(TextOf(check.rule).name)},
         {"value", check.ValueText(judgement.limits)},
         {"detail", check.measure.detail},
         {"class", ClassText(check.severity, measured)},
         {"mark", MarkText(check.severity, measured)},
         {"word", WordText(check)},
         {"limit", LimitText(judgement.limits[check.rule], check.rule)},
         {"source", judgement.limits[check.rule].source},
         {"link", check.episode < 0 ? "" : EpisodeLink(static_cast<std::size_t>(check.episode))},
         {"time", check.measure.at < 0 ? "" : std::to_string(check.measure.at)}});
  }
  return list;
}

Data Rules(const Judgement& judgement) {
  Data list = PageList();
  for (const Check& check : judgement.checks) {
    const Limit& limit = judgement.limits[check.rule];
    const bool measured = check.measure.measured;
    list << PageFields({{"rule", Text(TextOf(check.rule).name) + ": " + Text(TextOf(check.rule).measured)},
                        {"warn", WarnText(limit, check.rule)},
                        {"fail", FailText(limit, check.rule)},
                        {"source", limit.source},
                        {"measured", check.ValueText(judgement.limits)},
                        {"class", ClassText(check.severity, measured)},
                        {"mark", MarkText(check.severity, measured)}});
  }
  return list;
}

Data Episodes(const Judgement& judgement) {
  Data list = PageList();
  const std::vector<Episode>& episodes = judgement.episodes;
  const bool severalDays = !episodes.empty() && DayOf(episodes.front().from) != DayOf(episodes.back().from);
  std::int64_t day = INT64_MIN;
  for (std::size_t i = 0; i < episodes.size(); ++i) {
    const Episode& episode = episodes[i];
    const bool newDay = severalDays && DayOf(episode.from) != day;
    day = DayOf(episode.from);
    Data details = PageList();
    for (const Finding& finding : episode.findings) {
      details << PageFields(
          {{"class", ClassText(finding.severity)}, {"text", FindingText(finding, *judgement.recording)}});
    }
    Data row = PageFields({{"id", "e" + std::to_string(i + 1)},
                           {"number", std::to_string(i + 1)},
                           {"class", ClassText(episode.severity)},
                           {"late", LateText(i, mostPaperIncidents)},
                           {"mark", MarkText(episode.severity)},
                           {"t0", std::to_string(episode.from)},
                           {"t1", std::to_string(episode.to)},
                           {"time", ClockText(episode.from)},
                           {"iso", IsoText(episode.from)},
                           {"title", TitleOf(episode, *judgement.recording)},
                           {"duration", LengthOf(episode)},
                           {"day", newDay ? DayText(episode.from) : ""}});
    row.set("details", details);
    list << row;
  }
  return list;
}

Data Worst(const Judgement& judgement) {
  Data list = PageList();
  for (std::size_t rank = 0; rank < judgement.worst.size(); ++rank) {
    const Episode& episode = judgement.episodes[judgement.worst[rank]];
    list << PageFields({{"rank", std::to_string(rank + 1)},
                        {"link", EpisodeLink(judgement.worst[rank])},
                        {"title", TitleOf(episode, *judgement.recording)},
                        {"value", FindingText(WorstFinding(episode), *judgement.recording)},
                        {"time", TimeText(episode.from)}});
  }
  return list;
}

Severity SeverityOf(const Relock& relock, const Limits& limits) {
  Severity severity = Judge(limits[Rule::Relock], Rule::Relock, static_cast<double>(relock.Took()));
  if (relock.grandmasterChanged && relock.stepMeasured) {
    severity = std::max(severity, Judge(limits[Rule::Step], Rule::Step, std::fabs(relock.step)));
  }
  return severity;
}

Data Relocks(const Judgement& judgement) {
  Data list = PageList();
  const auto master = [&](std::int32_t index) {
    return ShortIdentityText(judgement.recording->masters[static_cast<std::size_t>(index)].grandmaster);
  };
  for (std::size_t i = 0; i < std::min(judgement.relocks.size(), longestPageList); ++i) {
    const Relock& relock = judgement.relocks[i];
    const bool locked = relock.locked >= 0;
    const bool heardAgain = locked || relock.Took() > 0;
    const bool fellSilent = relock.lastMessage <= relock.detected;
    list << PageFields(
        {{"sfp", relock.sfp == 0 ? "A" : "B"},
         {"lastMessage", fellSilent ? TimeText(relock.lastMessage) : "\u2013"},
         {"detected", TimeText(relock.detected)},
         {"locked", locked ? TimeText(relock.locked) : "never"},
         {"took", heardAgain ? (locked ? "" : "> ") + DurationText(relock.Took()) : "\u2013"},
         {"step", relock.stepMeasured ? TenthsText(relock.step) : "\u2013"},
         {"from", master(relock.from)},
         {"to", locked ? master(relock.to) : "\u2013"},
         {"class", ClassText(SeverityOf(relock, judgement.limits)) + LateText(i, longestPaperList)}});
  }
  return list;
}

Data Changes(const Judgement& judgement) {
  Data list = PageList();
  for (std::size_t i = 0; i < std::min(judgement.changes.size(), longestPageList); ++i) {
    const Change& change = judgement.changes[i];
    std::string what = change.what;
    if (change.count > 1) {
      what += ", " + CountText(change.count, "time", "times") + " up to " + TimeText(change.until);
    } else if (change.until > change.time) {
      what += ", up to " + TimeText(change.until);
    }
    list << PageFields({{"time", TimeText(change.time)},
                        {"t", std::to_string(change.time)},
                        {"sfp", change.sfp < 0 ? "A, B" : (change.sfp == 0 ? "A" : "B")},
                        {"what", what},
                        {"from", change.from},
                        {"to", change.to},
                        {"class", ClassText(change.severity) + LateText(i, longestPaperList)}});
  }
  return list;
}

std::string HexText(std::uint32_t value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%02x", value);
  return text.data();
}

Data Masters(const Judgement& judgement) {
  Data list = PageList();
  for (std::size_t i = 0; i < std::min(judgement.masters.size(), longestPageList); ++i) {
    const MasterUse& use = judgement.masters[i];
    const Master& master = judgement.recording->masters[static_cast<std::size_t>(use.master)];
    Data row = PageFields(
        {{"class", LateText(i, longestPaperList)},
         {"identity", IdentityText(master.grandmaster)},
         {"sender", master.sender == master.grandmaster ? "the same" : IdentityText(master.sender)},
         {"address", AddressText(master.address)},
         {"domain", std::to_string(master.domain)},
         {"priorities", std::to_string(master.priority1) + " / " + std::to_string(master.priority2)},
         {"clockClass", std::to_string(master.clockClass)},
         {"accuracy", HexText(master.accuracy)},
         {"timeSource", TimeSourceText(master.timeSource)},
         {"steps", std::to_string(master.stepsRemoved)},
         {"utcOffset", std::to_string(master.utcOffset) + "\u00a0s"},
         {"first", TimeText(use.first)},
         {"last", TimeText(use.last)},
         {"times", GroupedText(use.times)}});
    Data followed = PageList();
    for (const std::int64_t seconds : use.followed) followed << Data(DurationText(seconds));
    row.set("followed", followed);
    list << row;
  }
  return list;
}

Data Days(const Judgement& judgement) {
  Data list = PageList();
  std::size_t number = 0;
  for (const auto& entry : judgement.watch->Days()) {
    const std::int64_t start = entry.first;
    const DayFigures& day = entry.second;
    const Severity severity = SeverityOfDay(day, judgement.limits);
    const MessageTally& syncs = day.syncs;
    const auto share = [&](int sfp) {
      const auto index = static_cast<std::size_t>(sfp);
      if (day.records[index] == 0) return std::string("\u2013");
      return PercentText(static_cast<double>(day.locked[index]) / static_cast<double>(day.records[index]));
    };
    list << PageFields({{"date", DateText(start)},
                        {"t0", std::to_string(std::max(start, judgement.recording->first))},
                        {"t1", std::to_string(std::min(start + dayLength, judgement.recording->end))},
                        {"verdictClass", ClassText(severity) + LateText(number++, mostPaperDays)},
                        {"mark", MarkText(severity)},
                        {"worst", day.judged == 0 ? "\u2013" : TenthsText(day.worstOffset)},
                        {"locked", "A " + share(0) + ", B " + share(1)},
                        {"missing", "Sync " + PercentText(syncs.MissingShare())},
                        {"changes", GroupedText(day.grandmasterChanges)}});
  }
  return list;
}

Data Tables(const Judgement& judgement) {
  Data list = PageList();
  for (const FigureTable& table : FigureTables(judgement)) {
    Data columns = PageList();
    for (const std::string& column : table.columns) columns << PageFields({{"text", column}});
    Data rows = PageList();
    for (const auto& row : table.rows) {
      Data cells = PageList();
      for (std::size_t i = 0; i < row.size(); ++i) {
        Data cell = PageFields({{"text", row[i]}});
        cell.set("head", i == 0 ? Data::type::bool_true : Data::type::bool_false);
        cells << cell;
      }
      Data rowData = PageFields({{"class", ""}});
      rowData.set("cells", cells);
      rows << rowData;
    }
    Data tableData = PageFields({{"caption", table.caption}});
    tableData.set("columns", columns);
    tableData.set("rows", rows);
    list << tableData;
  }
  return list;
}

Data Missing(const Judgement& judgement) {
  Data list = PageList();
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    for (const MessageKind kind : {syncMessage, followUpMessage, delayRespMessage, announceMessage}) {
      const MessageTally& tally = judgement.watch->Losses(sfp).All()[kind];
      if (tally.due <= 0) continue;
      const Severity severity = kind == announceMessage
                                    ? Severity::Pass
                                    : Judge(judgement.limits[Rule::MessagesMissing], Rule::MessagesMissing,
                                            tally.MissingShare() * 100);
      list << PageFields({{"sfp", sfp == 0 ? "A" : "B"},
                          {"kind", Text(MessageKindText(kind))},
                          {"due", GroupedText(std::llround(tally.due))},
                          {"got", GroupedText(std::llround(tally.got))},
                          {"missing", GroupedText(std::llround(tally.Missing()))},
                          {"share", PercentText(tally.MissingShare())},
                          {"class", ClassText(severity)}});
    }
  }
  return list;
}

std::string BaseName(const std::string& path) {
  const std::size_t separator = path.find_last_of("/\\");
  return separator == std::string::npos ? path : path.substr(separator + 1);
}

Data Files(const Judgement& judgement, const Heading& heading) {
  const Recording& recording = *judgement.recording;
  const auto count = [](std::uint64_t number, const char* one, const char* many) {
    return CountText(static_cast<std::int64_t>(number), one, many);
  };
  const auto absence = [&](const std::string& name) {
    const bool isThere = std::ranges::find(recording.unreadable, name) != recording.unreadable.end();
    return std::string(isThere ? "could not be read" : "missing");
  };
  Data list = PageList();
  const auto add = [&](const std::string& path, bool present, std::uint64_t bytes, const std::string& content,
                       const std::vector<std::string>& notes) {
    Data row = PageFields({{"name", BaseName(path)},
                           {"size", present ? count(bytes, "byte", "bytes") : absence(BaseName(path))},
                           {"content", present ? content : ""}});
    Data lines = PageList();
    for (const std::string& note : notes) lines << PageFields({{"text", note}});
    row.set("notes", lines);
    list << row;
  };
  add(heading.files.rawData, recording.rawDataPresent, recording.rawDataBytes,
      count(recording.units, "record", "records"), RawDataNotes(recording));
  add(heading.files.eventLog, recording.eventLog.present, recording.eventLog.bytes,
      count(recording.eventLog.documents, "document", "documents"), EventLogNotes(recording.eventLog));
  add(heading.files.periodLines, recording.periodLines.present, recording.periodLines.bytes,
      count(recording.periodLines.lines.size(), "line", "lines"), PeriodLineNotes(recording.periodLines));
  return list;
}

Data Agreement(const SelfCheck& selfCheck) {
  constexpr std::size_t most = 20;
  Data agreement = PageFields(
      {{"periodLines", GroupedText(static_cast<std::int64_t>(selfCheck.Agreeing() + selfCheck.Differing()))},
       {"periodAgree", GroupedText(static_cast<std::int64_t>(selfCheck.Agreeing()))}});
  Data differences = PageList();
  for (std::size_t i = 0; i < std::min(selfCheck.Differences().size(), most); ++i) {
    differences << PageFields({{"text", selfCheck.Differences()[i].text}});
  }
  if (selfCheck.Differing() > most) {
    differences << PageFields({{"text", "and " + Count(selfCheck.Differing() - most) +
                                            " more; see periodLines of the JSON (--json)"}});
  }
  agreement.set("differences", differences);
  return agreement;
}

}  // namespace

Data MakePageModel(const Judgement& judgement, const Heading& heading) {
  const Recording& recording = *judgement.recording;
  const bool hasData = recording.end > recording.first;
  Data model = PageFields(
      {{"name", heading.name},
       {"label", heading.label},
       {"version", heading.version},
       {"generated", TimeText(heading.generated) + " UTC"},
       {"verdict", Text(VerdictText(judgement.verdict))},
       {"verdictClass", VerdictClass(judgement.verdict)},
       {"verdictMark", VerdictMark(judgement.verdict)},
       {"sentence", judgement.sentence},
       {"episodeCount", Count(judgement.episodes.size() + judgement.episodesLeftOut)},
       {"range", hasData ? DayText(recording.first) + ", " + ClockText(recording.first) + " \u2013 " +
                               DayText(recording.end) + ", " + ClockText(recording.end) + " UTC"
                         : NoTelemetryText(recording)},
       {"duration", DurationText(recording.end - recording.first)},
       {"noRelocks", hasData ? "No lock was lost." : "No data."},
       {"records", CountText(static_cast<std::int64_t>(recording.Records()), "record", "records")},
       {"zoneName", recording.zone.NameAt(recording.first)}});
  model.set("checks", Checks(judgement));
  model.set("rules", Rules(judgement));
  model.set("episodes", Episodes(judgement));
  model.set("episodeNotes", EpisodeNotes(judgement));
  model.set("worst", Worst(judgement));
  model.set("relocks", Relocks(judgement));
  model.set("relockNotes", ListNotes(judgement.relocks.size(), "relocks"));
  model.set("changes", Changes(judgement));
  model.set("changeNotes", ListNotes(judgement.changes.size(), "unlogged"));
  model.set("masters", Masters(judgement));
  model.set("masterNotes", ListNotes(judgement.masters.size(), "masters"));
  model.set("days", Days(judgement));
  model.set("dayNotes", DayNotes(judgement.watch->Days().size()));
  model.set("tables", Tables(judgement));
  model.set("missing", Missing(judgement));
  model.set("files", Files(judgement, heading));
  model.set("agreement", Agreement(*judgement.selfCheck));
  return model;
}

}  // namespace kestrune::report
