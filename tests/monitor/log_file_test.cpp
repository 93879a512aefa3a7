// What a run leaves of its files when they are torn, taken, or can't be written for a while. The limit on a
// file's size makes the writes fail that a full disk would.

#include "monitor/log_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <memory>

#include "monitor/logger.h"
#include "support/scripted_card.h"
#include "support/test_run.h"

namespace {

std::size_t mostAtOnce = SIZE_MAX;

}  // namespace

/// In place of the C library's: takes no more at once than the test says.
extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
  return syscall(SYS_write, file, bytes, std::min(size, mostAtOnce));
}

namespace kestrune {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::StartsWith;

class LogFileTest : public testing::Test {
 protected:
  LogFileTest() {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &unlimited_);
  }
  ~LogFileTest() override { Limit(RLIM_INFINITY); }

  /// From now on no file grows beyond `size` bytes.
  void Limit(rlim_t size) {
    rlimit limit = unlimited_;
    limit.rlim_cur = std::min(size, unlimited_.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
  }

  std::string Write(const std::string& name, const std::string& text) {
    const auto path = folder_.Path() / name;
    std::ofstream(path, std::ios::binary) << text;
    return path.string();
  }

  test::ConsoleCapture console_;
  test::TemporaryFolder folder_;
  rlimit unlimited_{};
};

constexpr char begins[] = ": Could not write the test file : ZV_E_FILEACCESS_WRITE_FAILED: ";
constexpr char ends[] = ": The test file is written again. Things lost: ";

/// Five pieces, of which some from the third on meet the limit, whole or with some of their bytes; on a file
/// that can be cut short again and on one that can't. Twice, so that a failure leaves nothing behind.
TEST_F(LogFileTest, AFailureCostsItsOwnPieces) {
  const std::string pieces[] = {"alpha\n", "beta\n", "gamma\n", "delta\n", "epsilon\n"};
  for (const bool sealed : {false, true}) {
    for (std::size_t failures = 1; failures <= 3; ++failures) {
      for (const std::size_t taken : {0U, 1U, 4U}) {
        SCOPED_TRACE(testing::Message()
                     << sealed << ", " << failures << " failures, " << taken << " bytes taken");
        const int memory = memfd_create("log", MFD_ALLOW_SEALING);
        ASSERT_EQ(fcntl(memory, F_ADD_SEALS, sealed ? F_SEAL_SHRINK : 0), 0);
        const std::string name = "/proc/self/fd/" + std::to_string(memory);
        const test::ConsoleCapture console;
        std::string expected;
        {
          LogFile file("test", "Things");
          ASSERT_TRUE(file.OpenText(name));
          for (const std::size_t takenNow : {taken, std::size_t{0}}) {
            for (std::size_t i = 0; i < std::size(pieces); ++i) {
              const bool fails = i >= 2 && i < 2 + failures;
              if (i == 2) Limit(expected.size() + takenNow);
              if (i == 2 + failures) Limit(RLIM_INFINITY);
              file.Append(pieces[i]);
              // What can't be taken back is completed.
              if (!fails || (i == 2 && sealed && takenNow > 0)) expected += pieces[i];
            }
            Limit(RLIM_INFINITY);
            if (failures == 3) {
              file.Append("zeta\n");
              expected += "zeta\n";
            }
          }
          Limit(expected.size());
          file.Append("lost\n");
          file.Close();
          Limit(RLIM_INFINITY);
        }
        EXPECT_EQ(test::ReadText(name), expected);
        const std::string first = std::to_string(failures - (sealed && taken > 0)) + " : ZV_NOERROR";
        const std::string second = std::to_string(failures) + " : ZV_NOERROR";
        EXPECT_THAT(
            console.LinesWithoutTime(),
            ElementsAre(StartsWith(begins), StartsWith(ends + first), StartsWith(begins),
                        StartsWith(ends + second), StartsWith(begins),
                        StartsWith(": The test file was not written to its end. Things lost: 1 : ZV_E_")));
        close(memory);
      }
    }
  }
}

TEST_F(LogFileTest, WhatIsTakenPieceByPieceIsWhole) {
  const std::string name = Write("short", "");
  LogFile file("test", "Things");
  ASSERT_TRUE(file.OpenText(name));
  mostAtOnce = 4;
  file.Append("alpha\nbeta\n");
  mostAtOnce = SIZE_MAX;
  EXPECT_EQ(test::ReadText(name), "alpha\nbeta\n");
  EXPECT_EQ(console_.Text(), "");
}

TEST_F(LogFileTest, WhatACrashHasTornIsCompletedAndNothingCutOff) {
  const struct {
    std::size_t size, completed;
  } units[] = {{0, 0}, {1, 1024}, {1023, 1024}, {1024, 1024}, {1025, 2048}};
  for (const auto& row : units) {
    const std::string name = Write("units", std::string(row.size, 'x'));
    LogFile file("test", "Things");
    ASSERT_TRUE(file.OpenUnits(name, 1024));
    file.Append(std::string(1024, 'y'));
    EXPECT_EQ(test::ReadText(name), std::string(row.size, 'x') + std::string(row.completed - row.size, '\0') +
                                        std::string(1024, 'y'));
  }
  for (const std::string text : {"", "{}\n", "{", "{}\n\n", "\n{\"a\":"}) {
    const std::string name = Write("text", text);
    LogFile file("test", "Things");
    ASSERT_TRUE(file.OpenText(name));
    file.Append("{}\n");
    EXPECT_EQ(test::ReadText(name), text + (text.empty() || text.ends_with('\n') ? "" : "\n") + "{}\n");
  }
  const std::string name = Write("full", "torn");
  Limit(5);
  LogFile file("test", "Things");
  ASSERT_TRUE(file.OpenUnits(name, 8));
  Limit(RLIM_INFINITY);
  file.Append("12345678");
  EXPECT_EQ(test::ReadText(name), std::string("torn\0\0\0\0", 8) + "12345678")
      << "completed as soon as there is room";
}

TEST_F(LogFileTest, OneAtATimeAndRegularFilesOnly) {
  const std::string name = Write("file", "");
  {
    LogFile first("test", "Things"), second("test", "Things");
    ASSERT_TRUE(first.OpenText(name));
    EXPECT_FALSE(second.OpenText(name));
    second.Append("lost");
    EXPECT_EQ(std::ifstream(name).peek(), std::ifstream::traits_type::eof()) << "readers are not kept out";
  }
  const std::string fifo = (folder_.Path() / "fifo").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
  LogFile file("test", "Things");
  for (const std::string& other : {fifo, folder_.Name(), std::string("/dev/null"), name + "/below"}) {
    EXPECT_FALSE(file.OpenText(other)) << other;
  }
  EXPECT_TRUE(file.OpenText(name)) << "the lock went with its holder";
}

/// A run of everything that is written, with a limit at every place of its files until its middle: whatever
/// fails, what is there is whole, what is missing is told, and the card services don't notice.
TEST_F(LogFileTest, ARunMissesOnlyWhatItSays) {
  for (rlim_t limit = 0; limit < 10'000; limit += 97) {
    SCOPED_TRACE(limit);
    const test::TemporaryFolder folder;
    test::ConsoleCapture console;
    test::ScriptedCard scripted;
    scripted.monitorData = [](MonitorDataBatch& batch) { batch.count = 3; };
    TZvSmartPtr<IZvCardConfiguration> card;
    card = scripted.Interface();
    {
      Logger logger;
      Limit(limit);
      logger.Init(card, "", folder.Name());
      for (int turn = 0; turn < 4; ++turn) {
        if (turn == 2) Limit(RLIM_INFINITY);
        scripted.TellMonitorData();
        scripted.TellGenlock();
        scripted.TellSt2059();
        logger.WritePeriodTestResults({}, 15, 0, 1'772'436'321);
      }
    }
    std::size_t lostRecords = 0, lostDocuments = 0, lostLines = 0;
    for (const std::string& line : console.LinesWithoutTime()) {
      const auto lost = [&](const char* things) {
        const auto at = line.find(things);
        return at == std::string::npos ? 0 : std::stoul(line.substr(at + std::string(things).size()));
      };
      lostRecords += lost("Records lost: ");
      lostDocuments += lost("Documents lost: ");
      lostLines += lost("Lines lost: ");
    }
    EXPECT_EQ(test::ReadRawData(folder.Path() / "ptpLog_raw_data").size() + lostRecords, 4U * 3);
    const auto events = test::ReadEventTypes(folder.Path() / "ptpLog_event_log.txt");
    EXPECT_EQ(events.size() + lostDocuments, 7U + 4 * 4 + 1);
    EXPECT_EQ(events.back(), "end of monitoring");
    const auto lines = test::ReadLines(folder.Path() / "ptpLog_period_test_results.txt");
    EXPECT_THAT(lines.size(), AnyOf(8 + 4 - lostLines, 4 - (lostLines - 1)))
        << "the eight of the header are one piece";
    EXPECT_EQ(lostRecords + lostDocuments + lostLines == 0, limit >= 6 * 1024);
  }
}

}  // namespace
}  // namespace kestrune
