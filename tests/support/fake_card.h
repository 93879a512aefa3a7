#pragma once

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "diag/result_codes.h"
#include "sdk/card_services.h"

namespace kestrune::test {

/// An interface whose references are counted and never delete.
template <class Interface>
class Counted : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  std::atomic<std::uint32_t> references = 0;
};

/// What the program has registered for one kind of notification, kept with a reference.
template <class Callback>
class Registration {
 public:
  HRESULT Register(HRESULT result, Callback* callback) {
    if (SUCCEEDED(result)) Set(callback);
    return result;
  }
  HRESULT Unregister(HRESULT result, Callback* callback) {
    if (callback_ != callback) return ZV_E_NOT_FOUND;
    if (SUCCEEDED(result)) Set(nullptr);
    return result;
  }
  /// Waits for a Notify that is under way. Null: none any more.
  void Set(Callback* callback) {
    const std::lock_guard lock(mutex_);
    if (callback != nullptr) callback->AddRef();
    if (callback_ != nullptr) callback_->Release();
    callback_ = callback;
  }

  /// For a test that knows that it is registered and stays so.
  Callback* operator->() const { return callback_; }

  /// Passes the callback to `notify` if there is one. Any thread.
  template <class Function>
  void Notify(Function notify) {
    const std::lock_guard lock(mutex_);
    if (callback_ != nullptr) notify(*callback_);
  }

 private:
  std::mutex mutex_;
  Callback* callback_ = nullptr;
};

/// A card under the hand of the test: what it reports is in plain members, what it is asked is noted, and
/// every operation can be made to fail by its name.
class FakeCard {
 public:
  FakeCard();

  /// The operations called so far, such as "GenlockConfiguration.GetStatus".
  std::vector<std::string> Calls() const;
  void ForgetCalls();

  /// References that the program still holds on any of the card's interfaces.
  std::uint32_t References() const;

  std::map<std::string, HRESULT> failures;  ///< by operation; set before threads start

  /// Told each operation before it does its work, and "SfpIpA.Close", "SfpIpB.Close" when the program has let
  /// go of an SFP; may block. Set before threads start.
  std::function<void(const std::string& operation)> onCall;

  CardInformation information = MakeRecord<CardInformation>();
  bool hasSt2059 = true;
  std::vector<std::uint32_t> sfpNumbers{1, 2};
  GenlockStatus genlockStatus = MakeRecord<GenlockStatus>();
  GenlockSettings genlockSettings = MakeRecord<GenlockSettings>();
  St2059Status st2059Status = MakeRecord<St2059Status>();
  St2059Settings st2059Settings = MakeRecord<St2059Settings>();
  std::array<St2059SfpStatus, 2> st2059SfpStatuses{MakeRecord<St2059SfpStatus>(),
                                                   MakeRecord<St2059SfpStatus>()};
  std::array<SfpIpStatus, 2> sfpIpStatuses{MakeRecord<SfpIpStatus>(), MakeRecord<SfpIpStatus>()};

  /// Fills the batch that the program fetches. Called on the thread that notifies.
  std::function<void(MonitorDataBatch&)> monitorData;

  Registration<IZvSmpte2059MonitorDataNotificationCallback> monitorDataCallback;
  Registration<IZvGenlockNotificationCallback> genlockCallback;
  Registration<IZvSmpte2059NotificationCallback> st2059Callback;
  std::array<Registration<IZvSfpIpNotificationCallback>, 2> sfpIpCallbacks;

  IZvCardConfigurationPrivate* Interface() { return &card_; }
  IZvSfpIp* SfpIp(std::size_t sfp) { return &sfpIps_[sfp]; }

  /// Notes the call; what it returns is the operation's result.
  HRESULT Call(const std::string& operation);

 private:
  struct Card : Counted<IZvCardConfigurationPrivate> {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE GetGenlockConfiguration(IZvGenlockConfiguration** genlock) override;
    HRESULT STDMETHODCALLTYPE GetCardInformation(CardInformation* information,
                                                 std::uint32_t reserved) override;
    HRESULT STDMETHODCALLTYPE CreateSfpIpEnumerator(IZvSfpIpEnumerator** enumerator) override;
    HRESULT STDMETHODCALLTYPE GetSmpte2059(IZvSmpte2059** smpte2059) override;
    HRESULT STDMETHODCALLTYPE
    RegisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE
    UnregisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE GetMonitorData(MonitorDataBatch* batch) override;
    FakeCard* owner = nullptr;
  };
  struct Genlock : Counted<IZvGenlockConfiguration> {
    HRESULT STDMETHODCALLTYPE GetSettings(GenlockSettings* settings) override;
    HRESULT STDMETHODCALLTYPE GetNotification(IZvGenlockNotification** notification) override;
    HRESULT STDMETHODCALLTYPE GetStatus(GenlockStatus* status) override;
    FakeCard* owner = nullptr;
  };
  struct GenlockNotification : Counted<IZvGenlockNotification> {
    HRESULT STDMETHODCALLTYPE RegisterCallback(IZvGenlockNotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvGenlockNotificationCallback* callback) override;
    FakeCard* owner = nullptr;
  };
  struct Smpte2059 : Counted<IZvSmpte2059> {
    HRESULT STDMETHODCALLTYPE GetSettings(St2059Settings* settings) override;
    HRESULT STDMETHODCALLTYPE GetStatus(St2059Status* status) override;
    HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSmpte2059NotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSmpte2059NotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE GetSfp(IZvSfpIp* sfpIp, IZvSmpte2059Sfp** sfp) override;
    FakeCard* owner = nullptr;
  };
  struct Smpte2059Sfp : Counted<IZvSmpte2059Sfp> {
    HRESULT STDMETHODCALLTYPE GetStatus(St2059SfpStatus* status) override;
    FakeCard* owner = nullptr;
    std::size_t sfp = 0;
  };
  struct SfpIpPort : Counted<IZvSfpIp> {
    /// With its last reference goes its callback.
    ULONG STDMETHODCALLTYPE Release() override;
    std::uint32_t STDMETHODCALLTYPE GetSfpNumber() override { return sfpNumber; }
    HRESULT STDMETHODCALLTYPE GetStatus(SfpIpStatus* status) override;
    HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSfpIpNotificationCallback* callback) override;
    HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSfpIpNotificationCallback* callback) override;
    FakeCard* owner = nullptr;
    std::size_t sfp = 0;
    std::uint32_t sfpNumber = 0;
    std::string Operation(const char* name) const { return std::string("SfpIp") + "AB"[sfp] + "." + name; }
  };
  struct SfpIpEnumerator : Counted<IZvSfpIpEnumerator> {
    HRESULT STDMETHODCALLTYPE Next(IZvSfpIp** sfp) override;
    FakeCard* owner = nullptr;
    std::size_t next = 0;
  };

  Card card_;
  Genlock genlock_;
  GenlockNotification genlockNotification_;
  Smpte2059 smpte2059_;
  std::array<Smpte2059Sfp, 2> smpte2059Sfps_;
  std::array<SfpIpPort, 2> sfpIps_;
  SfpIpPort strangeSfpIp_;  ///< handed out for every SFP number but 1 and 2
  SfpIpEnumerator sfpIpEnumerator_;

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;  ///< guarded by mutex_
};

}  // namespace kestrune::test
