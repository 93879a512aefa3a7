// What the library exports; the module definition file and the version script name the entry points.

#include "kit/com_object.h"
#include "kit/library.h"
#include "kit/system_objects.h"
#include "sdk/card_services.h"

extern "C" {

HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();

HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!IsEqualGUID(clsid, kestrune::CLSID_ZvSystemConfiguration)) return CLASS_E_CLASSNOTAVAILABLE;

  IClassFactory* factory = kestrune::kit::MakeClassFactory(kestrune::kit::MakeSystem);
  const HRESULT result = factory->QueryInterface(iid, object);
  factory->Release();
  return result;
}

HRESULT STDMETHODCALLTYPE DllCanUnloadNow() { return kestrune::kit::libraryUses == 0 ? S_OK : S_FALSE; }
}
