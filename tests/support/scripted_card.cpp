#include "support/scripted_card.h"

#include <thread>

#include "kit/card_objects.h"
#include "platform/clock.h"

namespace kestrune::test {
namespace {

struct StandingClock final : Clock {
  std::int64_t NowTicks() override { return 0; }
  std::int64_t EpochSeconds() override { return 0; }
  void SleepUntil(std::int64_t) override { SleepFor({}); }
  void SleepFor(std::chrono::milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
};

}  // namespace

ScriptedCard::ScriptedCard() {
  kit::System system;
  system.cards.emplace_back(&state);
  system.strike = [this](kit::Operation operation, std::int64_t) { return Note(operation); };
  activation_ = std::make_shared<kit::Activation>(std::move(system), std::make_shared<StandingClock>());
  card_ = static_cast<IZvCardConfigurationPrivate*>(kit::MakeCardObject(activation_, 0));
}

ScriptedCard::~ScriptedCard() { card_->Release(); }

std::vector<std::string_view> ScriptedCard::TakeCalls() {
  const std::lock_guard lock(mutex_);
  return std::exchange(calls_, {});
}

std::size_t ScriptedCard::References() {
  const ULONG onCard = card_->AddRef() - 2;  // this one and the holder's
  card_->Release();
  return onCard + static_cast<std::size_t>(activation_.use_count()) - 2;
}

std::optional<HRESULT> ScriptedCard::Note(kit::Operation operation) {
  const auto result = onCall ? onCall(operation) : std::nullopt;
  const std::lock_guard lock(mutex_);
  calls_.push_back(kit::operationNames[static_cast<std::size_t>(operation)]);
  return result;
}

void ScriptedCard::TellMonitorData() {
  Engine().MonitorDataCallbacks().CallEach([](IUnknown*, IUnknown* callback) {
    static_cast<IZvSmpte2059MonitorDataNotificationCallback*>(callback)->OnMonitorDataReady();
  });
}

void ScriptedCard::TellGenlock() {
  Engine().GenlockCallbacks().CallEach([&](IUnknown*, IUnknown* callback) {
    static_cast<IZvGenlockNotificationCallback*>(callback)->OnGenlockStatusChanged(&state.genlockStatus);
  });
}

void ScriptedCard::TellSt2059() {
  Engine().St2059Callbacks().CallEach([&](IUnknown*, IUnknown* callback) {
    static_cast<IZvSmpte2059NotificationCallback*>(callback)->OnSt2059StatusChanged(&state.st2059Status);
  });
}

void ScriptedCard::TellSfpIp(std::uint32_t sfpNumber) {
  Engine().SfpIpCallbacks(sfpNumber).CallEach([&](IUnknown* sfp, IUnknown* callback) {
    static_cast<IZvSfpIpNotificationCallback*>(callback)->OnSfpIpStatusChanged(static_cast<IZvSfpIp*>(sfp),
                                                                               &state.sfpIpStatus);
  });
}

HRESULT ScriptedCard::QueryInterface(REFIID iid, void** object) {
  const HRESULT result = card_->QueryInterface(iid, object);
  if (SUCCEEDED(result)) *object = static_cast<IZvCardConfigurationPrivate*>(this);
  return result;
}

HRESULT ScriptedCard::GetMonitorData(MonitorDataBatch* batch) {
  if (monitorData) monitorData(*batch);
  return S_OK;
}

}  // namespace kestrune::test
