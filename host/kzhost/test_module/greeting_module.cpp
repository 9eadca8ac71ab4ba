// A service in a module of its own, as a module writer builds one: a class answering
// IRESTRequestHandler and an exported DllGetClassObject through which kzhost gets its factory.
// The end-to-end tests serve it from a configuration that names this module.
#include <cstring>
#include <string>

#include <kzcore/kzcore.h>

KZ_DEFINE_GUID(CLSID_Greeting, "{5D0C3A52-2E0B-4C7B-9D7E-7A51E0B1C0DE}");

namespace {

class Greeting final : public IRESTRequestHandler {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(IRESTRequestHandler)) {
      *ppv = static_cast<IRESTRequestHandler *>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return InterlockedIncrement(&refs_); }
  ULONG Release() override {
    ULONG n = InterlockedDecrement(&refs_);
    if (n == 0) delete this;
    return n;
  }

  HRESULT GetSchema(BSTR *schema) override {
    if (schema == nullptr) return E_POINTER;
    *schema = SysAllocString(u"{\"name\":\"\",\"operations\":[{\"name\":\"greet\",\"parameters\":[\"who\"]}],"
                             u"\"schemaVersion\":1}");
    return *schema != nullptr ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT HandleRESTRequest(BSTR, BSTR resource, BSTR operation, BSTR, BSTR, BSTR, BSTR *properties,
                            SAFEARRAY **body) override {
    if (properties == nullptr || body == nullptr) return E_POINTER;
    // Not a JSON reader: this module answers one fixed text per case, enough to show the road.
    bool greet = operation != nullptr && wcscmp(operation, u"greet") == 0 && SysStringLen(resource) == 0;
    const char *text = greet ? "{\"greeting\":\"hello\"}"
                             : "{\"error\":{\"code\":400,\"message\":\"Invalid URL.\",\"details\":[]}}";
    *properties = SysAllocString(greet ? u"{\"Content-Type\":\"application/json\"}"
                                       : u"{\"Content-Type\":\"text/plain\", \"Success\":false}");
    *body = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(std::strlen(text)));
    if (*properties == nullptr || *body == nullptr) return E_OUTOFMEMORY;
    std::memcpy((*body)->pvData, text, std::strlen(text));
    return S_OK;
  }

 private:
  LONG volatile refs_ = 1;
};

class GreetingFactory final : public IClassFactory {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(IClassFactory)) {
      *ppv = static_cast<IClassFactory *>(this);
      return S_OK;  // a static object: no count to keep
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG AddRef() override { return 2; }
  ULONG Release() override { return 1; }
  HRESULT CreateInstance(IUnknown *outer, REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto *object = new Greeting();
    HRESULT hr = object->QueryInterface(riid, ppv);
    object->Release();
    return hr;
  }
  HRESULT LockServer(BOOL) override { return S_OK; }
};

GreetingFactory factory;

}  // namespace

extern "C" __attribute__((visibility("default"))) HRESULT DllGetClassObject(REFCLSID clsid, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (clsid != CLSID_Greeting) return CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(riid, ppv);
}
