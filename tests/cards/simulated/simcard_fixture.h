#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "diag/result_codes.h"
#include "sdk/card_services.h"
#include "simulated/scenario.h"
#include "simulated/simulation.h"
#include "simulated/system.h"
#include "simulated/system_objects.h"

namespace kestrune::simulated {

/// Holds one reference.
template <class Interface>
class Held {
 public:
  Held() = default;
  explicit Held(Interface* object) : object_(object) {}
  Held(Held&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Held& operator=(Held&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Held() { Reset(); }

  void Reset() {
    if (auto* object = std::exchange(object_, nullptr)) object->Release();
  }
  Interface* operator->() const { return object_; }
  Interface* Get() const { return object_; }
  Interface** Out() {
    Reset();
    return &object_;
  }

 private:
  Interface* object_ = nullptr;
};

/// A callback that deletes itself with its last reference and counts how many of them live.
template <class Interface>
class Counted : public Interface {
 public:
  explicit Counted(std::atomic<int>* living) : living_(living) { ++*living_; }
  virtual ~Counted() { --*living_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  ULONG References() const { return references_; }

 private:
  std::atomic<int>* living_;
  std::atomic<ULONG> references_{1};
};

struct MonitorDataCallback final : Counted<IZvSmpte2059MonitorDataNotificationCallback> {
  MonitorDataCallback(std::atomic<int>* living, std::function<void()> action)
      : Counted(living), action_(std::move(action)) {}
  HRESULT STDMETHODCALLTYPE OnMonitorDataReady() override {
    action_();
    return S_OK;
  }
  std::function<void()> action_;
};

struct GenlockCallback final : Counted<IZvGenlockNotificationCallback> {
  GenlockCallback(std::atomic<int>* living, std::function<void(const GenlockStatus&)> action)
      : Counted(living), action_(std::move(action)) {}
  HRESULT STDMETHODCALLTYPE OnGenlockStatusChanged(const GenlockStatus* status) override {
    action_(*status);
    return S_OK;
  }
  std::function<void(const GenlockStatus&)> action_;
};

struct St2059Callback final : Counted<IZvSmpte2059NotificationCallback> {
  St2059Callback(std::atomic<int>* living, std::function<void(const St2059Status&)> action)
      : Counted(living), action_(std::move(action)) {}
  HRESULT STDMETHODCALLTYPE OnSt2059StatusChanged(const St2059Status* status) override {
    action_(*status);
    return S_OK;
  }
  std::function<void(const St2059Status&)> action_;
};

struct SfpIpCallback final : Counted<IZvSfpIpNotificationCallback> {
  SfpIpCallback(std::atomic<int>* living, std::function<void(IZvSfpIp*, const SfpIpStatus&)> action)
      : Counted(living), action_(std::move(action)) {}
  HRESULT STDMETHODCALLTYPE OnSfpIpStatusChanged(IZvSfpIp* sfp, const SfpIpStatus* status) override {
    action_(sfp, *status);
    return S_OK;
  }
  std::function<void(IZvSfpIp*, const SfpIpStatus&)> action_;
};

/// A clock that leaps over every sleep, up to a limit at which it stands.
class LeapingClock final : public Clock {
 public:
  explicit LeapingClock(std::chrono::seconds limit) : limit_(limit) {}

  std::chrono::system_clock::time_point Now() override {
    return std::chrono::system_clock::time_point(std::chrono::milliseconds(now_));
  }
  void SleepFor(std::chrono::milliseconds time) override {
    if (now_ + time.count() <= limit_.count()) {
      now_ += time.count();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  const std::chrono::milliseconds limit_;
  std::atomic<std::int64_t> now_ = 0;
};

/// One cold card on a network whose every second something happens to it: the genlock's state, SFP A's fibre
/// and the card's ST 2059 state change.
inline Scenario BusyScenario() {
  Scenario scenario;
  scenario.startEpoch = 1'750'000'000;
  scenario.cards.resize(1);
  scenario.cards[0].warmUpSeconds = 0;
  scenario.grandmasters.resize(1);
  scenario.grandmasters[0].clockIdentity = 0x080011FFFE210001;
  for (int step = 0; step < 2; ++step) {
    Event event;
    event.at = 1 + step;
    event.every = 2;
    event.times = 0;
    event.kind = EventKind::Genlock;
    event.genlockState = step == 0 ? 5 : 1;
    scenario.events.push_back(event);
    event.kind = step == 0 ? EventKind::FibrePulled : EventKind::FibreBack;
    scenario.events.push_back(event);
    event.kind = EventKind::CardState;
    event.value = 100 + step;
    scenario.events.push_back(event);
  }
  return scenario;
}

/// The objects of a simulation's first card, got as a caller gets them.
struct CardObjects {
  explicit CardObjects(Scenario scenario, std::chrono::seconds limit = std::chrono::seconds(0)) {
    const auto shared =
        std::make_shared<Simulation>(std::move(scenario), std::make_shared<LeapingClock>(limit));
    simulation = shared;
    system = Held(MakeSystemConfiguration(shared));
    system->GetCardEnumerator(cards.Out());
    Held<IZvCardConfiguration> plain;
    cards->Next(plain.Out());
    plain->QueryInterface(IID_IZvCardConfigurationPrivate, reinterpret_cast<void**>(card.Out()));
    card->GetGenlockConfiguration(genlock.Out());
    genlock->GetNotification(genlockNotification.Out());
    card->GetSmpte2059(smpte2059.Out());
    card->CreateSfpIpEnumerator(sfps.Out());
    for (int sfp = 0; sfp < 2; ++sfp) {
      sfps->Next(sfpIp[sfp].Out());
      smpte2059->GetSfp(sfpIp[sfp].Get(), smpte2059Sfp[sfp].Out());
    }
  }

  std::weak_ptr<Simulation> simulation;
  std::atomic<int> living = 0;
  Held<IZvSystemConfiguration> system;
  Held<IZvSystemConfigurationCardEnumerator> cards;
  Held<IZvCardConfigurationPrivate> card;
  Held<IZvGenlockConfiguration> genlock;
  Held<IZvGenlockNotification> genlockNotification;
  Held<IZvSmpte2059> smpte2059;
  Held<IZvSfpIpEnumerator> sfps;
  Held<IZvSfpIp> sfpIp[2];
  Held<IZvSmpte2059Sfp> smpte2059Sfp[2];
};

/// Waits up to ten seconds for something that is expected to come true soon.
inline bool Eventually(const std::function<bool()>& condition) {
  for (int attempt = 0; attempt < 10'000; ++attempt) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace kestrune::simulated
