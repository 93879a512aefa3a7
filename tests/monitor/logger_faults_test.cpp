// What a run leaves of its files when they can't be opened or written.

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>
#include <map>
#include <memory>

#include "monitor/logger.h"
#include "support/c_library.h"
#include "support/fake_card.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

using Files = std::map<std::string, std::string>;

struct Outcome {
  Files files;  ///< their bytes
  std::string console;
  std::map<std::string, std::vector<std::size_t>> writes;  ///< their sizes
};

void Notify(test::FakeCard& card) {
  EXPECT_EQ(card.monitorDataCallback->OnMonitorDataReady(), S_OK);
  EXPECT_EQ(card.genlockCallback->OnGenlockStatusChanged(&card.genlockStatus), S_OK);
  EXPECT_EQ(card.st2059Callback->OnSt2059StatusChanged(&card.st2059Status), S_OK);
  EXPECT_EQ(card.sfpIpCallbacks[1]->OnSfpIpStatusChanged(card.SfpIp(1), &card.sfpIpStatuses[1]), S_OK);
}

/// A short run with a bit of everything.
void ShortRun(const std::string& folder) {
  test::FakeCard fake;
  std::uint8_t records = 0;
  fake.monitorData = [&](MonitorDataBatch& batch) {
    for (auto& record : batch.records) record.sfp = records++ % 2;
    batch.count = 3;
  };
  TZvSmartPtr<IZvCardConfiguration> card;
  card = fake.Interface();
  Logger logger;
  logger.Init(card, "", folder);
  Notify(fake);
  for (std::uint32_t sfp = 0; sfp < 2; ++sfp) {
    const auto results = logger.TakePeriodResults(Logger::Period::FifteenMinutes, sfp);
    logger.WritePeriodTestResults(results, 15, sfp, 1'772'436'321);
  }
  Notify(fake);
}

Files ReadFiles(const std::filesystem::path& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files[entry.path().filename()] = test::ReadText(entry.path());
  }
  return files;
}

Outcome RunWith(const decltype(test::CLibrary::onWrite)& onWrite) {
  const test::TemporaryFolder folder;
  const test::ConsoleCapture console;
  Outcome outcome;
  {
    test::CLibrary library(folder.Name());
    library.onWrite = onWrite;
    ShortRun(folder.Name());
    outcome.writes = library.writes;
  }
  outcome.files = ReadFiles(folder.Path());
  outcome.console = console.Text();
  return outcome;
}

/// Every write of a run fails in its turn: once or for good, with none or half of its bytes written. Only its
/// own file shows it: nothing follows there until the file is closed, when what failed is written once more.
/// Not so the periods' header, which is too long to wait in the stream's buffer.
TEST(LoggerFaults, AFailedWriteEndsItsFileAndNothingElse) {
  const Outcome whole = RunWith({});
  ASSERT_EQ(whole.writes.size(), 3U);
  for (const auto& writes : whole.writes) {
    const auto& file = writes.first;
    const auto& sizes = writes.second;
    std::size_t start = 0;
    for (std::size_t n = 1; n <= sizes.size(); start += sizes[n - 1], ++n) {
      const std::string unit = whole.files.at(file).substr(start, sizes[n - 1]);
      EXPECT_TRUE(file != "ptpLog_raw_data" || unit.size() == sizeof(RawDataUnit));
      EXPECT_TRUE(file != "ptpLog_event_log.txt" || (unit.starts_with("{\n") && unit.ends_with("\n}\n")));
      for (const bool forGood : {false, true}) {
        for (const bool half : {false, true}) {
          SCOPED_TRACE(file + ", write " + std::to_string(n) + (half ? ", half" : "") +
                       (forGood ? ", for good" : ", once"));
          const std::size_t failing = half ? n + 1 : n;
          const Outcome outcome = RunWith([&](const std::string& name, std::size_t call, std::size_t size) {
            if (name == file && (call == failing || (forGood && call > failing))) {
              return ssize_t{forGood ? -ENOSPC : -EIO};
            }
            return static_cast<ssize_t>(name == file && half && call == n ? size / 2 : size);
          });
          Files expected = whole.files;
          expected[file].resize(start);
          if (half) expected[file] += unit.substr(0, unit.size() / 2);
          if (!forGood && !unit.starts_with("Legend")) expected[file] += unit;
          EXPECT_EQ(outcome.files, expected);
          EXPECT_EQ(outcome.console, whole.console);
        }
      }
    }
  }
}

/// A write that takes half of its bytes and then the rest is none that failed.
TEST(LoggerFaults, WritesThatAreCutInHalvesLoseNothing) {
  const Outcome halves = RunWith(
      [](const std::string&, std::size_t, std::size_t size) { return static_cast<ssize_t>((size + 1) / 2); });
  const Outcome whole = RunWith({});
  EXPECT_EQ(halves.files, whole.files);
  EXPECT_GT(halves.writes.at("ptpLog_raw_data").size(), 2 * whole.writes.at("ptpLog_raw_data").size());
}

TEST(LoggerFaultsDeathTest, AFileThatCannotBeOpenedEndsTheProcess) {
  for (std::size_t n = 1; n <= 3; ++n) {
    for (const bool forGood : {false, true}) {
      const test::TemporaryFolder folder;
      const auto run = [&] {
        std::cout.rdbuf(std::cerr.rdbuf());
        test::CLibrary library(folder.Name());
        library.onOpen = [&](std::size_t call) { return call < n || (call > n && !forGood); };
        ShortRun(folder.Name());
      };
      EXPECT_EXIT(run(), testing::ExitedWithCode(255),
                  "Could not configure log files. Log path may be invalid : ZV_E_FAIL: Generic error.\n$");
      EXPECT_EQ(ReadFiles(folder.Path()).size(), forGood ? n - 1 : 2U);
    }
  }
}

}  // namespace
}  // namespace kestrune
