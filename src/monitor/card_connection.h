#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "diag/result_holder.h"
#include "sdk/callbacks.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"

namespace kestrune {

/// The interfaces of the monitored card and the callbacks registered with it.
///
/// The main thread connects, configures in the order of the functions below, and disconnects; a step that
/// fails is followed by no other. What a configured step has given may be used from any thread until Release.
class CardConnection {
 public:
  static constexpr std::size_t sfpCount = 2;

  ResultHolder Connect(IZvCardConfiguration& card);
  // Get the interfaces, then register a callback that forwards to the subscriber.
  ResultHolder ConfigureGenlock(GenlockStatusChangeNotificationSubscriber* subscriber);
  ResultHolder ConfigureSt2059(ST2059StatusNotificationSubscriber* subscriber);
  ResultHolder ConfigureSfpIp(SfpIpNotificationSubscriber* subscriber);
  ResultHolder GetSt2059Sfps();

  /// Unregisters whatever is there, `monitorDataCallback` first, but for SFP B's callback: that one goes with
  /// its interface, in Release.
  void Unregister(IZvSmpte2059MonitorDataNotificationCallback* monitorDataCallback);

  /// Gives the callbacks back, then the interfaces, the last one got first.
  void Release();

  IZvCardConfigurationPrivate& Card() const { return **card_; }
  IZvGenlockConfiguration& Genlock() const { return **genlockConfiguration_; }
  IZvSmpte2059& Smpte2059() const { return **smpte2059_; }
  IZvSfpIp& SfpIp(std::size_t sfp) const { return **sfpIps_[sfp]; }
  /// A change reported while the run is still being set up comes before the SFPs' interfaces.
  bool HasSt2059Sfps() const { return hasSt2059Sfps_; }
  IZvSmpte2059Sfp& St2059Sfp(std::size_t sfp) const { return **st2059Sfps_[sfp]; }

 private:
  ResultHolder FindSfpIps();

  // Set by the main thread before the card services can call what uses them, but for st2059Sfps_: those are
  // complete once hasSt2059Sfps_ is set.
  TZvSmartPtr<IZvCardConfigurationPrivate> card_;
  TZvSmartPtr<IZvGenlockConfiguration> genlockConfiguration_;
  TZvSmartPtr<IZvGenlockNotification> genlockNotification_;
  TZvSmartPtr<IZvSmpte2059> smpte2059_;
  std::array<TZvSmartPtr<IZvSfpIp>, sfpCount> sfpIps_;
  std::array<TZvSmartPtr<IZvSmpte2059Sfp>, sfpCount> st2059Sfps_;
  std::atomic<bool> hasSt2059Sfps_ = false;
  TZvSmartPtr<GenlockStatusCallback> genlockCallback_;
  TZvSmartPtr<ST2059StatusCallback> st2059Callback_;
  TZvSmartPtr<SfpIpNotificationCallback> sfpIpCallback_;
};

}  // namespace kestrune
