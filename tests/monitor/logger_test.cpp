#include "monitor/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <thread>

#include "support/scripted_card.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class LoggerTest : public testing::Test {
 protected:
  LoggerTest() {
    card_.state.genlockStatus.state = 1;
    card_.state.genlockSettings.source = 128;
    card_.state.genlockSettings.resolutionFrameRate = 8;
    card_.state.st2059Status.state = 10;
    card_.state.st2059Status.bestMasterSfp = 1;
    card_.state.st2059Settings.bestMasterSfpSelection = 1;
    card_.state.st2059SfpStatus.state = 10;
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
    card_.TellMonitorData();
  }

  std::int32_t Syncs(Logger::Period period, std::size_t sfp) {
    return logger_->TakePeriodResults(period, sfp).syncGroup.count;
  }

  test::ConsoleCapture console_;
  test::TemporaryFolder folder_;
  test::ScriptedCard card_;
  std::unique_ptr<Logger> logger_;
};

/// What a run logs at its start, by the log that the program must leave of the card in C.
const std::vector<std::string> initialEvents = [] {
  auto types = test::ReadEventTypes(std::filesystem::path(KESTRUNE_TESTS_FOLDER) / "program/event_log.txt");
  types.erase(std::ranges::find(types, "start of monitoring") + 1, types.end());
  return types;
}();

