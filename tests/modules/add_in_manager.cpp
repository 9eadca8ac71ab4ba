// The family's add-in manager module in miniature, under the file name the library looks for: its
// manager serves one class that no class registry knows.
#include <kzcore/platform/add_in_manager.h>
#include <tests/modules/value_factory.h>

namespace {

struct AddInManager : kztest::ComObject<IAddInManager> {
  HRESULT GetClassFactory(REFCLSID clsid, IClassFactory **factory) override {
    if (factory == nullptr) return E_POINTER;
    *factory = nullptr;
    if (clsid != kztest::kAddInValueClass) return REGDB_E_CLASSNOTREG;
    *factory = new kztest::ValueFactory(kztest::kAddInValue);
    return S_OK;
  }
};

}  // namespace

extern "C" KZ_API HRESULT GetAddInManager(IAddInManager **manager) {
  if (manager == nullptr) return E_POINTER;
  *manager = new AddInManager;
  return S_OK;
}

// Accepts one settings text, so that a test can tell that both arguments arrived.
extern "C" KZ_API HRESULT InitializeAddInManager(IUnknown *application, const WCHAR *settings) {
  if (application != nullptr || settings == nullptr) return E_INVALIDARG;
  const WCHAR expected[] = u"add-ins";
  for (int i = 0; i < 8; ++i)
    if (settings[i] != expected[i]) return E_INVALIDARG;
  return S_OK;
}
