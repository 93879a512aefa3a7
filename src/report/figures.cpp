#include "report/figures.h"

#include <algorithm>
#include <cmath>

#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr const char* none = "\u2013";

std::string Count(std::uint64_t count) { return GroupedText(static_cast<std::int64_t>(count)); }

FigureTable Distributions(const Recording& recording) {
  struct Row {
    const char* name;
    Histogram SfpRecording::*histogram;
    bool bothSides;
  };
  static constexpr Row rows[] = {{"Worst |offset| of a message", &SfpRecording::worstOffset, false},
                                 {"Average offset", &SfpRecording::secondOffset, true},
                                 {"Average path delay", &SfpRecording::secondPath, true}};
  static constexpr double shares[] = {0.001, 0.01, 0.5, 0.95, 0.99, 0.999, 0.9999, 1};
  FigureTable table{"Locked seconds: how they are distributed",
                    {"Of a second", "SFP", "P0.1", "P1", "P50", "P95", "P99", "P99.9", "P99.99", "greatest"},
                    {}};
  for (const Row& row : rows) {
    for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
      const Histogram& histogram = recording.sfp[sfp].*row.histogram;
      if (histogram.Count() == 0) continue;
      std::vector<std::string> cells = {row.name, sfp == 0 ? "A" : "B"};
      for (const double share : shares) {
        const bool shown = row.bothSides || share >= 0.5;
        cells.push_back(shown ? NanosecondsText(histogram.Percentile(share)) : none);
      }
      table.rows.push_back(std::move(cells));
    }
  }
  return table;
}

FigureTable Quantities(const Recording& recording) {
  struct Row {
    const char* name;
    Quantity quantity;
  };
  static constexpr Row rows[] = {{"Offset from master", offset},
                                 {"Mean path delay", pathDelay},
                                 {"Master to follower", toFollower},
                                 {"Follower to master", toMaster},
                                 {"Origin time stamp jitter", originJitter},
                                 {"Delay_Req to Delay_Resp", reqToResp}};
  FigureTable table{
      "All six quantities, every message; the first five columns while locked, the last two always",
      {"Quantity", "SFP", "messages", "least", "average", "sd", "greatest", "least", "greatest"},
      {}};
  for (const Row& row : rows) {
    for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
      const Stat& all = recording.sfp[sfp].all[row.quantity];
      const Stat& locked = recording.sfp[sfp].locked[row.quantity];
      if (all.count == 0) continue;
      const auto extreme = [](std::int64_t value) { return NanosecondsText(static_cast<double>(value)); };
      std::vector<std::string> cells = {row.name, sfp == 0 ? "A" : "B"};
      if (locked.count > 0) {
        cells.insert(cells.end(), {GroupedText(locked.count), extreme(locked.least), TenthsText(locked.mean),
                                   TenthsText(locked.StandardDeviation()), extreme(locked.greatest)});
      } else {
        cells.insert(cells.end(), {"0", none, none, none, none});
      }
      cells.insert(cells.end(), {extreme(all.least), extreme(all.greatest)});
      table.rows.push_back(std::move(cells));
    }
  }
  return table;
}

std::vector<std::string> LockRow(const std::string& name, const LockFigures& figures) {
  const auto observed = static_cast<double>(std::max<std::int64_t>(figures.observed, 1));
  return {name,
          figures.firstLock < 0 ? "never" : DurationText(figures.firstLock),
          GroupedText(figures.losses),
          DurationText(figures.unlocked),
          DurationText(figures.longest),
          PercentText(1 - static_cast<double>(figures.unlocked) / observed)};
}

FigureTable Locks(const Judgement& judgement) {
  FigureTable table{
      "Lock, start-up apart", {"", "first lock after", "losses", "out in all", "longest", "locked"}, {}};
  if (judgement.watch->ObservedSeconds() == 0) return table;
  table.rows.push_back(LockRow("Card", CardLockFiguresOf(judgement)));
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    if (judgement.recording->sfp[static_cast<std::size_t>(sfp)].records == 0) continue;
    table.rows.push_back(LockRow(SfpText(sfp), LockFiguresOf(judgement, sfp)));
  }
  return table;
}

