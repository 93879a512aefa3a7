#include "support/fake_card.h"

#include <algorithm>

namespace kestrune::test {
namespace {

template <class Interface, class Object>
HRESULT HandOut(HRESULT result, Interface** out, Object& object) {
  if (FAILED(result)) return result;
  object.AddRef();
  *out = &object;
  return result;
}

template <class Record>
HRESULT Fill(HRESULT result, Record* out, const Record& record) {
  if (out->size != sizeof(Record)) return ZV_E_INVALID_STRUCTURE_SIZE;
  if (SUCCEEDED(result)) *out = record;
  return result;
}

}  // namespace

FakeCard::FakeCard() {
  card_.owner = genlock_.owner = genlockNotification_.owner = smpte2059_.owner = sfpIpEnumerator_.owner =
      this;
  strangeSfpIp_.owner = this;
  for (std::size_t i = 0; i < 2; ++i) {
    smpte2059Sfps_[i].owner = sfpIps_[i].owner = this;
    smpte2059Sfps_[i].sfp = sfpIps_[i].sfp = i;
    sfpIps_[i].sfpNumber = static_cast<std::uint32_t>(i) + 1;
  }
}

std::vector<std::string> FakeCard::Calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

void FakeCard::ForgetCalls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

std::uint32_t FakeCard::References() const {
  return card_.references + genlock_.references + genlockNotification_.references + smpte2059_.references +
         smpte2059Sfps_[0].references + smpte2059Sfps_[1].references + sfpIps_[0].references +
         sfpIps_[1].references + strangeSfpIp_.references + sfpIpEnumerator_.references;
}

HRESULT FakeCard::Call(const std::string& operation) {
  if (onCall) onCall(operation);
  const std::lock_guard lock(mutex_);
  calls_.push_back(operation);
  const auto failure = failures.find(operation);
  return failure != failures.end() ? failure->second : ZV_NOERROR;
}

HRESULT FakeCard::Card::QueryInterface(REFIID iid, void** object) {
  *object = nullptr;
  if (!IsEqualGUID(iid, IID_IZvCardConfigurationPrivate)) return E_NOINTERFACE;
  return HandOut(owner->Call("Card.QueryInterface"), reinterpret_cast<IZvCardConfigurationPrivate**>(object),
                 *this);
}

HRESULT FakeCard::Card::GetGenlockConfiguration(IZvGenlockConfiguration** genlock) {
  return HandOut(owner->Call("Card.GetGenlockConfiguration"), genlock, owner->genlock_);
}

HRESULT FakeCard::Card::GetCardInformation(CardInformation* out, std::uint32_t) {
  if (out->nested.size != sizeof(CardInformation::Nested)) return ZV_E_INVALID_STRUCTURE_SIZE;
  return Fill(owner->Call("Card.GetCardInformation"), out, owner->information);
}

HRESULT FakeCard::Card::CreateSfpIpEnumerator(IZvSfpIpEnumerator** enumerator) {
  owner->sfpIpEnumerator_.next = 0;
  return HandOut(owner->Call("Card.CreateSfpIpEnumerator"), enumerator, owner->sfpIpEnumerator_);
}

HRESULT FakeCard::Card::GetSmpte2059(IZvSmpte2059** smpte2059) {
  const HRESULT result = owner->Call("Card.GetSmpte2059");
  return owner->hasSt2059 ? HandOut(result, smpte2059, owner->smpte2059_) : result;
}

HRESULT FakeCard::Card::RegisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) {
  return owner->monitorDataCallback.Register(owner->Call("Card.RegisterMonitorData"), callback);
}

HRESULT FakeCard::Card::UnregisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) {
  return owner->monitorDataCallback.Unregister(owner->Call("Card.UnregisterMonitorData"), callback);
}

HRESULT FakeCard::Card::GetMonitorData(MonitorDataBatch* batch) {
  if (owner->monitorData) owner->monitorData(*batch);
  return ZV_NOERROR;
}

