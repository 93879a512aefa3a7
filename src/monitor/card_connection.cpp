#include "monitor/card_connection.h"

#include <new>

namespace kestrune {

ResultHolder CardConnection::Connect(IZvCardConfiguration& card) {
  return CheckGiven(card.QueryInterface(IID_IZvCardConfigurationPrivate, reinterpret_cast<void**>(&card_)),
                    card_);
}

ResultHolder CardConnection::ConfigureGenlock(GenlockStatusChangeNotificationSubscriber* subscriber) {
  ResultHolder result =
      CheckGiven(card_->GetGenlockConfiguration(&genlockConfiguration_), genlockConfiguration_);
  if (result.Succeeded()) {
    result = CheckGiven(genlockConfiguration_->GetNotification(&genlockNotification_), genlockNotification_);
  }
  if (result.Failed()) return result;

  genlockCallback_ = new (std::nothrow) GenlockStatusCallback(subscriber);
  if (genlockCallback_.IsNull()) return ZV_E_FAIL;
  return genlockNotification_->RegisterCallback(*genlockCallback_);
}

ResultHolder CardConnection::ConfigureSt2059(ST2059StatusNotificationSubscriber* subscriber) {
  const ResultHolder result = CheckGiven(card_->GetSmpte2059(&smpte2059_), smpte2059_);
  if (result.Failed()) return result;

  st2059Callback_ = new ST2059StatusCallback(subscriber);
  return smpte2059_->RegisterCallback(*st2059Callback_);
}

ResultHolder CardConnection::ConfigureSfpIp(SfpIpNotificationSubscriber* subscriber) {
  ResultHolder result = FindSfpIps();
  if (result.Failed()) return result;

  sfpIpCallback_ = new SfpIpNotificationCallback(subscriber);
  for (std::size_t i = 0; i < sfpCount && result.Succeeded(); ++i) {
    result = sfpIps_[i]->RegisterCallback(*sfpIpCallback_);
  }
  return result;
}

ResultHolder CardConnection::FindSfpIps() {
  TZvSmartPtr<IZvSfpIpEnumerator> enumerator;
  ResultHolder result = CheckGiven(card_->CreateSfpIpEnumerator(&enumerator), enumerator);
  while (result.Succeeded() && (sfpIps_[0].IsNull() || sfpIps_[1].IsNull())) {
    TZvSmartPtr<IZvSfpIp> sfpIp;
    result = CheckGiven(enumerator->Next(&sfpIp), sfpIp);
    if (result.Failed()) break;
    const std::uint32_t sfpNumber = sfpIp->GetSfpNumber();
    if (sfpNumber == 1 || sfpNumber == 2) sfpIps_[sfpNumber - 1] = sfpIp;
  }
  return result;
}

ResultHolder CardConnection::GetSt2059Sfps() {
  ResultHolder result;
  for (std::size_t i = 0; i < sfpCount && result.Succeeded(); ++i) {
    result = CheckGiven(smpte2059_->GetSfp(*sfpIps_[i], &st2059Sfps_[i]), st2059Sfps_[i]);
  }
  hasSt2059Sfps_ = result.Succeeded();
  return result;
}

void CardConnection::Unregister(IZvSmpte2059MonitorDataNotificationCallback* monitorDataCallback) {
  if (!card_.IsNull()) card_->UnregisterMonitorDataCallback(monitorDataCallback);
  if (!genlockNotification_.IsNull()) genlockNotification_->UnregisterCallback(genlockCallback_.Get());
  if (!smpte2059_.IsNull()) smpte2059_->UnregisterCallback(st2059Callback_.Get());
  if (!sfpIps_[0].IsNull()) sfpIps_[0]->UnregisterCallback(sfpIpCallback_.Get());
}

void CardConnection::Release() {
  sfpIpCallback_ = nullptr;
  st2059Callback_ = nullptr;
  genlockCallback_ = nullptr;
  st2059Sfps_[1] = nullptr;
  st2059Sfps_[0] = nullptr;
  sfpIps_[1] = nullptr;
  sfpIps_[0] = nullptr;
  smpte2059_ = nullptr;
  genlockNotification_ = nullptr;
  genlockConfiguration_ = nullptr;
  card_ = nullptr;
}

}  // namespace kestrune
