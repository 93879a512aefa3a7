// Registers the library as the class's in-process server, for the current user only, and takes that
// registration back.

#include <windows.h>

#include <olectl.h>

#include <cstdio>
#include <iterator>
#include <string>

#include "kit/library.h"
#include "sdk/card_services.h"

namespace {

std::wstring ClassKey() {
  wchar_t identifier[39];
  StringFromGUID2(kestrune::CLSID_ZvSystemConfiguration, identifier, std::size(identifier));
  return std::wstring(L"Software\\Classes\\CLSID\\") + identifier;
}

std::wstring ServerKey() { return ClassKey() + L"\\InprocServer32"; }

/// The path of this library.
std::wstring OwnPath() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&OwnPath), &module);
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

/// The server registered under a root for the class; empty: none.
std::wstring RegisteredServer(HKEY root) {
  const std::wstring serverKey = ServerKey();
  DWORD bytes = 0;
  if (RegGetValueW(root, serverKey.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, nullptr, &bytes) !=
      ERROR_SUCCESS)
    return {};
  std::wstring path(bytes / sizeof(wchar_t), L'\0');
  if (RegGetValueW(root, serverKey.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path.data(), &bytes) !=
      ERROR_SUCCESS)
    return {};
  path.resize(bytes / sizeof(wchar_t) - 1);
  return path;
}

bool SamePath(const std::wstring& left, const std::wstring& right) {
  return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                              static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

HRESULT Refuse(const char* reason, const std::wstring& server) {
  std::fprintf(stderr, "%s: %s: %ls\n", kestrune::kit::libraryName, reason, server.c_str());
  return SELFREG_E_CLASS;
}

bool SetText(HKEY key, const wchar_t* name, const std::wstring& text) {
  return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

extern "C" {

HRESULT STDMETHODCALLTYPE DllRegisterServer();
HRESULT STDMETHODCALLTYPE DllUnregisterServer();

/// Refuses when the class has another server, for the machine or for the user: a card maker's is never
/// displaced.
HRESULT STDMETHODCALLTYPE DllRegisterServer() {
  const std::wstring own = OwnPath();
  for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
    const std::wstring other = RegisteredServer(root);
    if (!other.empty() && !SamePath(other, own)) {
      return Refuse("not registered, as other card services are registered already", other);
    }
  }

  HKEY key = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, ServerKey().c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key,
                      nullptr) != ERROR_SUCCESS) {
    return SELFREG_E_CLASS;
  }
  const bool done = SetText(key, nullptr, own) && SetText(key, L"ThreadingModel", L"Both");
  RegCloseKey(key);
  return done ? S_OK : SELFREG_E_CLASS;
}

HRESULT STDMETHODCALLTYPE DllUnregisterServer() {
  const std::wstring registered = RegisteredServer(HKEY_CURRENT_USER);
  if (registered.empty()) return S_OK;
  if (!SamePath(registered, OwnPath())) {
    return Refuse("not unregistered, as the registration is that of other card services", registered);
  }
  const bool done = RegDeleteKeyW(HKEY_CURRENT_USER, ServerKey().c_str()) == ERROR_SUCCESS &&
                    RegDeleteKeyW(HKEY_CURRENT_USER, ClassKey().c_str()) == ERROR_SUCCESS;
  return done ? S_OK : SELFREG_E_CLASS;
}
}
