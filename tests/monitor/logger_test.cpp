#include "monitor/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <thread>

#include "support/fake_card.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

using test::FakeCard;
using testing::ElementsAre;
using testing::ElementsAreArray;

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    card_.genlockStatus.state = 1;
    card_.genlockSettings.source = 128;
    card_.genlockSettings.resolutionFrameRate = 8;
    card_.st2059Status.state = 10;
    card_.st2059Status.bestMasterSfp = 1;
    card_.st2059Settings.bestMasterSfpSelection = 1;
    for (auto& status : card_.st2059SfpStatuses) status.state = 10;
  }

  void Start() {
    logger_ = std::make_unique<Logger>();
    TZvSmartPtr<IZvCardConfiguration> card;
    card = card_.Interface();
    logger_->Init(card, "", folder_.Name());
  }
  void Stop() { logger_.reset(); }

  std::filesystem::path RawData() const { return folder_.Path() / "ptpLog_raw_data"; }
  std::filesystem::path EventLog() const { return folder_.Path() / "ptpLog_event_log.txt"; }
  std::filesystem::path PeriodTestResults() const {
    return folder_.Path() / "ptpLog_period_test_results.txt";
  }

  /// Delivers one batch of records of the given SFP indices, each with 8 syncs.
  void Deliver(std::vector<std::uint8_t> sfps, std::uint32_t count) {
    card_.monitorData = [=](MonitorDataBatch& batch) {
      for (std::size_t i = 0; i < sfps.size(); ++i) {
        batch.records[i].sfp = sfps[i];
        batch.records[i].performanceMonitoring.numberOfSyncSinceLastTelemetry = 8;
        batch.records[i].linkReceivePacketErrors = i;
      }
      batch.count = count;
    };
    EXPECT_EQ(card_.monitorDataCallback->OnMonitorDataReady(), S_OK);
  }

  std::int32_t Syncs(Logger::Period period, std::size_t sfp) {
    return logger_->TakePeriodResults(period, sfp).syncGroup.count;
  }

  test::ConsoleCapture console_;
  test::TemporaryFolder folder_;
  FakeCard card_;
  std::unique_ptr<Logger> logger_;
};

/// What a run logs at its start, by the log that the program must leave of the card in C.
const std::vector<std::string> initialEvents = [] {
  auto types = test::ReadEventTypes(std::filesystem::path(KESTRUNE_TESTS_FOLDER) / "program/event_log.txt");
  types.erase(std::ranges::find(types, "start of monitoring") + 1, types.end());
  return types;
}();

TEST_F(LoggerTest, SetsUpAndTearsDownInOrder) {
  card_.sfpNumbers = {3, 2, 1, 2};
  Start();
  EXPECT_THAT(
      card_.Calls(),
      ElementsAre("Card.QueryInterface", "Card.GetGenlockConfiguration", "Genlock.GetNotification",
                  "Genlock.Register", "Card.GetSmpte2059", "Smpte2059.Register", "Card.CreateSfpIpEnumerator",
                  "SfpIpEnumerator.Next", "SfpIpEnumerator.Next", "SfpIpEnumerator.Next", "SfpIpA.Register",
                  "SfpIpB.Register", "Smpte2059.GetSfp", "Smpte2059.GetSfp", "Genlock.GetStatus",
                  "Genlock.GetSettings", "Smpte2059.GetStatus", "Smpte2059.GetSettings",
                  "Smpte2059SfpA.GetStatus", "Smpte2059SfpB.GetStatus", "SfpIpA.GetStatus",
                  "SfpIpB.GetStatus", "Card.RegisterMonitorData"));
  card_.ForgetCalls();
  Stop();
  EXPECT_THAT(card_.Calls(), ElementsAre("Card.UnregisterMonitorData", "Genlock.Unregister",
                                         "Smpte2059.Unregister", "SfpIpA.Unregister"));
  EXPECT_EQ(card_.References(), 0U);
  EXPECT_EQ(CZvUnknown::LiveObjects(), 0) << "SFP B's callback goes with its interface";

  auto events = initialEvents;
  events.emplace_back("end of monitoring");
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_THAT(console_.LinesWithoutTime(),
              ElementsAre(": Starting ST2059 monitoring.", ": Ending ST2059 monitoring."));
  const auto lines = test::ReadLines(PeriodTestResults());
  ASSERT_EQ(lines.size(), 8U);
  EXPECT_EQ(lines[0].substr(19), ": start of test run.");
  EXPECT_EQ(lines[6], "");
}

