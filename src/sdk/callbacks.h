#pragma once

#include "sdk/card_services.h"
#include "sdk/zv_unknown.h"

namespace kestrune {

// The callback objects that the card services hold, and the subscribers that they forward to. Each forwards
// on the card services' thread and answers S_OK whatever happened in the subscriber. The subscriber is not
// owned and must outlive the callback's registration.

class GenlockStatusChangeNotificationSubscriber {
 public:
  virtual ~GenlockStatusChangeNotificationSubscriber() = default;
  virtual void OnGenlockStatusChange(const GenlockStatus& status) = 0;
};

class ST2059StatusNotificationSubscriber {
 public:
  virtual ~ST2059StatusNotificationSubscriber() = default;
  virtual void OnSt2059StatusChange(const St2059Status& status) = 0;
};

class SfpIpNotificationSubscriber {
 public:
  virtual ~SfpIpNotificationSubscriber() = default;
  virtual void OnSfpIpStatusChange(IZvSfpIp& sfp, const SfpIpStatus& status) = 0;
};

class GenlockStatusCallback : public CZvUnknown, public IZvGenlockNotificationCallback {
 public:
  explicit GenlockStatusCallback(GenlockStatusChangeNotificationSubscriber* subscriber)
      : CZvUnknown(L"GenlockStatusCallback"), subscriber_(subscriber) {}
  ZV_FORWARD_UNKNOWN(override)

  HRESULT STDMETHODCALLTYPE OnGenlockStatusChanged(const GenlockStatus* status) override {
    subscriber_->OnGenlockStatusChange(*status);
    return S_OK;
  }

 private:
  GenlockStatusChangeNotificationSubscriber* const subscriber_;
};

class ST2059StatusCallback : public CZvUnknown, public IZvSmpte2059NotificationCallback {
 public:
  explicit ST2059StatusCallback(ST2059StatusNotificationSubscriber* subscriber)
      : CZvUnknown(L"ST2059StatusCallback"), subscriber_(subscriber) {}
  ZV_FORWARD_UNKNOWN(override)

  HRESULT STDMETHODCALLTYPE OnSt2059StatusChanged(const St2059Status* status) override {
    subscriber_->OnSt2059StatusChange(*status);
    return S_OK;
  }

 private:
  ST2059StatusNotificationSubscriber* const subscriber_;
};

class SfpIpNotificationCallback : public CZvUnknown, public IZvSfpIpNotificationCallback {
 public:
  explicit SfpIpNotificationCallback(SfpIpNotificationSubscriber* subscriber)
      : CZvUnknown(L"SfpIpNotificationCallback"), subscriber_(subscriber) {}
  ZV_FORWARD_UNKNOWN(override)

  HRESULT STDMETHODCALLTYPE OnSfpIpStatusChanged(IZvSfpIp* sfp, const SfpIpStatus* status) override {
    subscriber_->OnSfpIpStatusChange(*sfp, *status);
    return S_OK;
  }

 private:
  SfpIpNotificationSubscriber* const subscriber_;
};

}  // namespace kestrune
