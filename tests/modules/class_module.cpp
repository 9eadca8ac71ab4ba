// A class module as the class configuration names one: it serves one class through its exported
// DllGetClassObject.
#include <tests/modules/value_factory.h>

extern "C" KZ_API HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (clsid != kztest::kConfiguredValueClass) return CLASS_E_CLASSNOTAVAILABLE;
  auto *factory = new kztest::ValueFactory(kztest::kConfiguredValue);
  HRESULT hr = factory->QueryInterface(riid, ppv);
  factory->Release();
  return hr;
}
