#include <gmock/gmock.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "report/metrics_program.h"
#include "report/metrics_state.h"
#include "report/metrics_text.h"
#include "report/raw_units.h"
#include "report/watch.h"

namespace kestrune::report {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t seconds = 4000;
constexpr std::int64_t recordsOfA = seconds - 100;

std::string Document(std::int64_t time, const std::string& type, const std::string& members) {
  return "{\n    \"Time\": \"\",\n    \"Epoch time\": " + std::to_string(time) +
         ",\n    \"Event log type\": \"" + type + '"' + members + "\n}\n";
}

std::string CardDocument(std::int64_t time, const std::string& state, const std::string& sfp) {
  return Document(time, "ST2059 status/settings",
                  ",\n    \"State\": \"" + state + "\",\n    \"Best master SFP\": \"" + sfp + '"');
}

std::string Slurp(const std::string& name) {
  std::ostringstream text;
  text << std::ifstream(name, std::ios::binary).rdbuf();
  return text.str();
}

/// A recording up to `end` with losses of lock, another grandmaster, missing messages, offsets beyond both
/// limits, an absent SFP and a second run; and its event log.
struct Story {
  std::vector<RawDataUnit> units;
  std::vector<std::pair<std::int64_t, std::string>> documents;

  explicit Story(std::int64_t end) {
    const std::int64_t begin = end - seconds;
    for (std::int64_t i = 0; i < seconds; ++i) {
      for (const int sfp : {0, 1}) {
        if (sfp == 1 && i >= 3000 && i < 3300) continue;  // no module
        if (i >= 3400 && i < 3500) continue;              // no recorder, as the log doesn't say
        RawDataUnit unit = MakeUnit(begin + i, sfp,
                                    i >= 2000 && i < 2007   ? 700
                                    : i >= 2007 && i < 2010 ? -1200
                                                            : 40);
        TelemetryRecord& record = unit.record;
        if (i < 20 || (i >= 1000 && i < 1030 - sfp) || (i >= 2500 && i < 2520) || (i >= 3500 && i < 3505))
          record.state = 9;
        if (i >= 1010 && i < 1700) record.bestMasterLastPtpAnnouncePacket.grandmasterIdentity[7] = 2;
        if (i < 900 && i % 2 == 1) --record.followUpMessagesReceived;  // on its way
        if (i >= 950) record.followUpMessagesReceived -= 5;
        if (i % 500 == 77) record.performanceMonitoring.numberOfDelayRespSinceLastTelemetry = 5 + sfp;
        units.push_back(unit);
      }
    }
    const auto tell = [&](std::int64_t at, const std::string& text) {
      documents.emplace_back(begin + at, text);
    };
    tell(0, CardDocument(begin, "uncalibrated", "SFP A") + Document(begin, "start of monitoring", ""));
    for (const std::int64_t at : {20, 1030, 2520})
      tell(at, CardDocument(begin + at, "follower locked", "SFP A"));
    tell(1000, CardDocument(begin + 1000, "uncalibrated", "SFP A"));
    tell(2500, CardDocument(begin + 2500, "uncalibrated", "SFP A") +
                   Document(begin + 2500, "start of monitoring", ""));
    std::ranges::sort(documents);
  }

  std::string EventLogUpTo(std::int64_t time) const {
    std::string text;
    for (const auto& [at, document] : documents) text += at <= time ? document : "";
    return text;
  }
};

class MetricsTest : public testing::Test {
 protected:
  MetricsTest() {
    options_.metrics = files_.Names().rawData + ".prom";
    options_.prefix = files_.Names().rawData;
  }
  ~MetricsTest() override { std::filesystem::remove(options_.metrics + ".state"); }

