#include "platform/com.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace {

thread_local std::optional<DWORD> apartment;

using GetClassObject = HRESULT(STDMETHODCALLTYPE*)(REFCLSID clsid, REFIID iid, void** object);

/// The server library's path, or empty when there is none.
std::string ServerLibrary() {
  const char* named = std::getenv("ZV_CARD_SERVICES");
  if (named != nullptr && *named != '\0') return named;

  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto beside = program.parent_path() / KESTRUNE_DEFAULT_CARD_SERVICES;
  return !error && std::filesystem::exists(beside, error) ? beside.string() : std::string();
}

GetClassObject LoadServer() {
  const std::string path = ServerLibrary();
  if (path.empty()) return nullptr;

  void* entry = nullptr;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr) entry = dlsym(library, "DllGetClassObject");
  if (entry == nullptr) std::fprintf(stderr, "%s\n", dlerror());
  return reinterpret_cast<GetClassObject>(entry);
}

}  // namespace

HRESULT CoInitializeEx(void* reserved, DWORD concurrencyModel) {
  if (reserved != nullptr) return E_INVALIDARG;
  const DWORD kind = concurrencyModel & COINIT_APARTMENTTHREADED;
  if (!apartment) {
    apartment = kind;
    return S_OK;
  }
  return *apartment == kind ? S_FALSE : RPC_E_CHANGED_MODE;
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!apartment) return CO_E_NOTINITIALIZED;
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;

  const GetClassObject getClassObject = LoadServer();
  if (getClassObject == nullptr) return REGDB_E_CLASSNOTREG;

  IClassFactory* factory = nullptr;
  HRESULT result = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(&factory));
  if (FAILED(result) || factory == nullptr) return result;
  result = factory->CreateInstance(outer, iid, object);
  factory->Release();
  return result;
}