TEST_F(LoggerTest, SecondRunAppends) {
  Start();
  Deliver({0}, 1);
  Stop();
  Start();
  Deliver({1, 0}, 2);
  Stop();
  EXPECT_EQ(test::ReadRawData(RawData()).size(), 3U);
  EXPECT_EQ(test::ReadEventTypes(EventLog()).size(), 2 * (initialEvents.size() + 1));
  EXPECT_EQ(test::ReadLines(PeriodTestResults()).size(), 16U);
}

TEST_F(LoggerTest, StoresEveryRecordAndCountsThoseOfKnownSfps) {
  Start();
  Deliver({0, 1, 2, 1}, 4);
  Deliver({}, 0);
  Deliver({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 4'000'000'000);

  const auto units = test::ReadRawData(RawData());
  ASSERT_EQ(units.size(), 16U) << "no batch holds more than twelve";
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(units[i].epochTime, units[0].epochTime);
    EXPECT_EQ(units[i].record.linkReceivePacketErrors, i);
  }
  EXPECT_EQ(units[2].record.sfp, 2);
  EXPECT_THAT(
      console_.LinesWithoutTime(),
      ElementsAre(
          ": Starting ST2059 monitoring.",
          ": Request to analyze performance data has an invalid SFP index : ZV_E_INVALID_PARAMETER: One "
          "of the method parameter is invalid."));

  EXPECT_EQ(Syncs(Logger::Period::FifteenMinutes, 0), 8 * 13);
  EXPECT_EQ(Syncs(Logger::Period::FifteenMinutes, 0), 0) << "the next period has begun";
  EXPECT_EQ(Syncs(Logger::Period::FifteenMinutes, 1), 8 * 2);
  EXPECT_EQ(Syncs(Logger::Period::Day, 0), 8 * 13);
  EXPECT_EQ(Syncs(Logger::Period::Day, 1), 8 * 2);
}

/// What one notification leaves on the console and in the event log, whatever size the card writes into
/// records.
TEST_F(LoggerTest, NotificationsAreLoggedAndAnnounced) {
  card_.genlockStatus.size = card_.genlockSettings.size = 0;
  card_.st2059Status.size = card_.st2059Settings.size = 0xFFFFFFFF;
  for (auto& status : card_.st2059SfpStatuses) status.size = 1;
  for (auto& status : card_.sfpIpStatuses) status.size = 1'000'000;
  Start();
  auto events = initialEvents;

  card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus);
  events.emplace_back("genlock status");

  card_.genlockSettings.resolutionFrameRate = 3;
  card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus);
  events.insert(events.end(), {"genlock status", "genlock settings"});

  card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status);
  events.insert(events.end(), {"ST2059 status/settings", "SFP ST2059 telemetry", "SFP ST2059 telemetry"});

  card_.sfpIpCallbacks[1]->OnSfpIpStatusChanged(card_.SfpIp(1), &card_.sfpIpStatuses[1]);
  events.emplace_back("SFP IP status");

  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_STREQ(test::ReadEvents(EventLog()).back()["SFP"].GetString(), "SFP B");
  EXPECT_THAT(console_.LinesWithoutTime(),
              ElementsAre(": Starting ST2059 monitoring.", ": Genlock status has changed",
                          ": Genlock settings have changed", ": Genlock status has changed",
                          ": ST 2059 status has changed", ": SFP IP status has changed"));
}

