#include <gmock/gmock.h>

#include "report/event_log.h"
#include "report/period_lines.h"
#include "report/time_zone.h"

namespace kestrune::report {
namespace {

using testing::ElementsAre;

std::string Document(std::int64_t time, const std::string& local, const std::string& rest) {
  return "{\n    \"Time\": \"" + local + "\",\n    \"Epoch time\": " + std::to_string(time) + ",\n    " +
         rest + "\n}\n";
}

std::string Genlock(std::int64_t time, const std::string& state) {
  return Document(time, "2026-03-02 08:00:19",
                  R"("Event log type": "genlock status", "Genlock state": ")" + state + '"');
}

TEST(EventLog, DamageCostsNoOtherDocument) {
  const std::string good = Genlock(1772434819, "locked");
  const std::string other = Genlock(1772434829, "relocking");
  const struct {
    std::string text;
    std::uint64_t documents;
    std::uint64_t damaged;
    bool unended;
  } rows[] = {
      {good + other, 2, 0, false},
      {good + other.substr(0, 60), 1, 0, true},
      {good + other.substr(0, 60) + '\n' + other, 2, 1, false},  // broke off, then went on
      {good + std::string(4096, '\0') + other, 2, 1, false},     // of a power cut
      {good + std::string(4096, '\0'), 1, 1, false},
      {good + "rubbish\nmore rubbish\n" + other, 2, 1, false},
      {good + "{\n{\n    \"Time\": 1,\n}\n}\n" + other, 2, 3, false},  // lines of two runs, mixed
      {good + "{\n" + std::string(100'000, '[') + "\n}\n" + other, 2, 1, false},
      {R"({"Time": "x", "Epoch time": 1772434819, "Event log type": "end of monitoring"})"
       "\r\n" +
           good,
       2, 0, false},
      {Genlock(-5, "locked") + Genlock(99'999'999'999, "locked") + good, 1, 2, false},
      {"", 0, 0, false},
  };
  for (const auto& row : rows) {
    TimeZone zone;
    const EventLog log = ParseEventLog(row.text, zone);
    EXPECT_EQ(log.documents, row.documents) << row.text.substr(0, 300);
    EXPECT_EQ(log.damaged > 0, row.damaged > 0) << row.text.substr(0, 300);
    EXPECT_EQ(log.unended, row.unended);
  }
}

TEST(EventLog, AWildTimeCostsItsDocumentsOnly) {
  constexpr std::int64_t day = 86'400;
  constexpr std::int64_t base = 1'772'434'800;
  const struct {
    std::vector<std::int64_t> times;
    std::uint64_t wild;
    std::vector<std::int64_t> taken;
  } rows[] = {
      {{0, 23'000 * day, 60, 120}, 1, {0, 60, 120}},
      {{0, 23'000 * day, 5 * day, 6 * day}, 1, {0, 5 * day, 6 * day}},
      {{0, 60, -day, 120}, 1, {0, 60, 120}},
      {{0, 60, -9000 * day}, 1, {0, 60}},
      {{0, 60, -day, -day + 1, 2 * day, 3 * day}, 2, {0, 60, 2 * day, 3 * day}},
      {{9000 * day, 0, 60}, 1, {0, 60}},
      {{0, day, -9000 * day, 2 * day, 3 * day}, 1, {0, day, 2 * day, 3 * day}},
      {{0, day, 2 * day, 3 * day}, 0, {0, day, 2 * day, 3 * day}},                // a quiet log
      {{0, 60, -day, -day + 1, -day + 2, -day + 3, -day + 4, day}, 0, {0, day}},  // the clock was set back
  };
  for (const auto& row : rows) {
    std::string text;
    for (const std::int64_t time : row.times) text += Genlock(base + time, std::to_string(time));
    TimeZone zone;
    const EventLog log = ParseEventLog(text, zone);
    EXPECT_EQ(log.wild, row.wild) << text;
    EXPECT_EQ(log.documents, row.times.size());
    for (const std::int64_t time : row.taken)
      EXPECT_EQ(log.texts[log.genlock.At(base + time)], std::to_string(time)) << text;
    EXPECT_EQ(log.events.size(), row.times.size() - row.wild);
  }
}

TEST(EventLog, DocumentsBecomeRunsAndEvents) {
  const std::string card = R"("Event log type": "ST2059 status/settings", "State": "follower locked",
    "Best master SFP": "SFP B", "Best master clock ID": "0x1", "Grand master clock ID": "0x2",
    "Best master SFP selection": "automatic")";
  const std::string sfp =
      R"("Event log type": "SFP ST2059 telemetry", "SFP": "SFP A", "Grand master clock ID": "0x2",
    "Last correction": {
        "seconds": 0
    }, "State": "uncalibrated")";
  const std::string link = R"("Event log type": "SFP IP status", "SFP": "SFP B", "Module present": "true",
    "Signal present": "false", "Transmit error": "false")";
  std::string text;
  std::int64_t time = 1772434800;
  for (const std::string& rest :
       {card, card, sfp, link, std::string(R"("Event log type": "start of monitoring")")}) {
    text += Document(time++, "2026-03-02 08:00:00", rest);
  }
  TimeZone zone;
  const EventLog log = ParseEventLog(text, zone);
  EXPECT_EQ(log.documents, 5);
  EXPECT_EQ(log.repeated, 1);
  std::vector<std::string> events;
  for (const Event& event : log.events) events.push_back(log.texts[event.text]);
  EXPECT_THAT(events, ElementsAre("Card follower locked through SFP B", "SFP A uncalibrated, grandmaster 0x2",
                                  "SFP B no signal", "Monitoring starts"));
  EXPECT_EQ(log.texts[log.bestSfp.At(1772434799)], "");
  EXPECT_EQ(log.texts[log.bestSfp.At(1772434801)], "SFP B");
  EXPECT_EQ(log.sfpState[0].At(1772434803), 8);
  EXPECT_EQ(log.texts[log.link[1].At(1772434803)], "no signal");
  EXPECT_THAT(log.starts, ElementsAre(1772434804));
}

TEST(PeriodLines, OnlyWholeLinesCount) {
  std::string line = "1772435721,2026-03-02 08:15:21,15,1";
  for (int i = 1; i <= 50; ++i) line += "," + std::to_string(i);
  const std::string text =
      "2026-03-02 08:00:09: start of test run.\r\nLegend: epchtm: epoch time,  tsdurmin: test "
      "duration in minutes, sfp: SFP label test results,\r\n\r\n" +
      line + "\r\n" + line + ",51\n" + line.substr(0, 80) + "\n" +
      std::string(
          "177243\0"
          "5721\n",
          12) +
      line + "\n2026-03-02 09:00:00: start of test run.\n" + line + "\n" + line;
  TimeZone zone;
  const PeriodLines lines = ParsePeriodLines(text, zone);
  ASSERT_EQ(lines.lines.size(), 3);
  EXPECT_EQ(lines.damaged, 3);
  EXPECT_TRUE(lines.unended);
  EXPECT_EQ(lines.lines[2].run, 2);
  const PeriodLine& first = lines.lines[0];
  EXPECT_EQ(first.sfp, 1);
  EXPECT_EQ(first.results.syncGroup.count, 1);
  EXPECT_EQ(first.results.syncGroup.quantities[2].average.nanoseconds, 23);
  EXPECT_EQ(first.results.delayRespGroup.quantities[2].standardDeviation.nanoseconds, 50);
  EXPECT_EQ(zone.OffsetAt(0), 3600);
  EXPECT_EQ(ParsePeriodLines(std::string(4096, '\0'), zone).damaged, 1);
}

TEST(TimeZone, OffsetsComeFromPairs) {
  TimeZone berlin;
  for (std::int64_t day = 0; day < 30; ++day) {
    const std::int64_t epoch = 1772884800 + day * 86'400;  // noon, UTC
    berlin.Add(epoch, CivilTimeText(epoch + (epoch < 1774746000 ? 3600 : 7200)));
  }
  berlin.Add(1774745999, "2026-03-29 01:59:59");
  berlin.Add(1774746000, "2026-03-29 03:00:00");
  berlin.Add(1774746000, "rubbish");
  berlin.Add(1774746000, "2031-03-29 03:00:00");  // no zone is that far off
  const auto changes = berlin.Changes();
  ASSERT_EQ(changes.size(), 2);
  EXPECT_EQ(changes[1].from, 1774746000);
  EXPECT_EQ(berlin.NameAt(1774745999), "+01:00");
  EXPECT_EQ(berlin.NameAt(1774746000), "+02:00");
  TimeZone india;
  india.Add(0, "1970-01-01 05:30:01");
  EXPECT_EQ(india.NameAt(5), "+05:30");
  TimeZone newYork;
  newYork.Add(0, "1969-12-31 19:00:00");
  EXPECT_EQ(newYork.NameAt(5), "-05:00");
  EXPECT_EQ(TimeZone().NameAt(0), "UTC");
}

}  // namespace
}  // namespace kestrune::report
