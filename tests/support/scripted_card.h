#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kit/activation.h"
#include "kit/card.h"
#include "sdk/card_services.h"

namespace kestrune::test {

/// What a scripted card reports, its SFPs alike. Its time stands still.
struct ScriptedState final : kit::Card {
  kit::CardDescription description;
  GenlockStatus genlockStatus = MakeRecord<GenlockStatus>();
  GenlockSettings genlockSettings = MakeRecord<GenlockSettings>();
  St2059Status st2059Status = MakeRecord<St2059Status>();
  St2059Settings st2059Settings = MakeRecord<St2059Settings>();
  St2059SfpStatus st2059SfpStatus = MakeRecord<St2059SfpStatus>();
  SfpIpStatus sfpIpStatus = MakeRecord<SfpIpStatus>();

  const kit::CardDescription& Description() const override { return description; }
  void Wake(std::int64_t) override {}
  std::int64_t Now() const override { return 0; }
  Step Advance() override { return {}; }
  GenlockStatus ReadGenlockStatus() const override { return genlockStatus; }
  GenlockSettings ReadGenlockSettings() const override { return genlockSettings; }
  St2059Status ReadSt2059Status() const override { return st2059Status; }
  St2059Settings ReadSt2059Settings() const override { return st2059Settings; }
  St2059SfpStatus ReadSt2059SfpStatus(std::size_t) const override { return st2059SfpStatus; }
  SfpIpStatus ReadSfpIpStatus(std::size_t) const override { return sfpIpStatus; }
};

/// A card under the hand of the test, made of the objects of the card services libraries: what it reports is
/// in its state, what it is asked is noted, and it notifies when the test says so.
///
/// Only the telemetry is apart: the test fills each batch that the program fetches, so the program is given
/// an object that passes on everything else.
class ScriptedCard : private IZvCardConfigurationPrivate {
 public:
  ScriptedCard();
  ~ScriptedCard();
  ScriptedCard(const ScriptedCard&) = delete;
  ScriptedCard& operator=(const ScriptedCard&) = delete;

  IZvCardConfiguration* Interface() { return this; }

  /// The operations called since the last time, but for fetches.
  std::vector<std::string_view> TakeCalls();

  /// What the program holds of the card: its objects, and references on the card itself.
  std::size_t References();

  // Each kind by one thread at a time. Where nothing is registered they do nothing.
  void TellMonitorData();
  void TellGenlock();
  void TellSt2059();
  void TellSfpIp(std::uint32_t sfpNumber);

  kit::CardEngine& Engine() { return activation_->Engine(0); }

  ScriptedState& state = *new ScriptedState;  ///< the engine's; changed while nobody reads it

  /// Told each operation but a fetch before it does its work; may block, or give what to return instead. Set
  /// before threads start, as is the next.
  std::function<std::optional<HRESULT>(kit::Operation operation)> onCall;

  /// Fills the batch that the program fetches. Called on the thread that notifies.
  std::function<void(MonitorDataBatch&)> monitorData;

 private:
  std::optional<HRESULT> Note(kit::Operation operation);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return card_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return card_->Release(); }
  HRESULT STDMETHODCALLTYPE GetGenlockConfiguration(IZvGenlockConfiguration** genlock) override {
    return card_->GetGenlockConfiguration(genlock);
  }
  HRESULT STDMETHODCALLTYPE GetCardInformation(CardInformation* information,
                                               std::uint32_t reserved) override {
    return card_->GetCardInformation(information, reserved);
  }
  HRESULT STDMETHODCALLTYPE CreateSfpIpEnumerator(IZvSfpIpEnumerator** enumerator) override {
    return card_->CreateSfpIpEnumerator(enumerator);
  }
  HRESULT STDMETHODCALLTYPE GetSmpte2059(IZvSmpte2059** smpte2059) override {
    return card_->GetSmpte2059(smpte2059);
  }
  HRESULT STDMETHODCALLTYPE
  RegisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override {
    return card_->RegisterMonitorDataCallback(callback);
  }
  HRESULT STDMETHODCALLTYPE
  UnregisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override {
    return card_->UnregisterMonitorDataCallback(callback);
  }
  HRESULT STDMETHODCALLTYPE GetMonitorData(MonitorDataBatch* batch) override;

  std::shared_ptr<kit::Activation> activation_;
  IZvCardConfigurationPrivate* card_ = nullptr;  ///< with a reference

  std::mutex mutex_;
  std::vector<std::string_view> calls_;  ///< guarded by mutex_
};

/// The callback of a list that has one, while nobody calls the list.
template <class Callback>
Callback* Registered(kit::CallbackList& list) {
  Callback* registered = nullptr;
  list.CallEach([&](IUnknown*, IUnknown* callback) { registered = static_cast<Callback*>(callback); });
  return registered;
}

}  // namespace kestrune::test
