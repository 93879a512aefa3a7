// In-process activation where the operating system brings none.

#include "platform/com.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "sdk/card_services.h"

namespace kestrune {
namespace {

constexpr CLSID unknownClass = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

HRESULT Create(const char* library, REFCLSID clsid, REFIID iid = IID_IUnknown,
               DWORD context = CLSCTX_INPROC_SERVER) {
  setenv("ZV_CARD_SERVICES", library, 1);
  IUnknown* object = nullptr;
  const HRESULT result = CoCreateInstance(clsid, nullptr, context, iid, reinterpret_cast<void**>(&object));
  unsetenv("ZV_CARD_SERVICES");
  EXPECT_EQ(object != nullptr, SUCCEEDED(result));
  if (object != nullptr) object->Release();
  return result;
}

TEST(Com, CreatesObjectsOfTheNamedLibrary) {
  std::thread([] {
    EXPECT_EQ(Create(KESTRUNE_SIMULATED_CARD, CLSID_ZvSystemConfiguration), CO_E_NOTINITIALIZED);
  }).join();

  std::thread([] {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ(Create(KESTRUNE_SIMULATED_CARD, CLSID_ZvSystemConfiguration, IID_IZvSystemConfiguration), S_OK);
    EXPECT_EQ(Create(KESTRUNE_SIMULATED_CARD, CLSID_ZvSystemConfiguration, IID_IZvCardConfigurationPrivate),
              E_NOINTERFACE);
    EXPECT_EQ(Create(KESTRUNE_SIMULATED_CARD, unknownClass), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(Create(KESTRUNE_SIMULATED_CARD, CLSID_ZvSystemConfiguration, IID_IUnknown, 0),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create("/nowhere.so", CLSID_ZvSystemConfiguration), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create("libm.so.6", CLSID_ZvSystemConfiguration), REGDB_E_CLASSNOTREG)
        << "exports no such function";
  }).join();
}

}  // namespace
}  // namespace kestrune
