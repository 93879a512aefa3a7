#include "simulated/scenario_reader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "diag/result_codes.h"

namespace kestrune::simulated {
namespace {

const std::filesystem::path sourceFolder = KESTRUNE_SOURCE_FOLDER;

std::string ErrorOf(const std::variant<Scenario, ScenarioError>& result) {
  const auto* error = std::get_if<ScenarioError>(&result);
  return error != nullptr ? error->text : "";
}

TEST(ScenarioReader, ReadsEveryKey) {
  const auto result = ParseScenario(
      "\xEF\xBB\xBF"
      R"({
    "seed": 7, "startEpoch": 1750000000,
    "cards": [{}, {
      "modelCode": 100, "serialNumber": "S", "cardModel": "M", "st2059": false, "bestMasterSfpSelection": 3,
      "warmUpSeconds": 2.5, "sfpNumbers": [2, 1, 5],
      "sfpA": {"present": false}, "sfpB": {"signal": false, "transmitError": true, "linkSpeed": 2,
        "path": {"delayNs": 10, "asymmetryNs": -2.5, "jitterNs": 3, "lossProbability": 0.5}},
      "genlock": {"state": 2, "source": 1, "frameRate": 9},
      "oscillator": {"frequencyErrorPpb": -3, "wanderPpb": 0}}],
    "network": {"grandmasters": [
      {"name": "one", "clockIdentity": "00-00-00-00-00-00-00-01"},
      {"name": "two", "clockIdentity": "08:00:11:ff:fe:21:00:02", "boundaryClock": "00-00-00-00-00-00-00-03",
       "address": "10.20.59.255", "priority1": 1, "clockClass": 7, "clockAccuracy": "0x22",
       "offsetScaledLogVariance": "0xFFFF", "priority2": 2, "stepsRemoved": 3, "timeSource": 160,
       "currentUtcOffset": -1, "twoStep": false, "timeErrorNs": -8, "present": false, "reachable": ["B"]}]},
    "timeline": [
      {"at": 1.5, "every": 10, "times": 3, "card": 1, "event": "genlock", "state": 5, "frameRate": 0},
      {"at": 2, "every": 5, "event": "transmit-error", "sfp": "B", "on": true},
      {"at": 3, "event": "grandmaster-change", "grandmaster": "two", "attributes": {"clockClass": 6}},
      {"at": 4, "card": 1, "event": "path-change", "sfp": "B", "path": {"jitterNs": 99}},
      {"at": 5, "event": "sfp-index", "sfp": "A", "value": 200, "count": 4},
      {"at": 6, "event": "port-state", "sfp": "A", "value": -1}],
    "faults": [
      {"operation": "NextSfp", "code": "ZV_E_END_OF_ENUM", "call": 2},
      {"operation": "UnregisterSfpIp", "code": "0x8000FFFF", "fromCall": 3, "from": 1, "until": 2.5}]
  })");
  ASSERT_EQ(ErrorOf(result), "");
  Scenario expected;
  expected.seed = 7;
  expected.startEpoch = 1'750'000'000;
  expected.cards.resize(2);
  Card& card = expected.cards[1];
  card = {.modelCode = 100,
          .serialNumber = "S",
          .cardModel = "M",
          .st2059 = false,
          .sfpNumbers = {2, 1, 5},
          .genlock = {.state = 2, .source = 1, .frameRate = 9},
          .bestMasterSfpSelection = 3,
          .oscillator = {.frequencyErrorPpb = -3, .wanderPpb = 0},
          .warmUpSeconds = 2.5};
  card.sfps[0].present = false;
  const Path path{.delayNs = 10, .asymmetryNs = -2.5, .jitterNs = 3, .lossProbability = 0.5};
  card.sfps[1] = {.signal = false, .transmitError = true, .linkSpeed = 2, .path = path};
  const Grandmaster two{.name = "two",
                        .clockIdentity = 0x080011FFFE210002,
                        .portClockIdentity = 3,
                        .ipv4 = {10, 20, 59, 255},
                        .priority1 = 1,
                        .clockClass = 7,
                        .clockAccuracy = 0x22,
                        .offsetScaledLogVariance = 0xFFFF,
                        .priority2 = 2,
                        .stepsRemoved = 3,
                        .timeSource = 160,
                        .currentUtcOffset = -1,
                        .reachable = {false, true},
                        .present = false,
                        .twoStep = false,
                        .timeErrorNs = -8};
  expected.grandmasters = {{.name = "one", .clockIdentity = 1}, two};
  Grandmaster better = two;
  better.clockClass = 6;
  Path noisier = path;
  noisier.jitterNs = 99;
  expected.events = {
      {.at = 1.5,
       .every = 10,
       .times = 3,
       .card = 1,
       .kind = EventKind::Genlock,
       .genlockState = 5,
       .genlockFrameRate = 0},
      {.at = 2, .every = 5, .times = 0, .kind = EventKind::TransmitError, .sfp = 1, .value = 1},
      {.at = 3, .kind = EventKind::GrandmasterChange, .grandmaster = 1, .grandmasterAttributes = better},
      {.at = 4, .card = 1, .kind = EventKind::PathChange, .sfp = 1, .path = noisier},
      {.at = 5, .kind = EventKind::SfpIndex, .value = 200, .count = 4},
      {.at = 6, .kind = EventKind::PortState, .value = -1}};
  expected.faults = {
      {.operation = kit::Operation::NextSfp, .code = ZV_E_END_OF_ENUM, .firstCall = 2, .lastCall = 2},
      {.operation = kit::Operation::UnregisterSfpIp,
       .code = static_cast<HRESULT>(0x8000FFFFU),
       .firstCall = 3,
       .from = 1,
       .until = 2.5}};

