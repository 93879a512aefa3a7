#pragma once

// The contract of the card services: the interfaces through which the program reaches a card and the ones
// through which the card services call back. What matters is each operation's position in its interface's
// table, the three of IUnknown being 0 to 2; the positions that the program never calls are only marked.
//
// Every operation but IZvSfpIp::GetSfpNumber returns an HRESULT. An interface that comes back in an out
// parameter carries a reference that the caller releases; an interface passed in is lent, and the card
// services take references of their own on what they keep. A record passed in or out belongs to the caller.

#include <cstdint>
#include <type_traits>

#include "platform/com.h"
#include "sdk/records.h"

namespace kestrune {

inline constexpr CLSID CLSID_ZvSystemConfiguration = {
    0x61113A25, 0x4EF7, 0x45CA, {0x94, 0x93, 0xC2, 0x0D, 0x25, 0x5E, 0x4A, 0xCA}};
inline constexpr IID IID_IZvSystemConfiguration = {
    0x20B81B34, 0x7788, 0x4021, {0xBF, 0xEA, 0x15, 0x15, 0x0B, 0x64, 0x28, 0x03}};
inline constexpr IID IID_IZvCardConfigurationPrivate = {
    0x67BBE776, 0x56AF, 0x4E34, {0x9B, 0x30, 0xC0, 0xC0, 0x62, 0x86, 0x33, 0x86}};

/// Holds the positions First to Last of a table of operations that Kestrune doesn't call.
template <class Base, unsigned First, unsigned Last>
struct SkippedPositions : SkippedPositions<Base, First, Last - 1> {
  virtual HRESULT STDMETHODCALLTYPE Skipped(std::integral_constant<unsigned, Last>) { return E_NOTIMPL; }
};

template <class Base, unsigned First>
struct SkippedPositions<Base, First, First> : Base {
  virtual HRESULT STDMETHODCALLTYPE Skipped(std::integral_constant<unsigned, First>) { return E_NOTIMPL; }
};

// Called by the card services, on threads of their own, at any time between registration and unregistration.
// A record is valid for the length of the call.

struct IZvGenlockNotificationCallback : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE OnGenlockStatusChanged(const GenlockStatus* status) = 0;
};

struct IZvSmpte2059NotificationCallback : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE OnSt2059StatusChanged(const St2059Status* status) = 0;
};

struct IZvSfpIp;

struct IZvSfpIpNotificationCallback : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE OnSfpIpStatusChanged(IZvSfpIp* sfp, const SfpIpStatus* status) = 0;
};

struct IZvSmpte2059MonitorDataNotificationCallback : IUnknown {
  /// A batch waits for IZvCardConfigurationPrivate::GetMonitorData.
  virtual HRESULT STDMETHODCALLTYPE OnMonitorDataReady() = 0;
};

// Called by the program.

/// One SFP of the card as a network port.
struct IZvSfpIp : IUnknown {
  /// 1 for SFP A, 2 for SFP B; not an HRESULT.
  virtual std::uint32_t STDMETHODCALLTYPE GetSfpNumber() = 0;
  virtual HRESULT STDMETHODCALLTYPE Skipped4() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE Skipped5() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetStatus(SfpIpStatus* status) = 0;
  virtual HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSfpIpNotificationCallback* callback) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSfpIpNotificationCallback* callback) = 0;
};

struct IZvSfpIpEnumerator : SkippedPositions<IUnknown, 3, 3> {
  /// Any failure ends the enumeration.
  virtual HRESULT STDMETHODCALLTYPE Next(IZvSfpIp** sfp) = 0;
};

/// The PTP port of one SFP.
struct IZvSmpte2059Sfp : SkippedPositions<IUnknown, 3, 4> {
  virtual HRESULT STDMETHODCALLTYPE GetStatus(St2059SfpStatus* status) = 0;
};

/// The card's ST 2059 follower.
struct IZvSmpte2059 : SkippedPositions<IUnknown, 3, 3> {
  virtual HRESULT STDMETHODCALLTYPE GetSettings(St2059Settings* settings) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetStatus(St2059Status* status) = 0;
  virtual HRESULT STDMETHODCALLTYPE RegisterCallback(IZvSmpte2059NotificationCallback* callback) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvSmpte2059NotificationCallback* callback) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetSfp(IZvSfpIp* sfpIp, IZvSmpte2059Sfp** sfp) = 0;
};

struct IZvGenlockNotification : SkippedPositions<IUnknown, 3, 4> {
  virtual HRESULT STDMETHODCALLTYPE RegisterCallback(IZvGenlockNotificationCallback* callback) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnregisterCallback(IZvGenlockNotificationCallback* callback) = 0;
};

struct IZvGenlockConfiguration : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetSettings(GenlockSettings* settings) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skipped4() { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetNotification(IZvGenlockNotification** notification) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetStatus(GenlockStatus* status) = 0;
};

// One card. Its private interface extends it: the same table, three operations longer. The positions 15 and
// 39 are called through the private interface only. The steps in between only place the named operations.

struct ZvCardConfigurationTo15 : SkippedPositions<IUnknown, 3, 14> {
  virtual HRESULT STDMETHODCALLTYPE GetGenlockConfiguration(IZvGenlockConfiguration** genlock) = 0;
};

struct ZvCardConfigurationTo36 : SkippedPositions<ZvCardConfigurationTo15, 16, 35> {
  /// `reserved` is 0.
  virtual HRESULT STDMETHODCALLTYPE GetCardInformation(CardInformation* information,
                                                       std::uint32_t reserved) = 0;
};

struct ZvCardConfigurationTo39 : SkippedPositions<ZvCardConfigurationTo36, 37, 38> {
  virtual HRESULT STDMETHODCALLTYPE CreateSfpIpEnumerator(IZvSfpIpEnumerator** enumerator) = 0;
};

struct IZvCardConfiguration : SkippedPositions<ZvCardConfigurationTo39, 40, 50> {
  /// Succeeds with a null interface for a card without ST 2059.
  virtual HRESULT STDMETHODCALLTYPE GetSmpte2059(IZvSmpte2059** smpte2059) = 0;
};

struct IZvCardConfigurationPrivate : SkippedPositions<IZvCardConfiguration, 52, 61> {
  virtual HRESULT STDMETHODCALLTYPE
  RegisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) = 0;
  virtual HRESULT STDMETHODCALLTYPE
  UnregisterMonitorDataCallback(IZvSmpte2059MonitorDataNotificationCallback* callback) = 0;
  /// Takes up to MonitorDataBatch::maximumCount of the waiting records, the oldest first.
  virtual HRESULT STDMETHODCALLTYPE GetMonitorData(MonitorDataBatch* batch) = 0;
};

struct IZvSystemConfigurationCardEnumerator : SkippedPositions<IUnknown, 3, 3> {
  /// ZV_E_END_OF_ENUM behind the last card.
  virtual HRESULT STDMETHODCALLTYPE Next(IZvCardConfiguration** card) = 0;
};

/// The root, created by CoCreateInstance.
struct IZvSystemConfiguration : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetCardEnumerator(IZvSystemConfigurationCardEnumerator** enumerator) = 0;
};

}  // namespace kestrune
