#include "platform/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kestrune {
namespace {

using testing::EndsWith;

/// A console under the test's hand: it stalls and fails as told, and keeps what it took.
class TestConsole {
 public:
  TestConsole() : previous_(ReplaceConsoleSink([this](std::string_view text) { return Take(text); })) {}
  ~TestConsole() { ReplaceConsoleSink(std::move(previous_)); }
  TestConsole(const TestConsole&) = delete;
  TestConsole& operator=(const TestConsole&) = delete;

  void Stall(bool stalled) {
    const std::lock_guard lock(mutex_);
    stalled_ = stalled;
    changed_.notify_all();
  }
  void WaitUntilSomebodyWrites() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return writing_; });
  }
  void TakeAtMost(std::size_t size) {
    const std::lock_guard lock(mutex_);
    most_ = size;
  }
  std::vector<std::string> Writes() {
    const std::lock_guard lock(mutex_);
    return writes_;
  }

 private:
  std::size_t Take(std::string_view text) {
    std::unique_lock lock(mutex_);
    writing_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !stalled_; });
    writing_ = false;
    if (most_ > 0) writes_.emplace_back(text.substr(0, most_));
    return std::min(text.size(), most_);
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stalled_ = false, writing_ = false;
  std::size_t most_ = std::string::npos;
  std::vector<std::string> writes_;
  ConsoleSink previous_;
};

TEST(Console, NobodyWaitsForAStalledOneAndItsOldestLinesAreDropped) {
  constexpr std::size_t tooMany = 100;
  TestConsole console;
  {
    const ConsoleWriter writer;
    console.Stall(true);
    PrintToConsole("first\n");
    console.WaitUntilSomebodyWrites();
    for (std::size_t i = 0; i < consoleQueueLength + tooMany; ++i) PrintToConsole(std::to_string(i) + '\n');
    FinishConsole();
    EXPECT_TRUE(console.Writes().empty()) << "waits a while only";
    console.Stall(false);
  }
  const auto writes = console.Writes();
  ASSERT_EQ(writes.size(), 1 + 1 + consoleQueueLength);
  EXPECT_EQ(writes[0], "first\n");
  EXPECT_THAT(writes[1], EndsWith(": Lines dropped while the console took none: 100\n"));
  for (std::size_t i = 0; i < consoleQueueLength; ++i)
    ASSERT_EQ(writes[2 + i], std::to_string(tooMany + i) + '\n');
}

/// Each line is tried anew, with and without a writer; a torn one is ended.
TEST(Console, AFailedOneIsTriedAgain) {
  for (const bool queued : {false, true}) {
    TestConsole console;
    std::unique_ptr<ConsoleWriter> writer;
    if (queued) writer = std::make_unique<ConsoleWriter>();
    const auto print = [](const char* line) {
      PrintToConsole(line);
      FinishConsole();
    };
    print("alpha\n");
    console.TakeAtMost(0);
    print("beta\n");
    console.TakeAtMost(3);
    print("gamma\n");
    console.TakeAtMost(std::string::npos);
    print("delta\n");
    print("epsilon\n");
    writer.reset();
    std::string all;
    for (const std::string& text : console.Writes()) all += text;
    const auto notice = all.rfind("\n20");
    ASSERT_NE(notice, std::string::npos) << all;
    EXPECT_EQ(all.substr(0, notice), "alpha\n202") << "the notice of beta was torn";
    EXPECT_THAT(all, EndsWith(": Lines dropped while the console took none: 2\ndelta\nepsilon\n"));
  }
}

}  // namespace
}  // namespace kestrune
