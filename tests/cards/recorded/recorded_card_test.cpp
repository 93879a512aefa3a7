#include "recorded/recorded_card.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "diag/result_codes.h"
#include "recorded/recorded_system.h"

namespace kestrune::recorded {
namespace {

constexpr std::int64_t start = 1'750'000'000;

RawDataUnit Unit(std::int64_t epochTime, std::uint8_t sfp, std::int32_t state = 10) {
  RawDataUnit unit{};
  unit.epochTime = epochTime;
  unit.record.sfp = sfp;
  unit.record.state = state;
  unit.record.bestMasterClockId[7] = 5;
  unit.record.linkReceiveRate = 1;
  return unit;
}

std::string Document(std::int64_t epoch, const std::string& type, const std::string& members = "") {
  return "{\n    \"Time\": \"2026-01-01 00:00:00\",\n    \"Epoch time\": " + std::to_string(epoch) +
         ",\n    \"Event log type\": \"" + type + "\"" + members + "\n}\n";
}

std::string Genlock(std::int64_t epoch, const std::string& state) {
  return Document(epoch, "genlock status", ",\n    \"Genlock state\": \"" + state + "\"");
}

std::string SfpIp(std::int64_t epoch, const std::string& signal) {
  return Document(
      epoch, "SFP IP status",
      ",\n    \"SFP\": \"SFP B\",\n    \"Module present\": \"true\",\n    \"Signal present\": \"" + signal +
          "\",\n    \"Transmit error\": \"false\"");
}

/// A folder for the files of a recording, and the card that plays them back.
class Recording : public testing::Test {
 protected:
  Recording() { std::filesystem::create_directories(folder_); }
  ~Recording() override {
    system_ = {};
    std::filesystem::remove_all(folder_);
  }

  kit::Card& Play(const std::vector<RawDataUnit>& units, const std::string& log = "", bool loop = false) {
    system_ = {};
    std::ofstream(raw_, std::ios::binary)
        .write(reinterpret_cast<const char*>(units.data()),
               static_cast<std::streamsize>(units.size() * sizeof(RawDataUnit)));
    if (!log.empty()) std::ofstream(folder_ / "studio_event_log.txt", std::ios::binary) << log;
    system_ = std::get<kit::System>(MakeRecordedSystem(raw_.string(), "", loop));
    system_.cards[0]->Wake(0);
    return *system_.cards[0];
  }

  /// What is told up to a second of the card: seconds of records by their SFPs, and of changes.
  std::string Tell(std::int64_t until) {
    std::string told;
    kit::Card& card = *system_.cards[0];
    for (std::int64_t second = card.Now() + 1; card.Now() < until; second = card.Now() + 1) {
      const kit::Card::Step step = card.Advance();
      std::string what;
      if (step.genlockChanged) what += "G" + std::to_string(card.ReadGenlockStatus().state);
      if (step.st2059Changed) what += "P" + std::to_string(card.ReadSt2059Status().state);
      if (step.sfpIpChanged[0]) what += "A" + std::to_string(card.ReadSfpIpStatus(0).modulePresent);
      if (step.sfpIpChanged[1]) what += "B" + std::to_string(card.ReadSfpIpStatus(1).signalPresent);
      for (const TelemetryRecord& record : step.telemetry) what += record.sfp == 0 ? "a" : "b";
      if (!what.empty()) told += std::to_string(second) + what + " ";
    }
    return told;
  }

