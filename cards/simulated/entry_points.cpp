// What the library exports; the module definition file and the version script name the entry points.

#include "sdk/card_services.h"
#include "simulated/com_object.h"
#include "simulated/system_objects.h"

extern "C" {

HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object);
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();

HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!IsEqualGUID(clsid, kestrune::CLSID_ZvSystemConfiguration)) return CLASS_E_CLASSNOTAVAILABLE;

  IClassFactory* factory = kestrune::simulated::MakeClassFactory();
  const HRESULT result = factory->QueryInterface(iid, object);
  factory->Release();
  return result;
}

HRESULT STDMETHODCALLTYPE DllCanUnloadNow() { return kestrune::simulated::libraryUses == 0 ? S_OK : S_FALSE; }
}
