#pragma once

// The component object model. Windows brings its own; elsewhere this header gives the same names and types,
// with in-process activation only.

#if defined(_WIN32)

#include <objbase.h>

#else

#include <cstdint>
#include <cstring>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using BOOL = int;
using HRESULT = std::int32_t;

#define STDMETHODCALLTYPE

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID left, REFGUID right) { return std::memcmp(&left, &right, sizeof(GUID)) == 0; }

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002U);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003U);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000EU);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);
inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106U);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110U);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111U);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154U);
inline constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0U);

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;
};

struct IClassFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;
};

inline constexpr IID IID_IUnknown = {0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

inline constexpr DWORD COINIT_MULTITHREADED = 0x0;
inline constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;
inline constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;

/// Joins the calling thread to an apartment of the given kind (a COINIT_ value). `reserved` must be null.
/// S_OK the first time on a thread, S_FALSE for the same kind again, RPC_E_CHANGED_MODE for the other kind.
HRESULT CoInitializeEx(void* reserved, DWORD concurrencyModel);

/// Creates an object of class `clsid` in the in-process server: the shared library that the environment
/// variable ZV_CARD_SERVICES names, else the simulated card in the folder of the running program. The library
/// is asked through its exported DllGetClassObject and stays loaded. `*object` receives one reference.
///
/// REGDB_E_CLASSNOTREG when there is no such library, when it can't be loaded or when it exports no
/// DllGetClassObject (the last two with the loader's message on standard error); otherwise the library's own
/// result, which may be a success that leaves `*object` null. CO_E_NOTINITIALIZED on a thread that never
/// called CoInitializeEx.
HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object);

#endif