TEST_F(LoggerTest, ADocumentIsInTheLogBeforeItsAlert) {
  Start();
  std::vector<std::size_t> counts;
  ConsoleSink previous = ReplaceConsoleSink([&](std::string_view text) {
    counts.push_back(test::ReadEventTypes(EventLog()).size());
    return text.size();
  });
  card_.genlockSettings.source = 1;
  card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus);
  card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status);
  card_.sfpIpCallbacks[0]->OnSfpIpStatusChanged(card_.SfpIp(0), &card_.sfpIpStatuses[0]);
  Stop();
  ReplaceConsoleSink(std::move(previous));
  EXPECT_THAT(counts, ElementsAre(10, 10, 13, 14, 15)) << "8 were there";
}

TEST_F(LoggerTest, GoesQuietlyWithoutARun) {
  std::make_unique<Logger>().reset();
  EXPECT_TRUE(card_.Calls().empty());
}

TEST_F(LoggerTest, FailedReadsInNotificationsAreReportedAndTheRunGoesOn) {
  Start();
  auto events = initialEvents;

  card_.failures = {{"Genlock.GetSettings", ZV_E_FAIL}};
  EXPECT_EQ(card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus), S_OK);
  events.emplace_back("genlock status");

  card_.failures = {{"Smpte2059SfpB.GetStatus", ZV_E_FAIL}};
  card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status);
  events.emplace_back("ST2059 status/settings");

  card_.failures = {{"Smpte2059.GetSettings", ZV_E_FAIL}};
  card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status);

  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_THAT(console_.LinesWithoutTime(),
              ElementsAre(": Starting ST2059 monitoring.",
                          ": Could not get genlock settings : ZV_E_FAIL: Generic error.",
                          ": Genlock status has changed", ": ST 2059 status has changed",
                          ": Could not get SFP IP status and/or settings : ZV_E_FAIL: Generic error."));
}

TEST_F(LoggerTest, AllZeroGenlockSettingsAreNoChangeAtTheStart) {
  card_.genlockSettings.source = 0;
  card_.genlockSettings.resolutionFrameRate = 0;
  Start();
  auto events = initialEvents;
  events.erase(events.begin() + 1);
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
}

TEST_F(LoggerTest, SurvivesReferencesOfTheCardServices) {
  Start();
  card_.monitorDataCallback->AddRef();
  card_.monitorDataCallback->Release();
  card_.monitorDataCallback->AddRef();  // and never given back
  Deliver({0}, 1);
  Stop();
  EXPECT_EQ(test::ReadEventTypes(EventLog()).back(), "end of monitoring");
}

/// Calls that were on their way when their callback was unregistered, and one that comes for SFP B when the
/// files are closed already.
TEST_F(LoggerTest, LateNotificationsAreLoggedWhileTheFilesAreOpen) {
  Start();
  Deliver({0}, 1);
  auto* const telemetry = card_.monitorDataCallback.operator->();
  TZvSmartPtr<IZvGenlockNotificationCallback> genlock;
  genlock = card_.genlockCallback.operator->();
  TZvSmartPtr<IZvSmpte2059NotificationCallback> st2059;
  st2059 = card_.st2059Callback.operator->();
  auto events = initialEvents;
  card_.onCall = [&](const std::string& operation) {
    const bool closing = operation == "SfpIpB.Close";
    if (!closing && operation.find("Unregister") == std::string::npos) return;
    card_.sfpIpCallbacks[1]->OnSfpIpStatusChanged(card_.SfpIp(1), &card_.sfpIpStatuses[1]);
    if (closing) return;
    EXPECT_EQ(telemetry->OnMonitorDataReady(), S_OK);
    EXPECT_EQ(genlock->OnGenlockStatusChanged(&card_.genlockStatus), S_OK);
    EXPECT_EQ(st2059->OnSt2059StatusChanged(&card_.st2059Status), S_OK);
    events.insert(events.end(), {"SFP IP status", "genlock status", "ST2059 status/settings",
                                 "SFP ST2059 telemetry", "SFP ST2059 telemetry"});
  };
  Stop();
  events.emplace_back("end of monitoring");
  EXPECT_EQ(events.size(), initialEvents.size() + 4 * 5 + 1);
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_EQ(test::ReadRawData(RawData()).size(), 1U + 4);
  const auto lines = console_.LinesWithoutTime();
  EXPECT_EQ(lines.size(), 1U + 4 * 3 + 2);
  EXPECT_EQ(lines[lines.size() - 2], ": Ending ST2059 monitoring.");
  EXPECT_EQ(lines.back(), ": SFP IP status has changed");
}