HRESULT FakeCard::Genlock::GetSettings(GenlockSettings* settings) {
  return Fill(owner->Call("Genlock.GetSettings"), settings, owner->genlockSettings);
}

HRESULT FakeCard::Genlock::GetNotification(IZvGenlockNotification** notification) {
  return HandOut(owner->Call("Genlock.GetNotification"), notification, owner->genlockNotification_);
}

HRESULT FakeCard::Genlock::GetStatus(GenlockStatus* status) {
  return Fill(owner->Call("Genlock.GetStatus"), status, owner->genlockStatus);
}

HRESULT FakeCard::GenlockNotification::RegisterCallback(IZvGenlockNotificationCallback* callback) {
  return owner->genlockCallback.Register(owner->Call("Genlock.Register"), callback);
}

HRESULT FakeCard::GenlockNotification::UnregisterCallback(IZvGenlockNotificationCallback* callback) {
  return owner->genlockCallback.Unregister(owner->Call("Genlock.Unregister"), callback);
}

HRESULT FakeCard::Smpte2059::GetSettings(St2059Settings* settings) {
  return Fill(owner->Call("Smpte2059.GetSettings"), settings, owner->st2059Settings);
}

HRESULT FakeCard::Smpte2059::GetStatus(St2059Status* status) {
  return Fill(owner->Call("Smpte2059.GetStatus"), status, owner->st2059Status);
}

HRESULT FakeCard::Smpte2059::RegisterCallback(IZvSmpte2059NotificationCallback* callback) {
  return owner->st2059Callback.Register(owner->Call("Smpte2059.Register"), callback);
}

HRESULT FakeCard::Smpte2059::UnregisterCallback(IZvSmpte2059NotificationCallback* callback) {
  return owner->st2059Callback.Unregister(owner->Call("Smpte2059.Unregister"), callback);
}

HRESULT FakeCard::Smpte2059::GetSfp(IZvSfpIp* sfpIp, IZvSmpte2059Sfp** sfp) {
  return HandOut(owner->Call("Smpte2059.GetSfp"), sfp, owner->smpte2059Sfps_[sfpIp->GetSfpNumber() - 1]);
}

HRESULT FakeCard::Smpte2059Sfp::GetStatus(St2059SfpStatus* status) {
  return Fill(owner->Call(std::string("Smpte2059Sfp") + "AB"[sfp] + ".GetStatus"), status,
              owner->st2059SfpStatuses[sfp]);
}

ULONG FakeCard::SfpIpPort::Release() {
  const ULONG left = --references;
  if (left == 0 && this != &owner->strangeSfpIp_) {
    if (owner->onCall) owner->onCall(Operation("Close"));
    owner->sfpIpCallbacks[sfp].Set(nullptr);
  }
  return left;
}

HRESULT FakeCard::SfpIpPort::GetStatus(SfpIpStatus* status) {
  return Fill(owner->Call(Operation("GetStatus")), status, owner->sfpIpStatuses[sfp]);
}

HRESULT FakeCard::SfpIpPort::RegisterCallback(IZvSfpIpNotificationCallback* callback) {
  return owner->sfpIpCallbacks[sfp].Register(owner->Call(Operation("Register")), callback);
}

HRESULT FakeCard::SfpIpPort::UnregisterCallback(IZvSfpIpNotificationCallback* callback) {
  return owner->sfpIpCallbacks[sfp].Unregister(owner->Call(Operation("Unregister")), callback);
}

HRESULT FakeCard::SfpIpEnumerator::Next(IZvSfpIp** sfp) {
  const HRESULT result = owner->Call("SfpIpEnumerator.Next");
  if (FAILED(result)) return result;
  if (next == owner->sfpNumbers.size()) return ZV_E_END_OF_ENUM;
  const std::uint32_t number = owner->sfpNumbers[next++];
  const bool known = number == 1 || number == 2;
  if (!known) owner->strangeSfpIp_.sfpNumber = number;
  return HandOut(result, sfp, known ? owner->sfpIps_[number - 1] : owner->strangeSfpIp_);
}

}  // namespace kestrune::test