  void Write(const std::string& rawData, const std::string& eventLog) const {
    files_.WriteRawData(rawData);
    std::ofstream(files_.Names().eventLog, std::ios::binary | std::ios::trunc) << eventLog;
  }
  std::string Run(const Limits& limits = DefaultLimits()) const {
    EXPECT_EQ(RunMetrics(options_, files_.Names(), limits), 0);
    return Slurp(options_.metrics);
  }
  std::string RunAnew() const {
    std::filesystem::remove(options_.metrics + ".state");
    return Run();
  }
  std::map<std::string, double> Values(const std::string& text) const {
    std::map<std::string, double> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t blank = line.rfind(' ');
      if (line[0] != '#') values[line.substr(0, blank)] = std::stod(line.substr(blank));
    }
    return values;
  }

  RunFiles files_;
  Options options_;
  std::int64_t now_ = std::time(nullptr);
  Story story_{now_ + 1};
};

TEST_F(MetricsTest, GrowByWhateverPiecesToWhatTheWholeGives) {
  const std::string bytes = BytesOf(story_.units);
  std::map<std::string, double> before;
  std::uint32_t chance = 7;
  for (std::size_t end = 700; end < bytes.size(); end += (chance = chance * 1664525 + 1013904223) >> 14) {
    const std::int64_t time = story_.units[end / sizeof(RawDataUnit)].epochTime;
    const std::string log = story_.EventLogUpTo(time + static_cast<int>(chance % 2));
    Write(bytes.substr(0, end), chance % 3 == 0 ? log : log + "{\n    \"Time\"");
    for (const auto& [name, value] : Values(Run())) {
      if (name.find("_total{") == std::string::npos) continue;
      EXPECT_GE(value, before[name]) << name;
      before[name] = value;
    }
  }
  Write(bytes, story_.EventLogUpTo(now_));
  const std::string grown = Run();
  const std::string whole = RunAnew();
  EXPECT_EQ(grown, whole);

  Recording recording;
  Watch watch(recording, DefaultLimits());
  ReadRecording(files_.Names(), {}, {{}, {&watch}}, recording);
  watch.Finish();
  std::int64_t unlocked = 0;
  std::int64_t changes = 0;
  for (const auto& [day, figures] : watch.Days()) {
    unlocked += figures.cardUnlocked;
    changes += figures.grandmasterChanges;
  }
  EXPECT_EQ(unlocked, 30) << "start-ups apart";
  EXPECT_EQ(changes, 2);
  const auto values = Values(whole);
  const std::string label = "{instance_label=\"run\"";
  EXPECT_EQ(values.at("kestrune_unlocked_seconds_total" + label + "}"), static_cast<double>(unlocked));
  EXPECT_EQ(values.at("kestrune_grandmaster_changes_total" + label + "}"), static_cast<double>(changes));
  EXPECT_EQ(values.at("kestrune_relocks_total" + label + ",sfp=\"A\"}"), 3) << "one of them at once";
  EXPECT_EQ(values.at("kestrune_over_limit_seconds_total" + label + ",limit=\"warn\"}"), 10);
  EXPECT_EQ(values.at("kestrune_over_limit_seconds_total" + label + ",limit=\"fail\"}"), 3);
  EXPECT_EQ(values.at("kestrune_messages_missing_total" + label + ",sfp=\"A\",kind=\"Delay_Resp\"}"), 8 * 3);
  EXPECT_EQ(values.at("kestrune_records_total" + label + ",sfp=\"B\"}"), recordsOfA - 300);
  EXPECT_EQ(values.at("kestrune_verdict" + label + "}"), 2);
}