TEST_F(LoggerTest, ABlockedRequestHoldsUpItsOwnNotificationOnly) {
  Start();
  std::promise<void> blocked, goOn;
  card_.onCall = [&](const std::string& operation) {
    if (operation != "Smpte2059.GetSettings") return;
    blocked.set_value();
    goOn.get_future().wait();
  };
  std::thread notification([&] { card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status); });
  blocked.get_future().wait();
  auto events = initialEvents;

  Deliver({0, 1}, 2);
  card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus);
  events.emplace_back("genlock status");
  card_.sfpIpCallbacks[0]->OnSfpIpStatusChanged(card_.SfpIp(0), &card_.sfpIpStatuses[0]);
  events.emplace_back("SFP IP status");
  EXPECT_EQ(test::ReadRawData(RawData()).size(), 2U);
  EXPECT_EQ(Syncs(Logger::Period::FifteenMinutes, 1), 8);
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));

  goOn.set_value();
  notification.join();
  events.insert(events.end(), {"ST2059 status/settings", "SFP ST2059 telemetry", "SFP ST2059 telemetry"});
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
}

/// Each kind of notification comes without a break from a thread of its own, while runs start and end on a
/// card that takes its time for every request.
TEST_F(LoggerTest, NotificationsMayComeWhileRunsStartAndEnd) {
  constexpr std::size_t runs = 20;
  std::atomic<bool> done = false;
  std::atomic<std::size_t> records = 0;
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::microseconds(20)); };
  card_.onCall = [&](const std::string&) { pause(); };
  std::vector<std::thread> threads;
  const auto repeat = [&](auto& registration, auto notify) {
    threads.emplace_back([&done, &registration, notify, pause] {
      while (!done) {
        registration.Notify(notify);
        pause();
      }
    });
  };
  card_.monitorData = [&](MonitorDataBatch& batch) {
    batch.count = 1;
    ++records;
  };
  repeat(card_.monitorDataCallback, [](auto& callback) { callback.OnMonitorDataReady(); });
  repeat(card_.genlockCallback,
         [&](auto& callback) { callback.OnGenlockStatusChanged(&card_.genlockStatus); });
  repeat(card_.st2059Callback, [&](auto& callback) { callback.OnSt2059StatusChanged(&card_.st2059Status); });
  for (std::size_t i = 0; i < 2; ++i) {
    repeat(card_.sfpIpCallbacks[i], [&, i](auto& callback) {
      callback.OnSfpIpStatusChanged(card_.SfpIp(i), &card_.sfpIpStatuses[i]);
    });
  }
  for (std::size_t run = 0; run < runs; ++run) {
    Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    Stop();
    EXPECT_EQ(card_.References(), 0U);
    EXPECT_EQ(CZvUnknown::LiveObjects(), 0);
  }
  done = true;
  for (auto& thread : threads) thread.join();

  std::map<std::string, std::size_t> documents, lines;
  for (const auto& type : test::ReadEventTypes(EventLog())) ++documents[type];
  for (const auto& line : console_.LinesWithoutTime()) ++lines[line];
  EXPECT_EQ(documents["start of monitoring"], runs);
  EXPECT_EQ(documents["end of monitoring"], runs);
  EXPECT_EQ(documents["genlock status"], runs + lines[": Genlock status has changed"]);
  EXPECT_EQ(documents["ST2059 status/settings"], runs + lines[": ST 2059 status has changed"]);
  EXPECT_LE(documents["SFP IP status"], 2 * runs + lines[": SFP IP status has changed"])
      << "late ones of SFP B";
  for (const char* kind : {"Genlock", "ST 2059", "SFP IP"}) {
    EXPECT_GT(lines[std::string(": ") + kind + " status has changed"], runs);
  }
  EXPECT_GT(records, runs);
  EXPECT_EQ(test::ReadRawData(RawData()).size(), records);
}

