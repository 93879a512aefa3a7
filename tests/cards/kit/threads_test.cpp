#include <gtest/gtest.h>

#include <future>
#include <mutex>
#include <set>
#include <vector>

#include "card_fixture.h"

namespace kestrune::kit {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// All that a card tells in so many seconds.
struct Told {
  std::vector<TelemetryRecord> telemetry;
  std::vector<std::uint32_t> genlock;
  std::vector<std::int32_t> st2059;
  std::vector<int> signalOfSfpA;
  std::set<std::thread::id> threads;
};

Told Listen(bool inOrder, seconds time) {
  CardObjects objects(time, OneCard(std::make_unique<BusyCard>(CardDescription{.inOrder = inOrder})),
                      seconds(8));
  Told told;
  std::mutex mutex;
  const auto genlock = Hold<GenlockCallback>([&](const GenlockStatus& status) {
    auto settings = MakeRecord<GenlockSettings>();
    EXPECT_EQ(objects.genlock->GetSettings(&settings), S_OK) << "read from within a call";
    const std::lock_guard lock(mutex);
    told.genlock.push_back(status.state);
    told.threads.insert(std::this_thread::get_id());
  });
  const auto st2059 = Hold<St2059Callback>([&](const St2059Status& status) {
    const std::lock_guard lock(mutex);
    told.st2059.push_back(status.state);
    told.threads.insert(std::this_thread::get_id());
  });
  const auto sfpIp = Hold<SfpIpCallback>([&](IZvSfpIp* sfp, const SfpIpStatus& status) {
    EXPECT_EQ(sfp, objects.sfpIp[0].Get());
    const std::lock_guard lock(mutex);
    told.signalOfSfpA.push_back(status.signalPresent);
    told.threads.insert(std::this_thread::get_id());
  });
  const auto monitorData = Hold<MonitorDataCallback>([&] {
    MonitorDataBatch batch{};
    EXPECT_EQ(objects.card->GetMonitorData(&batch), S_OK);
    EXPECT_LE(batch.count, inOrder ? 2U : 12U);
    const std::lock_guard lock(mutex);
    told.telemetry.insert(told.telemetry.end(), batch.records, batch.records + batch.count);
    told.threads.insert(std::this_thread::get_id());
  });
  EXPECT_EQ(objects.genlockNotification->RegisterCallback(genlock.Get()), S_OK);
  EXPECT_EQ(objects.smpte2059->RegisterCallback(st2059.Get()), S_OK);
  EXPECT_EQ(objects.sfpIp[0]->RegisterCallback(sfpIp.Get()), S_OK);
  EXPECT_EQ(objects.sfpIp[1]->RegisterCallback(sfpIp.Get()), S_OK);
  EXPECT_EQ(objects.Now(), 0) << "time stands until the telemetry starts";
  EXPECT_EQ(objects.card->RegisterMonitorDataCallback(monitorData.Get()), S_OK);
  const auto count = static_cast<std::size_t>(time.count());
  EXPECT_TRUE(Eventually([&] {
    const std::lock_guard lock(mutex);
    return told.telemetry.size() == count * 2 && told.genlock.size() == count &&
           told.st2059.size() == count && told.signalOfSfpA.size() == count;
  }));
  EXPECT_EQ(objects.card->UnregisterMonitorDataCallback(monitorData.Get()), S_OK);
  EXPECT_EQ(objects.genlockNotification->UnregisterCallback(genlock.Get()), S_OK);
  EXPECT_EQ(objects.smpte2059->UnregisterCallback(st2059.Get()), S_OK);
  for (auto& sfp : objects.sfpIp) sfp = nullptr;
  return told;
}

TEST(Threads, TellEverythingInOrder) {
  for (const bool inOrder : {false, true}) {
    const Told told = Listen(inOrder, seconds(40));
    EXPECT_EQ(told.threads.size(), inOrder ? 1U : 4U);
    ASSERT_EQ(told.telemetry.size(), 80U);
    for (std::size_t record = 0; record < 80; ++record) {
      EXPECT_EQ(told.telemetry[record].sfp, record % 2);
      EXPECT_EQ(told.telemetry[record].offsetFromMaster, record / 2 + 1);
    }
    for (std::size_t change = 0; change < 40; ++change) {
      EXPECT_EQ(told.genlock[change], change % 2 == 0 ? 5U : 1U);
      EXPECT_EQ(told.st2059[change], change + 1);
      EXPECT_EQ(told.signalOfSfpA[change], change % 2);
    }
  }
}

TEST(Threads, TelemetryThatNobodyFetchesIsBounded) {
  CardObjects objects(seconds(2100));
  std::atomic<bool> fetch = false;
  std::atomic<std::size_t> fetched = 0;
  const auto callback = Hold<MonitorDataCallback>([&] {
    if (!fetch) return;
    MonitorDataBatch batch{};
    objects.card->GetMonitorData(&batch);
    fetched += batch.count;
  });
  ASSERT_EQ(objects.card->RegisterMonitorDataCallback(callback.Get()), S_OK);
  ASSERT_TRUE(Eventually([&] { return objects.Now() == 2100; }));
  MonitorDataBatch batch{};
  std::size_t left = 0;
  do {
    objects.card->GetMonitorData(&batch);
    EXPECT_TRUE(left > 0 || batch.records[0].offsetFromMaster == 2100 - 4096 / 2 + 1)
        << "the newest are kept";
    left += batch.count;
  } while (batch.count != 0);
  EXPECT_EQ(left, 4096U);
}

TEST(Threads, UnregistrationWaitsForTheCallUnderWay) {
  CardObjects objects(seconds(10));
  std::promise<void> entered;
  std::promise<void> leave;
  std::atomic<int> calls = 0;
  const auto callback = Hold<SfpIpCallback>([&](IZvSfpIp* sfp, const SfpIpStatus&) {
    if (++calls > 1) return;
    entered.set_value();
    leave.get_future().wait();
    sfp->AddRef();  // the object lent is good until the call returns
    sfp->Release();
  });
  const auto telemetry = Hold<MonitorDataCallback>([] {});
  ASSERT_EQ(objects.sfpIp[0]->RegisterCallback(callback.Get()), S_OK);
  ASSERT_EQ(objects.card->RegisterMonitorDataCallback(telemetry.Get()), S_OK);
  entered.get_future().wait();

  auto released = std::async(std::launch::async, [&] { objects.sfpIp[0] = nullptr; });
  EXPECT_EQ(released.wait_for(milliseconds(50)), std::future_status::timeout) << "did not wait for the call";
  leave.set_value();
  released.wait();
  EXPECT_EQ(callback->References(), 1U);
  const int callsWhenReleased = calls;
  EXPECT_TRUE(Eventually([&] { return objects.Now() == 10; }));
  EXPECT_EQ(calls, callsWhenReleased);
}

TEST(Threads, ACallbackMayUnregisterItself) {
  CardObjects objects(seconds(10));
  std::promise<void> done;
  const std::int32_t others = CZvUnknown::LiveObjects();
  auto* callback = new GenlockCallback(nullptr);
  callback->action = [&](const GenlockStatus&) {
    EXPECT_EQ(objects.genlockNotification->UnregisterCallback(callback), S_OK);
    done.set_value();  // a second call would throw here
  };
  const auto telemetry = Hold<MonitorDataCallback>([] {});
  ASSERT_EQ(objects.genlockNotification->RegisterCallback(callback), S_OK);
  ASSERT_EQ(objects.card->RegisterMonitorDataCallback(telemetry.Get()), S_OK);
  done.get_future().wait();
  EXPECT_TRUE(Eventually([&] { return CZvUnknown::LiveObjects() == others + 1; }))
      << "the last reference went with the call's end";
}

TEST(Threads, ACallbackMayReleaseTheLastObject) {
  const std::int32_t others = CZvUnknown::LiveObjects();
  auto objects = std::make_unique<CardObjects>(seconds(10));
  const auto activation = objects->activation;
  TZvSmartPtr<IZvCardConfigurationPrivate> card = objects->card;
  objects.reset();
  std::promise<void> registered;
  std::promise<void> done;
  auto* callback = new MonitorDataCallback([&] {
    registered.get_future().wait();
    card = nullptr;
    EXPECT_TRUE(activation.expired());
    done.set_value();
  });
  ASSERT_EQ(card->RegisterMonitorDataCallback(callback), S_OK);
  registered.set_value();
  done.get_future().wait();
  EXPECT_TRUE(Eventually([&] { return CZvUnknown::LiveObjects() == others; }));
}

/// A callback that nobody may call once `registered` is false.
template <class Callback, class Register, class Unregister>
void RegisterAgainAndAgain(std::atomic<bool>& stop, Register&& doRegister, Unregister&& doUnregister) {
  while (!stop) {
    std::atomic<bool> registered = true;
    std::atomic<int> calls = 0;
    const auto callback = Hold<Callback>([&](const auto&...) {
      EXPECT_TRUE(registered) << "called after its registration's end";
      ++calls;
    });
    doRegister(callback.Get());
    for (int turn = 0; turn < 100 && calls == 0; ++turn) std::this_thread::yield();
    doUnregister(callback.Get());
    registered = false;
    EXPECT_EQ(callback->References(), 1U);
  }
}

TEST(Threads, NoCallAfterUnregistrationOrRelease) {
  CardObjects objects(seconds(100'000'000));
  const auto telemetry = Hold<MonitorDataCallback>([] {});
  ASSERT_EQ(objects.card->RegisterMonitorDataCallback(telemetry.Get()), S_OK);
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int pair = 0; pair < 2; ++pair) {
    threads.emplace_back([&] {
      RegisterAgainAndAgain<GenlockCallback>(
          stop,
          [&](auto* callback) { EXPECT_EQ(objects.genlockNotification->RegisterCallback(callback), S_OK); },
          [&](auto* callback) {
            EXPECT_EQ(objects.genlockNotification->UnregisterCallback(callback), S_OK);
          });
    });
    threads.emplace_back([&] {
      TZvSmartPtr<IZvSfpIpEnumerator> sfps;
      TZvSmartPtr<IZvSfpIp> sfp;
      RegisterAgainAndAgain<SfpIpCallback>(
          stop,
          [&](auto* callback) {
            sfps = nullptr;
            EXPECT_EQ(objects.card->CreateSfpIpEnumerator(&sfps), S_OK);
            EXPECT_EQ(sfps->Next(&sfp), S_OK);
            EXPECT_EQ(sfp->RegisterCallback(callback), S_OK);
          },
          [&](auto*) { sfp = nullptr; });
    });
  }
  threads.emplace_back([&] {
    RegisterAgainAndAgain<MonitorDataCallback>(
        stop, [&](auto* callback) { EXPECT_EQ(objects.card->RegisterMonitorDataCallback(callback), S_OK); },
        [&](auto* callback) { EXPECT_EQ(objects.card->UnregisterMonitorDataCallback(callback), S_OK); });
  });
  std::this_thread::sleep_for(milliseconds(500));
  stop = true;
  for (auto& thread : threads) thread.join();
  EXPECT_GT(objects.Now(), 10);
}

}  // namespace
}  // namespace kestrune::kit