TEST_F(MetricsTest, StartAnewForAnotherFileOrLimitsOrABrokenState) {
  const std::string bytes = BytesOf(story_.units);
  Write(bytes, story_.EventLogUpTo(now_));
  const std::string whole = Run();
  const std::string state = Slurp(options_.metrics + ".state");
  EXPECT_EQ(Run(), whole);

  for (std::size_t length = 0; length < state.size() - 2; length += 97) {
    EXPECT_FALSE(ReadState(state.substr(0, length))) << length;
  }
  EXPECT_FALSE(ReadState(std::string(state).replace(state.find("hasLocked"), 1, "x")));
  std::ofstream(options_.metrics + ".state") << "[1]";
  EXPECT_EQ(Run(), whole);

  const auto records = [&](const std::string& text) {
    return Values(text).at("kestrune_records_total{instance_label=\"run\",sfp=\"A\"}");
  };
  files_.WriteRawData(bytes.substr(0, 600 * sizeof(RawDataUnit)));
  EXPECT_EQ(records(Run()), 300) << "shortened";
  files_.WriteRawData(bytes);
  EXPECT_EQ(records(Run()), recordsOfA) << "grown";
  files_.WriteRawData(bytes.substr(sizeof(RawDataUnit)));
  EXPECT_EQ(records(Run()), recordsOfA - 1) << "replaced";
  files_.WriteRawData(bytes);
  Limits limits = DefaultLimits();
  limits[Rule::Offset].warn = 30;
  EXPECT_THAT(Run(limits), Not(HasSubstr("limit=\"warn\"} 10\n"))) << "other limits";
}

TEST(Metrics, NeverLetACounterFall) {
  std::map<std::string, double> shown;
  for (const auto& [counted, expected] : {std::pair{5, 5}, {3, 5}, {6, 6}, {0, 6}}) {
    std::vector<Metric> metrics = {{"a_total", "", true, {{"", 1.0 * counted}}},
                                   {"b", "", false, {{"", 1.0 * counted}}}};
    KeepCountersRising(metrics, shown);
    EXPECT_EQ(metrics[0].samples[0].value, expected);
    EXPECT_EQ(metrics[1].samples[0].value, counted);
  }
}

TEST_F(MetricsTest, LeaveOutWhatIsNotKnown) {
  std::vector<RawDataUnit>& units = story_.units;
  std::erase_if(units, [&](const RawDataUnit& unit) { return unit.epochTime < now_ - 50; });
  std::erase_if(units,
                [&](const RawDataUnit& unit) { return unit.record.sfp == 1 && unit.epochTime > now_ - 9; });
  options_.label = "studio \"1\"\\\n";
  Write(BytesOf(units), story_.EventLogUpTo(now_));
  const std::string text = Run();
  EXPECT_THAT(
      text,
      HasSubstr(
          "kestrune_offset_mean_seconds{instance_label=\"studio \\\"1\\\"\\\\\uFFFD\",sfp=\"A\"} 4e-08\n"));
  EXPECT_THAT(text, HasSubstr(",sfp=\"A\",grandmaster=\"00-00-00-00-00-00-00-01\",domain=\"127\"} 1\n"));
  EXPECT_THAT(text, Not(HasSubstr("kestrune_verdict"))) << "too little data for one";
  EXPECT_THAT(text, HasSubstr("kestrune_sfp_difference_seconds"));
  EXPECT_THAT(text,
              HasSubstr("kestrune_followed{instance_label=\"studio \\\"1\\\"\\\\\uFFFD\",sfp=\"B\"} 0\n"));
  EXPECT_THAT(text.substr(text.find("TYPE kestrune_locked"), 200), Not(HasSubstr("sfp=\"B\""))) << "absent";

  for (RawDataUnit& unit : units) unit.record.state = 4;
  Write(BytesOf(units), "");
  EXPECT_THAT(Run(), Not(HasSubstr("kestrune_grandmaster_info{"))) << "who listens follows nobody";

  for (RawDataUnit& unit : units) unit.epochTime -= 100;
  Write(BytesOf(units), "");
  const std::string old = Run();
  EXPECT_THAT(old, Not(HasSubstr("kestrune_offset_mean_seconds")));
  EXPECT_THAT(old, Not(HasSubstr("kestrune_card_locked")));
  EXPECT_THAT(old, HasSubstr("kestrune_records_total"));
}

}  // namespace
}  // namespace kestrune::report