TEST_F(LoggerTest, SetsUpAndTearsDownInOrder) {
  card_.state.description.sfpNumbers = {3, 2, 1, 2};
  Start();
  EXPECT_THAT(
      card_.TakeCalls(),
      ElementsAre("QueryPrivate", "GetGenlockConfiguration", "GetGenlockNotification", "RegisterGenlock",
                  "GetSmpte2059", "RegisterSt2059", "CreateSfpIpEnumerator", "NextSfp", "NextSfp", "NextSfp",
                  "RegisterSfpIp", "RegisterSfpIp", "GetSmpte2059Sfp", "GetSmpte2059Sfp", "GetGenlockStatus",
                  "GetGenlockSettings", "GetSt2059Status", "GetSt2059Settings", "GetSt2059SfpStatus",
                  "GetSt2059SfpStatus", "GetSfpIpStatus", "GetSfpIpStatus", "RegisterMonitorData"));
  Stop();
  EXPECT_THAT(card_.TakeCalls(), ElementsAre("UnregisterMonitorData", "UnregisterGenlock", "UnregisterSt2059",
                                             "UnregisterSfpIp"));
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

/// What each notification leaves in the event log and on the console, whatever size the card writes into
/// records; a document is in the log before its alert.
TEST_F(LoggerTest, NotificationsAreLoggedAndAnnounced) {
  card_.state.genlockStatus.size = card_.state.genlockSettings.size = 0;
  card_.state.st2059Status.size = card_.state.st2059Settings.size = 0xFFFFFFFF;
  card_.state.st2059SfpStatus.size = 1;
  card_.state.sfpIpStatus.size = 1'000'000;
  Start();
  std::string alerts;
  std::size_t logged = initialEvents.size();
  ConsoleSink previous = ReplaceConsoleSink([&](std::string_view text) {
    alerts += text.substr(19);
    const auto types = test::ReadEventTypes(EventLog());
    for (; logged < types.size(); ++logged) alerts += types[logged] + '\n';
    return text.size();
  });
  card_.TellGenlock();
  card_.state.genlockSettings.resolutionFrameRate = 3;
  card_.TellGenlock();
  card_.TellSt2059();
  card_.TellSfpIp(2);
  Stop();
  ReplaceConsoleSink(std::move(previous));
  EXPECT_EQ(
      alerts,
      ": Genlock status has changed\ngenlock status\n"
      ": Genlock settings have changed\ngenlock status\ngenlock settings\n"
      ": Genlock status has changed\n"
      ": ST 2059 status has changed\nST2059 status/settings\nSFP ST2059 telemetry\nSFP ST2059 telemetry\n"
      ": SFP IP status has changed\nSFP IP status\n"
      ": Ending ST2059 monitoring.\nend of monitoring\n");
}

TEST_F(LoggerTest, GoesQuietlyWithoutARun) {
  std::make_unique<Logger>().reset();
  EXPECT_TRUE(card_.TakeCalls().empty());
}

TEST_F(LoggerTest, FailedReadsInNotificationsAreReportedAndTheRunGoesOn) {
  Start();
  auto events = initialEvents;

  kit::Operation failing{};
  int call = 0;
  card_.onCall = [&](kit::Operation operation) {
    return operation == failing && --call == 0 ? std::optional(ZV_E_FAIL) : std::nullopt;
  };
  const auto failAt = [&](kit::Operation operation, int which) { failing = operation, call = which; };

  failAt(kit::Operation::GetGenlockSettings, 1);
  card_.TellGenlock();
  events.emplace_back("genlock status");

  failAt(kit::Operation::GetSt2059SfpStatus, 2);
  card_.TellSt2059();
  events.emplace_back("ST2059 status/settings");

  failAt(kit::Operation::GetSt2059Settings, 1);
  card_.TellSt2059();

  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_THAT(console_.LinesWithoutTime(),
              ElementsAre(": Starting ST2059 monitoring.",
                          ": Could not get genlock settings : ZV_E_FAIL: Generic error.",
                          ": Genlock status has changed", ": ST 2059 status has changed",
                          ": Could not get SFP IP status and/or settings : ZV_E_FAIL: Generic error."));
}

TEST_F(LoggerTest, AllZeroGenlockSettingsAreNoChangeAtTheStart) {
  card_.state.genlockSettings.source = 0;
  card_.state.genlockSettings.resolutionFrameRate = 0;
  Start();
  auto events = initialEvents;
  events.erase(events.begin() + 1);
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
}

/// Calls that were on their way when their callback was unregistered, and one for SFP B that reaches the
/// logger when the files are closed already. And references that are never given back.
TEST_F(LoggerTest, LateNotificationsAreLoggedWhileTheFilesAreOpen) {
  Start();
  Deliver({0}, 1);
  Logger* const telemetry = logger_.get();
  telemetry->AddRef();
  TZvSmartPtr<IZvGenlockNotificationCallback> genlock;
  genlock = test::Registered<IZvGenlockNotificationCallback>(card_.Engine().GenlockCallbacks());
  TZvSmartPtr<IZvSmpte2059NotificationCallback> st2059;
  st2059 = test::Registered<IZvSmpte2059NotificationCallback>(card_.Engine().St2059Callbacks());
  auto events = initialEvents;
  card_.onCall = [&](kit::Operation operation) {
    if (kit::operationNames[static_cast<std::size_t>(operation)].starts_with("Unregister")) {
      telemetry->OnMonitorDataReady();
      genlock->OnGenlockStatusChanged(&card_.state.genlockStatus);
      st2059->OnSt2059StatusChanged(&card_.state.st2059Status);
      events.insert(events.end(), {"genlock status", "ST2059 status/settings", "SFP ST2059 telemetry",
                                   "SFP ST2059 telemetry"});
    }
    return std::nullopt;
  };
  std::promise<void> underWay;
  std::thread late([&] {
    card_.Engine().SfpIpCallbacks(2).CallEach([&](IUnknown* sfp, IUnknown* callback) {
      underWay.set_value();
      LogFile closed("raw data", "Records");
      for (int i = 0; i < 1000 && !closed.OpenUnits(RawData().string(), sizeof(RawDataUnit)); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      static_cast<IZvSfpIpNotificationCallback*>(callback)->OnSfpIpStatusChanged(static_cast<IZvSfpIp*>(sfp),
                                                                                 &card_.state.sfpIpStatus);
    });
  });
  underWay.get_future().wait();
  Stop();
  late.join();
  events.emplace_back("end of monitoring");
  EXPECT_EQ(events.size(), initialEvents.size() + 4 * 4 + 1);
  EXPECT_THAT(test::ReadEventTypes(EventLog()), ElementsAreArray(events));
  EXPECT_EQ(test::ReadRawData(RawData()).size(), 1U + 4);
  const auto lines = console_.LinesWithoutTime();
  EXPECT_EQ(lines.size(), 1U + 4 * 2 + 2);
  EXPECT_EQ(lines[lines.size() - 2], ": Ending ST2059 monitoring.");
  EXPECT_EQ(lines.back(), ": SFP IP status has changed");
}

TEST_F(LoggerTest, ABlockedRequestHoldsUpItsOwnNotificationOnly) {
  Start();
  std::promise<void> blocked, goOn;
  card_.onCall = [&](kit::Operation operation) {
    if (operation == kit::Operation::GetSt2059Settings) {
      blocked.set_value();
      goOn.get_future().wait();
    }
    return std::nullopt;
  };
  std::thread notification([&] { card_.TellSt2059(); });
  blocked.get_future().wait();
  auto events = initialEvents;

  Deliver({0, 1}, 2);
  card_.TellGenlock();
  events.emplace_back("genlock status");
  card_.TellSfpIp(1);
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
/// card that takes its time for every request; two threads fetch as fast as it will go, while the main thread
/// takes its results. Nothing is lost, doubled or torn.
TEST_F(LoggerTest, EverythingMayComeAtOnceWhileRunsStartAndEnd) {
  constexpr std::size_t runs = 20;
  std::atomic<bool> done = false;
  std::atomic<std::uint64_t> sequence = 0;
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::microseconds(20)); };
  card_.onCall = [&](kit::Operation) {
    pause();
    return std::nullopt;
  };
  card_.monitorData = [&](MonitorDataBatch& batch) {
    batch.count = 2;
    for (std::uint8_t sfp = 0; sfp < 2; ++sfp) {
      batch.records[sfp].sfp = sfp;
      batch.records[sfp].performanceMonitoring.numberOfSyncSinceLastTelemetry = 1;
      batch.records[sfp].linkPacketsReceived = batch.records[sfp].linkReceivePacketErrors = sequence++;
    }
  };
  std::vector<std::thread> threads;
  const auto repeat = [&](auto notify) {
    threads.emplace_back([&done, notify, pause] {
      for (; !done; pause()) notify();
    });
  };
  repeat([&] { card_.TellMonitorData(); });
  repeat([&] { card_.TellGenlock(); });
  repeat([&] { card_.TellSt2059(); });
  repeat([&] { card_.TellSfpIp(1); });
  repeat([&] { card_.TellSfpIp(2); });
  for (std::size_t run = 0; run < runs; ++run) {
    Start();
    const auto fetch = [&] {
      for (int i = 0; i < 60; ++i) logger_->OnMonitorDataReady();
    };
    std::thread fetches[] = {std::thread(fetch), std::thread(fetch)};
    for (int i = 0; i < 5; ++i, pause()) Syncs(Logger::Period::FifteenMinutes, 0);
    for (auto& thread : fetches) thread.join();
    EXPECT_GE(Syncs(Logger::Period::Day, 1), 2 * 60);
    Stop();
    EXPECT_EQ(card_.References(), 0U);
    EXPECT_EQ(CZvUnknown::LiveObjects(), 0);
  }
  done = true;
  for (auto& thread : threads) thread.join();

  std::vector<bool> seen(sequence);
  for (const auto& unit : test::ReadRawData(RawData())) {
    ASSERT_EQ(unit.record.linkPacketsReceived, unit.record.linkReceivePacketErrors) << "torn";
    ASSERT_FALSE(seen.at(unit.record.linkPacketsReceived)) << "doubled";
    seen[unit.record.linkPacketsReceived] = true;
  }
  EXPECT_EQ(std::ranges::count(seen, false), 0) << "lost";
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
}

}  // namespace
}  // namespace kestrune
