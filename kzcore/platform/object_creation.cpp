#include <kzcore/platform/object_creation.h>

// Both ask the platform's class registry directly for now. The per-thread cache of class factories
// goes in front of it, and the add-in manager behind it for classes that only it knows, in these
// two functions.

HRESULT KzCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **out) {
  return CoCreateInstance(clsid, outer, context, riid, out);
}

HRESULT KzGetClassFactory(REFCLSID clsid, DWORD context, IClassFactory **out) {
  return CoGetClassObject(clsid, context, nullptr, KZ_IID(IClassFactory), reinterpret_cast<void **>(out));
}
