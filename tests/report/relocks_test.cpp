#include "report/relocks.h"

#include <gtest/gtest.h>

#include <string>

#include "report/excursions.h"

namespace kestrune::report {
namespace {

/// A script of seconds, a character each: A, B locked to a grandmaster; a, b messages of one, unlocked; .
/// silence; x silence with the link down, y messages all the same; _ 100 seconds without a record.
std::vector<Relock> Follow(const std::string& script) {
  RelockTracker tracker(0);
  std::int64_t time = 0;
  for (const char c : script) {
    time += c == '_' ? 100 : 1;
    if (c == '_') continue;
    const bool silent = c == '.' || c == 'x';
    const bool second = c == 'B' || c == 'b';
    tracker.Add({time - 1, c == 'A' || c == 'B', c != 'x' && c != 'y', second ? 2 : 1, second ? 20U : 10U,
                 silent ? 0U : 8U, second ? 300.0 : 5.0});
  }
  tracker.EndRun();
  return tracker.All();
}

TEST(RelockTracker, KnowsLastMessageStartAndLock) {
  struct {
    const char* script;
    std::int64_t lastMessage, detected, start, locked;
    bool changed, linkWasDown;
  } const rows[] = {
      {"AAA...bbB", 2, 3, 2, 8, true, false},        // the old master died
      {"AAA...aaA", 2, 3, 2, 8, false, false},       // and came back
      {"AAAaaaA", 5, 3, 3, 6, false, false},         // lost though it never fell silent
      {"AAABB", 2, 3, 2, 3, true, false},            // handed over without a loss of lock
      {"AAAxxxxaaA", 2, 3, 7, 9, false, true},       // from the first message behind the outage
      {"AAAxxA", 2, 3, 5, 5, false, true},           // locked with the first message
      {"AAAyxxyaaA", 2, 3, 7, 9, false, true},       // documents tell when it was over
      {"AAA_aaaA", 2, 103, 103, 106, false, false},  // nobody knows what happened in the hole
      {"AAA._.aaA", 2, 3, 105, 107, false, false},  {"AAAaaaa", 6, 3, 3, -1, false, false},  // never again
  };
  for (const auto& row : rows) {
    const auto relocks = Follow(row.script);
    ASSERT_EQ(relocks.size(), 1U) << row.script;
    const Relock& relock = relocks.front();
    EXPECT_EQ(relock.lastMessage, row.lastMessage) << row.script;
    EXPECT_EQ(relock.detected, row.detected) << row.script;
    EXPECT_EQ(relock.start, row.start) << row.script;
    EXPECT_EQ(relock.locked, row.locked) << row.script;
    EXPECT_EQ(relock.end, row.locked < 0 ? 7 : row.locked) << row.script;
    EXPECT_EQ(relock.grandmasterChanged, row.changed) << row.script;
    EXPECT_EQ(relock.linkWasDown, row.linkWasDown) << row.script;
    EXPECT_EQ(relock.stepMeasured && row.changed ? relock.step : 295, 295) << row.script;
  }
  EXPECT_TRUE(Follow("..aaA").empty()) << "the first lock isn't one";
  EXPECT_EQ(Follow("AABBAA.A").size(), 3U);
}

TEST(Excursions, StayFewAndKeepTheWorst) {
  Excursions excursions(2);
  for (std::int64_t i = 0; i < 1'000'000; ++i) excursions.Add(i * 10, 1, i == 777'777 ? -900 : 500);
  EXPECT_LE(excursions.All().size(), Excursions::limit);
  double worst = 0;
  std::int64_t worstAt = 0;
  std::int64_t seconds = 0;
  for (const Excursion& excursion : excursions.All()) {
    seconds += excursion.seconds;
    if (excursion.worst < worst) worst = excursion.worst;
    if (excursion.worst == -900) worstAt = excursion.worstAt;
  }
  EXPECT_EQ(worst, -900);
  EXPECT_EQ(worstAt, 7'777'770);
  EXPECT_EQ(seconds, 1'000'000);
}

}  // namespace
}  // namespace kestrune::report