  const std::filesystem::path folder_ = std::filesystem::path(testing::TempDir()) / "kestrune_recording";
  const std::filesystem::path raw_ = folder_ / "studio_raw_data";
  kit::System system_;
};

TEST_F(Recording, IsRefusedWithALine) {
  const auto refuse = [&](const std::string& content) {
    std::ofstream(raw_, std::ios::binary) << content;
    return std::get<RecordingError>(MakeRecordedSystem(raw_.string(), "", false));
  };
  EXPECT_EQ(refuse("").text, raw_.string() + ": holds no record");
  EXPECT_EQ(refuse(std::string(1023, '\0')).code, ZV_E_CORRUPT_FILE);
  EXPECT_EQ(refuse(std::string(2048, '\0')).code, ZV_E_INVALID_FILE_FORMAT) << "no time";
  EXPECT_EQ(refuse(std::string(2048, ' ')).text, raw_.string() + ": is not a raw data file");
  const auto codeOf = [](const auto& made) { return std::get<RecordingError>(made).code; };
  EXPECT_EQ(codeOf(MakeRecordedSystem(folder_.string(), "", false)), ZV_E_FAILED_TO_OPEN_FILE);
  EXPECT_EQ(codeOf(MakeRecordedSystem((folder_ / "none").string(), "", false)), ZV_E_FILE_NOT_FOUND);
  Play({Unit(start, 0)});
  EXPECT_EQ(codeOf(MakeRecordedSystem(raw_.string(), (folder_ / "none").string(), false)),
            ZV_E_FAILED_TO_OPEN_FILE);
  EXPECT_EQ(system_.cards[0]->Description().serialNumber, "studio");
}

TEST_F(Recording, KeepsItsPaceThroughGapsAndASetBackClock) {
  Play({Unit(start, 0), Unit(start, 1), Unit(start + 4, 0), Unit(start - 100, 1), Unit(0, 0),
        Unit(start - 98, 1), Unit(start + 1'000'000, 9)});
  EXPECT_EQ(Tell(10), "1ab 5aba 7b ");
  EXPECT_EQ(Tell(1'000'104), "");
  EXPECT_EQ(Tell(1'000'105), "1000105b ");
  EXPECT_EQ(Tell(1'000'200), "") << "the end";

  Play({Unit(start, 0), Unit(start + 2, 0)}, "", true);
  EXPECT_EQ(Tell(8), "1a 3a 4a 6a 7a ");
  Play(std::vector(3000, Unit(start, 0)));
  EXPECT_EQ(Tell(9).size(), 3000 + std::string("1 2 3 ").size()) << "no more at once than can be fetched";
}

TEST_F(Recording, WithoutALogTellsWhatTheRecordsShow) {
  std::vector<RawDataUnit> units;
  for (std::int64_t second = 0; second < 30; ++second) {
    units.push_back(Unit(start + second, 0, second < 5 ? 10 : 8));
    if (second < 12) units.push_back(Unit(start + second, 1, second < 3 ? 8 : 9));
  }
  units[14].record.linkReceiveRate = 0;  // SFP A in the eighth second
  // A log that is empty, or breaks off, tells no more than none.
  const std::string brokenOff = Genlock(start - 1, "locked") + Document(start - 1, "start of monitoring");
  for (const std::string& log : {std::string(), std::string("\n"), brokenOff}) {
    kit::Card& card = Play(units, log);
    EXPECT_EQ(card.ReadSt2059Status().bestMasterSfp, 1);
    EXPECT_EQ(card.ReadSt2059SfpStatus(1).state, 8);
    EXPECT_EQ(card.ReadSt2059Status().bestMasterClockId, 5U);
    std::string told = Tell(30);
    std::erase_if(told, [](char c) { return c == 'a' || c == 'b'; });
    EXPECT_EQ(told,
              "1 2 3 4P10 5 6P9 7 8A1 9A1 10 11 12 13 14 15 16 17 18 19 20 21 22B0 23 24 25 26 27 28 29 30 ");
    EXPECT_EQ(card.ReadSfpIpStatus(1).modulePresent, 0) << "no more records of it";
  }
  kit::Card& card = Play(units, brokenOff + Document(start + 29, "end of monitoring"));
  Tell(10);
  EXPECT_EQ(card.ReadSt2059SfpStatus(0).state, 8) << "what no document holds follows the records";
}

TEST_F(Recording, TellsTheLogsChangesAtTheirTimes) {
  std::vector<RawDataUnit> units;
  for (std::int64_t second = 0; second < 40; ++second) units.push_back(Unit(start + second, 0));
  const std::string settings =
      ",\n    \"Genlock source\": \"internal\",\n    \"Genlock resolution frame rate\": \"invalid\"";
  const std::string log =
      // A run whose records are gone, and the begin of the one that was recorded.
      Genlock(start - 500, "unlocked") + Document(start - 500, "start of monitoring") +
      Genlock(start - 400, "recovering") + Genlock(start - 1, "locked") + SfpIp(start - 1, "true") +
      Document(start - 1, "start of monitoring") + Genlock(start - 1, "relocking") +
      // Changes: one with its settings behind another's document, one damaged, one torn off in its line.
      Genlock(start + 3, "locked") + SfpIp(start + 3, "false") +
      Document(start + 3, "genlock settings", settings) + Genlock(start + 5, "no such state") +
      Genlock(start + 6, "unlocked") + "{\n    \"Time\": \"2026-01-01 00:00:00\",\n    \"Epo" +
      // The next run, after a crash: its begin changes the signal alone.
      Genlock(start + 10, "unlocked") + SfpIp(start + 10, "true") +
      Document(start + 10, "start of monitoring") + Document(start + 20, "end of monitoring") +
      // And one after an end.
      Genlock(start + 30, "recovering") + SfpIp(start + 30, "true") +
      Document(start + 31, "start of monitoring") + Genlock(start + 33, "recovering");
  testing::internal::CaptureStderr();
  kit::Card& card = Play(units, log);
  EXPECT_EQ(card.ReadGenlockStatus().state, 1U);
  EXPECT_EQ(card.ReadSfpIpStatus(1).signalPresent, 1);
  EXPECT_EQ(card.ReadSt2059Status().state, 10) << "what the log doesn't hold comes from the record";
  std::string told = Tell(4);
  EXPECT_EQ(card.ReadGenlockSettings().source, 1U);
  EXPECT_EQ(card.ReadGenlockSettings().resolutionFrameRate, 9U);
  told += Tell(40);
  std::erase_if(told, [](char c) { return c == 'a'; });
  EXPECT_EQ(
      told,
      "1G5 1 2 3 4G1 4B0 4 5 6 7G2 7 8 9 10 11B1 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 "
      "31 32G4 32 33 34G4 34 35 36 37 38 39 40 ");
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::ranges::count(errors, '\n'), 2) << errors;
}

}  // namespace
}  // namespace kestrune::recorded