  const auto& scenario = std::get<Scenario>(result);
  EXPECT_EQ(scenario.seed, expected.seed);
  EXPECT_EQ(scenario.startEpoch, expected.startEpoch);
  EXPECT_TRUE(scenario.cards == expected.cards);
  EXPECT_TRUE(scenario.grandmasters == expected.grandmasters);
  EXPECT_TRUE(scenario.events == expected.events);
  EXPECT_TRUE(scenario.faults == expected.faults);
}

TEST(ScenarioReader, TellsWhereAndWhyAScenarioIsNoGood) {
  const struct {
    const char* text;
    const char* error;
  } rows[] = {
      {"", "1:1: not valid JSON: The document is empty."},
      {R"({"cards": [})", "1:12: not valid JSON: Invalid value."},
      {R"({"cards": []} x)", "1:15: not valid JSON: The document root must not be followed by other values."},
      {"{\"cards\": [\"\xC3\"]}", "1:13: not valid JSON: Invalid encoding in string."},
      {"{\"cards\": [], \"torn off\": \"\xEF", "1:28: not valid JSON: Invalid encoding in string."},
      {"[]", "1:1: must be an object"},
      {"{}", R"(1:1: key "cards" is missing)"},
      {R"({"cards": {}})", "1:11: /cards: must be an array"},
      {"{\n  \"cards\": [],\n  \"kards\": []\n}", R"(3:3: unknown key "kards")"},
      {"{\"cards\": [], \"ca\\nrds\": 1}", R"(1:15: unknown key "ca?rds")"},
      {R"({"seed": 1, "cards": [], "seed": 2})", R"(1:26: key "seed" stands twice)"},
      {R"({"seed": -1, "cards": []})", "1:10: /seed: must be a whole number from 0 to"},
      {R"({"seed": 99999999999999999999, "cards": []})", "1:10: /seed: must be a whole number"},
      {R"({"cards": [{}, {"modelCode": 1.5}]})",
       "1:30: /cards/1/modelCode: must be a whole number from 0 to 4294967295"},
      {R"({"cards": [{"modelCode": "0x1g"}]})", "/cards/0/modelCode: must be a whole number"},
      {R"({"cards": [{"serialNumber": ""}]})",
       "/cards/0/serialNumber: must have 1 to 31 printable ASCII characters"},
      {R"({"cards": [{"serialNumber": "12345678901234567890123456789012"}]})", "must have 1 to 31"},
      {R"({"cards": [{"st2059": 1}]})", "/cards/0/st2059: must be true or false"},
      {R"({"cards": [{"sfpA": {"path": {"lossProbability": 1.01}}}]})",
       "/cards/0/sfpA/path/lossProbability: must be a number from 0 to 1"},
      {R"({"cards": [], "network": {"grandmasters": [{"name": "a"}]}})",
       R"(1:44: /network/grandmasters/0: key "clockIdentity" is missing)"},
      {R"({"cards": [], "network": {"grandmasters": [{"name": "a", "clockIdentity": "00-11"}]}})",
       "/network/grandmasters/0/clockIdentity: must be a clock identity"},
      {R"({"cards": [], "network": {"grandmasters": [{"name": "a", )"
       R"("clockIdentity": "00-11-22-33-44-55-66-77", "address": "1.2.3.256"}]}})",
       "/network/grandmasters/0/address: must be an IPv4 address"},
      {R"({"cards": [{}], "timeline": [{"at": 1}]})",
       R"(/timeline/0: must be an object with the key "event")"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "event": "flood"}]})",
       R"(1:49: /timeline/0/event: no such event: "flood")"},
      {R"({"cards": [{}], "timeline": [{"event": "genlock"}]})", R"(/timeline/0: key "at" is missing)"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "event": "genlock", "sfp": "A"}]})",
       R"(/timeline/0: unknown key "sfp")"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "event": "fibre-pulled", "sfp": "C"}]})",
       R"(/timeline/0/sfp: no such SFP (A or B): "C")"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "card": 1, "event": "fibre-pulled", "sfp": "A"}]})",
       "/timeline/0/card: no such card: 1"},
      {R"({"cards": [], "timeline": [{"at": 1, "event": "path-change", "sfp": "A", "path": {}}]})",
       "/timeline/0: there is no card for the event"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "event": "grandmaster-lost", "grandmaster": "GM9"}]})",
       R"(/timeline/0/grandmaster: no such grandmaster: "GM9")"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "event": "grandmaster-change", )"
       R"("grandmaster": "GM9", "attributes": {}}]})",
       R"(/timeline/0/grandmaster: no such grandmaster: "GM9")"},
      {R"({"cards": [{}], "timeline": [{"at": 1, "times": 2, "event": "genlock"}]})",
       R"(/timeline/0: "times" needs "every")"},
      {R"({"cards": [], "faults": [{"operation": "Fly", "code": "ZV_E_FAIL"}]})",
       R"(/faults/0/operation: no such operation: "Fly")"},
      {R"({"cards": [], "faults": [{"operation": "NextCard", "code": "ZV_E_FOO"}]})",
       "/faults/0/code: must be the name of a result code"},
      {R"({"cards": [], "faults": [{"operation": "NextCard", "code": "0x123456789"}]})",
       "/faults/0/code: must be"},
      {R"({"cards": [], "faults": [{"operation": "NextCard", "code": "ZV_E_FAIL", "call": 1, "fromCall": 1}]})",
       R"(/faults/0: "call" and "fromCall" exclude each other)"},
      {R"({"cards": [], "faults": [{"operation": "NextCard", "code": "ZV_E_FAIL", "from": 5, "until": 5}]})",
       R"(/faults/0: "until" must be later than "from")"},
  };
  for (const auto& row : rows) {
    const std::string error = ErrorOf(ParseScenario(row.text));
    EXPECT_NE(error.find(row.error), std::string::npos)
        << row.text << "\n  gave    " << error << "\n  without " << row.error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << "more than one line";
  }
  EXPECT_NE(ErrorOf(ParseScenario(std::string(100'000, '['))).find("nested too deep"), std::string::npos);
  EXPECT_NE(ErrorOf(ParseScenario(std::string("{\"cards\": []}\0", 14))).find("1:14: "), std::string::npos);
  EXPECT_EQ(ErrorOf(ReadScenario("no/such/file.json")), "no/such/file.json: cannot be opened");
  const std::string folder = testing::TempDir();
  EXPECT_EQ(ErrorOf(ReadScenario(folder)), folder + ": is not a regular file");
  const std::string tooLong = folder + "too_long_scenario.json";
  std::ofstream(tooLong) << "{\"cards\": []}";
  std::filesystem::resize_file(tooLong, (16 << 20) + 1);
  EXPECT_EQ(ErrorOf(ReadScenario(tooLong)), tooLong + ": is longer than 16 MiB");
  std::filesystem::remove(tooLong);
}

TEST(ScenarioReader, ReadyScenariosLoad) {
  int count = 0;
  for (const auto& file :
       std::filesystem::directory_iterator(sourceFolder / "cards" / "simulated" / "scenarios")) {
    EXPECT_EQ(ErrorOf(ReadScenario(file.path().string())), "");
    ++count;
  }
  EXPECT_EQ(count, 8);
}

/// The JSON blocks of the documentation.
std::vector<std::string> DocumentedScenarios() {
  std::ifstream document(sourceFolder / "docs" / "simulated-card.md");
  std::vector<std::string> blocks;
  bool inside = false;
  for (std::string line; std::getline(document, line);) {
    if (line == "```json") {
      blocks.emplace_back();
      inside = true;
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      blocks.back() += line + "\n";
    }
  }
  return blocks;
}

TEST(ScenarioReader, DocumentedScenariosLoadAndShowEveryEvent) {
  std::set<EventKind> shown;
  for (const std::string& block : DocumentedScenarios()) {
    const auto result = ParseScenario(block);
    ASSERT_EQ(ErrorOf(result), "") << block;
    for (const Event& event : std::get<Scenario>(result).events) shown.insert(event.kind);
  }
  for (int kind = 0; kind <= static_cast<int>(EventKind::SfpIndex); ++kind) {
    EXPECT_TRUE(shown.contains(static_cast<EventKind>(kind))) << "no example of event kind " << kind;
  }
}

}  // namespace
}  // namespace kestrune::simulated
