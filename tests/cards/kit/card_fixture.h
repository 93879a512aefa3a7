#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "diag/result_codes.h"
#include "kit/activation.h"
#include "kit/system.h"
#include "kit/system_objects.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"
#include "sdk/zv_unknown.h"

namespace kestrune::kit {

/// A callback that calls a function.
template <class Interface, class... Arguments>
class ActionCallback : public CZvUnknown, public Interface {
 public:
  explicit ActionCallback(std::function<void(Arguments...)> doIt)
      : CZvUnknown(L"ActionCallback"), action(std::move(doIt)) {}
  ZV_FORWARD_UNKNOWN(override)

  ULONG References() {
    AddRef();
    return Release();
  }

  std::function<void(Arguments...)> action;

 protected:
  HRESULT Act(Arguments... arguments) {
    action(arguments...);
    return S_OK;
  }
};

struct MonitorDataCallback final : ActionCallback<IZvSmpte2059MonitorDataNotificationCallback> {
  using ActionCallback::ActionCallback;
  HRESULT STDMETHODCALLTYPE OnMonitorDataReady() override { return Act(); }
};

struct GenlockCallback final : ActionCallback<IZvGenlockNotificationCallback, const GenlockStatus&> {
  using ActionCallback::ActionCallback;
  HRESULT STDMETHODCALLTYPE OnGenlockStatusChanged(const GenlockStatus* status) override {
    return Act(*status);
  }
};

struct St2059Callback final : ActionCallback<IZvSmpte2059NotificationCallback, const St2059Status&> {
  using ActionCallback::ActionCallback;
  HRESULT STDMETHODCALLTYPE OnSt2059StatusChanged(const St2059Status* status) override {
    return Act(*status);
  }
};

struct SfpIpCallback final : ActionCallback<IZvSfpIpNotificationCallback, IZvSfpIp*, const SfpIpStatus&> {
  using ActionCallback::ActionCallback;
  HRESULT STDMETHODCALLTYPE OnSfpIpStatusChanged(IZvSfpIp* sfp, const SfpIpStatus* status) override {
    return Act(sfp, *status);
  }
};

/// A callback with one reference, the holder's.
template <class Callback, class Action>
TZvSmartPtr<Callback> Hold(Action action) {
  TZvSmartPtr<Callback> held;
  held = new Callback(std::move(action));
  return held;
}

/// A clock that leaps over every sleep, by `leap` at least, up to a limit at which it stands.
class LeapingClock final : public Clock {
 public:
  LeapingClock(std::chrono::seconds limit, std::chrono::seconds leap) : limit_(limit), leap_(leap) {}

  std::int64_t NowTicks() override { return Ticks(std::chrono::milliseconds(now_)).count(); }
  std::int64_t EpochSeconds() override { return now_ / 1000; }
  void SleepUntil(std::int64_t ticks) override {
    SleepFor(std::chrono::ceil<std::chrono::milliseconds>(Ticks(ticks - NowTicks())));
  }
  void SleepFor(std::chrono::milliseconds time) override {
    const auto step = std::max(time, leap_);
    if (now_ + step.count() <= limit_.count()) {
      now_ += step.count();
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  const std::chrono::milliseconds limit_;
  const std::chrono::milliseconds leap_;
  std::atomic<std::int64_t> now_ = 0;
};

/// Every second brings a record of each SFP, numbered, and a change of the genlock's state, of the card's and
/// of SFP A's signal.
class BusyCard final : public Card {
 public:
  explicit BusyCard(CardDescription description = {}) : description_(std::move(description)) {}

  const CardDescription& Description() const override { return description_; }
  void Wake(std::int64_t) override {}
  std::int64_t Now() const override { return now_; }
  Step Advance() override {
    ++now_;
    Step step;
    step.genlockChanged = step.st2059Changed = step.sfpIpChanged[0] = true;
    for (std::uint8_t sfp = 0; sfp < 2; ++sfp) {
      TelemetryRecord& record = step.telemetry.emplace_back();
      record.sfp = sfp;
      record.offsetFromMaster = static_cast<std::int32_t>(now_);
    }
    return step;
  }

  GenlockStatus ReadGenlockStatus() const override {
    auto status = MakeRecord<GenlockStatus>();
    status.state = now_ % 2 == 0 ? 1 : 5;
    return status;
  }
  GenlockSettings ReadGenlockSettings() const override { return MakeRecord<GenlockSettings>(); }
  St2059Status ReadSt2059Status() const override {
    auto status = MakeRecord<St2059Status>();
    status.state = static_cast<std::int32_t>(now_);
    return status;
  }
  St2059Settings ReadSt2059Settings() const override { return MakeRecord<St2059Settings>(); }
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t) const override { return MakeRecord<St2059SfpStatus>(); }
  SfpIpStatus ReadSfpIpStatus(std::size_t sfp) const override {
    auto status = MakeRecord<SfpIpStatus>();
    status.signalPresent = sfp != 0 || now_ % 2 == 0;
    return status;
  }

 private:
  const CardDescription description_;
  std::int64_t now_ = 0;
};

inline System OneCard(std::unique_ptr<Card> card) {
  System system;
  system.cards.push_back(std::move(card));
  return system;
}

/// The objects of a system's first card, got as a caller gets them.
struct CardObjects {
  explicit CardObjects(std::chrono::seconds limit = std::chrono::seconds(0),
                       System system = OneCard(std::make_unique<BusyCard>()),
                       std::chrono::seconds leap = std::chrono::seconds(0)) {
    const auto shared =
        std::make_shared<Activation>(std::move(system), std::make_shared<LeapingClock>(limit, leap));
    activation = shared;
    *&root = MakeSystemConfiguration(shared);
    root->GetCardEnumerator(&cards);
    TZvSmartPtr<IZvCardConfiguration> plain;
    cards->Next(&plain);
    plain->QueryInterface(IID_IZvCardConfigurationPrivate, reinterpret_cast<void**>(&card));
    card->GetGenlockConfiguration(&genlock);
    genlock->GetNotification(&genlockNotification);
    card->GetSmpte2059(&smpte2059);
    card->CreateSfpIpEnumerator(&sfps);
    for (int sfp = 0; sfp < 2; ++sfp) {
      sfps->Next(&sfpIp[sfp]);
      if (!sfpIp[sfp].IsNull() && !smpte2059.IsNull())
        smpte2059->GetSfp(sfpIp[sfp].Get(), &smpte2059Sfp[sfp]);
    }
  }

  /// Of the card's time.
  std::int64_t Now() const { return activation.lock()->Engine(0).Now(); }

  std::weak_ptr<Activation> activation;
  TZvSmartPtr<IZvSystemConfiguration> root;
  TZvSmartPtr<IZvSystemConfigurationCardEnumerator> cards;
  TZvSmartPtr<IZvCardConfigurationPrivate> card;
  TZvSmartPtr<IZvGenlockConfiguration> genlock;
  TZvSmartPtr<IZvGenlockNotification> genlockNotification;
  TZvSmartPtr<IZvSmpte2059> smpte2059;
  TZvSmartPtr<IZvSfpIpEnumerator> sfps;
  TZvSmartPtr<IZvSfpIp> sfpIp[2];
  TZvSmartPtr<IZvSmpte2059Sfp> smpte2059Sfp[2];
};

/// Waits up to ten seconds for something that is expected to come true soon.
inline bool Eventually(const std::function<bool()>& condition) {
  for (int attempt = 0; attempt < 10'000; ++attempt) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

}  // namespace kestrune::kit