FigureTable Differences(const Judgement& judgement) {
  FigureTable table{
      "SFP A less SFP B, on the same grandmaster: half the difference of the paths' asymmetries",
      {"", "seconds", "average", "worst minute", "at"},
      {}};
  const DifferenceTracker& difference = judgement.watch->Difference();
  const auto add = [&](const char* name, const DifferenceTracker::Figures& figures) {
    if (figures.minutes == 0) return;
    table.rows.push_back({name, GroupedText(figures.seconds), TenthsText(figures.Average()),
                          TenthsText(figures.worst), TimeText(figures.worstAt)});
  };
  add("both locked", difference.Locked());
  add("one or both unlocked", difference.Unlocked());
  return table;
}

FigureTable Links(const Recording& recording) {
  FigureTable table{"Network",
                    {"", "records", "received", "transmitted", "packets with errors", "packets dropped",
                     "PTP discarded", "Announce of others"},
                    {}};
  const auto rate = [](const Stat& bytes) {
    return bytes.count == 0 ? std::string(none) : GroupedText(std::llround(bytes.mean)) + "\u00a0B/s";
  };
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const SfpRecording& side = recording.sfp[static_cast<std::size_t>(sfp)];
    if (side.records == 0) continue;
    const MessageCounts& messages = side.messages;
    table.rows.push_back({SfpText(sfp), Count(side.records), rate(side.receiveRate), rate(side.transmitRate),
                          Count(messages.linkErrors), Count(messages.linkDrops), Count(messages.discarded),
                          Count(messages.announcesForeign)});
  }
  return table;
}

}  // namespace

LockFigures LockFiguresOf(const Judgement& judgement, int sfp) {
  const auto index = static_cast<std::size_t>(sfp);
  LockFigures figures;
  std::int64_t startUps = 0;
  for (const StartUp& start : judgement.watch->StartUps()) {
    if (start.sfp[index] >= 0) startUps += start.sfp[index];
    if (figures.firstLock < 0) figures.firstLock = start.sfp[index];
  }
  std::int64_t locked = 0;
  for (const auto& [start, day] : judgement.watch->Days()) {
    figures.observed += day.records[index];
    locked += day.locked[index];
  }
  figures.unlocked = std::max<std::int64_t>(figures.observed - locked - startUps, 0);
  const RelockTracker& relocks = judgement.watch->Relocks(sfp);
  figures.losses = static_cast<std::int64_t>(relocks.Count());
  for (const Relock& relock : relocks.All()) {
    figures.longest = std::max(figures.longest, relock.end - relock.detected);
  }
  return figures;
}

LockFigures CardLockFiguresOf(const Judgement& judgement) {
  LockFigures figures;
  figures.observed = judgement.watch->ObservedSeconds();
  for (const StartUp& start : judgement.watch->StartUps()) {
    if (figures.firstLock < 0) figures.firstLock = start.card;
  }
  for (const Excursion& excursion : judgement.watch->CardUnlocked().All()) {
    ++figures.losses;
    figures.unlocked += excursion.seconds;
    figures.longest = std::max(figures.longest, excursion.seconds);
  }
  return figures;
}

Severity SeverityOfDay(const DayFigures& day, const Limits& limits) {
  const std::pair<Rule, double> values[] = {
      {Rule::Offset, std::fabs(day.worstOffset)},
      {Rule::CardLock, static_cast<double>(day.cardUnlocked)},
      {Rule::Redundancy, static_cast<double>(day.notRedundant)},
      {Rule::GrandmasterChanges, static_cast<double>(day.grandmasterChanges)}};
  Severity worst = Severity::Pass;
  for (const auto& [rule, value] : values) worst = std::max(worst, Judge(limits[rule], rule, value));
  return worst;
}

std::vector<FigureTable> FigureTables(const Judgement& judgement) {
  const Recording& recording = *judgement.recording;
  std::vector<FigureTable> tables = {Distributions(recording), Quantities(recording), Locks(judgement),
                                     Differences(judgement), Links(recording)};
  std::erase_if(tables, [](const FigureTable& table) { return table.rows.empty(); });
  return tables;
}

}  // namespace kestrune::report