/// Twenty minutes' worth of telemetry, and a hundred times what a bad day has of changes, as fast as it will
/// go from five threads, while the main thread takes its results.
TEST_F(LoggerTest, NothingIsLostOrTornWhenEverythingComesAtOnce) {
  constexpr std::uint64_t batches = 600;
  constexpr int notifications = 400;
  Start();
  std::atomic<std::uint64_t> sequence = 0;
  card_.monitorData = [&](MonitorDataBatch& batch) {
    batch.count = 2;
    for (std::uint8_t sfp = 0; sfp < 2; ++sfp) {
      batch.records[sfp].sfp = sfp;
      batch.records[sfp].performanceMonitoring.numberOfSyncSinceLastTelemetry = 8;
      batch.records[sfp].linkPacketsReceived = batch.records[sfp].linkReceivePacketErrors = ++sequence;
    }
  };
  const auto repeat = [](std::uint64_t times, auto action) {
    return std::thread([=] {
      for (std::uint64_t i = 0; i < times; ++i) action();
    });
  };
  const auto fetch = [&] { card_.monitorDataCallback->OnMonitorDataReady(); };
  std::thread threads[] = {
      repeat(batches, fetch),
      repeat(batches, fetch),
      repeat(notifications, [&] { card_.genlockCallback->OnGenlockStatusChanged(&card_.genlockStatus); }),
      repeat(notifications, [&] { card_.st2059Callback->OnSt2059StatusChanged(&card_.st2059Status); }),
      repeat(notifications,
             [&] { card_.sfpIpCallbacks[0]->OnSfpIpStatusChanged(card_.SfpIp(0), &card_.sfpIpStatuses[0]); }),
  };
  for (int i = 0; i < 50; ++i) {
    Syncs(Logger::Period::FifteenMinutes, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(Syncs(Logger::Period::Day, 1), static_cast<std::int32_t>(2 * batches * 8));
  Stop();

  std::vector<bool> seen(4 * batches + 1);
  const auto units = test::ReadRawData(RawData());
  EXPECT_EQ(units.size(), 4 * batches);
  for (const auto& unit : units) {
    ASSERT_EQ(unit.record.linkPacketsReceived, unit.record.linkReceivePacketErrors) << "torn";
    ASSERT_FALSE(seen.at(unit.record.linkPacketsReceived)) << "doubled";
    seen[unit.record.linkPacketsReceived] = true;
  }
  EXPECT_EQ(test::ReadEventTypes(EventLog()).size(), initialEvents.size() + 1 + 5 * notifications);
  std::map<std::string, int> lines;
  for (const auto& line : console_.LinesWithoutTime()) ++lines[line];
  EXPECT_EQ(lines, (std::map<std::string, int>{{": Starting ST2059 monitoring.", 1},
                                               {": Ending ST2059 monitoring.", 1},
                                               {": Genlock status has changed", notifications},
                                               {": ST 2059 status has changed", notifications},
                                               {": SFP IP status has changed", notifications}}));
}

}  // namespace
}  // namespace kestrune
