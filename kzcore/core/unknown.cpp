#include <kzcore/core/unknown.h>

#include <new>

#include <kzcore/pal/bstr.h>

namespace {

LONG volatile g_live_objects = 0;

}  // namespace

IVESKInternalUnknown::~IVESKInternalUnknown() = default;

int UnknownErrorBase::SupportsErrorInfo() { return 0; }

int UnknownErrorBase::ReservedErrorSlot() { return 0; }

Unknown::Unknown(IUnknown *outer) : controlling_(outer != nullptr ? outer : &inner_) {
  InterlockedIncrement(&g_live_objects);
}

Unknown::~Unknown() { InterlockedDecrement(&g_live_objects); }

LONG Unknown::LiveObjectCount() { return __atomic_load_n(&g_live_objects, __ATOMIC_SEQ_CST); }

HRESULT Unknown::InternalQueryInterface(REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == KZ_IID(IUnknown)) {
    *ppv = static_cast<IUnknown *>(&inner_);
    InternalAddRef();
    return S_OK;
  }
  if (riid == KZ_IID(ISupportErrorInfo) && SupportsErrorInfo() != 0) {
    auto *tear_off = new (std::nothrow) ErrorInfoImpl(this);
    *ppv = static_cast<ISupportErrorInfo *>(tear_off);
    return tear_off != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  if (riid == KZ_IID(IClassID)) {
    // A new tear-off for every request: objects are many and asked for their class seldom.
    auto *tear_off = new (std::nothrow) ClassIDImpl(this);
    *ppv = static_cast<IClassID *>(tear_off);
    return tear_off != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG Unknown::InternalAddRef() { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }

ULONG Unknown::InternalRelease() {
  LONG left = InterlockedDecrement(&refs_);
  if (left == 0) {
    FinalRelease();
    delete this;
  }
  return static_cast<ULONG>(left);
}

const WCHAR *Unknown::GetClassName() { return u"Unknown"; }

HRESULT Unknown::GetCLSID(GUID *) { return S_OK; }

void Unknown::FinalRelease() {}

// Tear-offs hold their owner through its controlling unknown, so that an aggregated owner's outer
// object stays alive as long as any interface handed out for it.

ErrorInfoImpl::ErrorInfoImpl(Unknown *owner) : owner_(owner) { owner_->ControllingUnknown()->AddRef(); }

ErrorInfoImpl::~ErrorInfoImpl() = default;

HRESULT ErrorInfoImpl::QueryInterface(REFIID riid, void **ppv) {
  return owner_->ControllingUnknown()->QueryInterface(riid, ppv);
}

ULONG ErrorInfoImpl::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }

ULONG ErrorInfoImpl::Release() {
  LONG left = InterlockedDecrement(&refs_);
  if (left == 0) {
    owner_->ControllingUnknown()->Release();
    delete this;
  }
  return static_cast<ULONG>(left);
}

HRESULT ErrorInfoImpl::InterfaceSupportsErrorInfo(REFIID) { return S_OK; }

ClassIDImpl::ClassIDImpl(Unknown *owner) : owner_(owner) { owner_->ControllingUnknown()->AddRef(); }

ClassIDImpl::~ClassIDImpl() = default;

HRESULT ClassIDImpl::QueryInterface(REFIID riid, void **ppv) {
  return owner_->ControllingUnknown()->QueryInterface(riid, ppv);
}

ULONG ClassIDImpl::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }

ULONG ClassIDImpl::Release() {
  LONG left = InterlockedDecrement(&refs_);
  if (left == 0) {
    owner_->ControllingUnknown()->Release();
    delete this;
  }
  return static_cast<ULONG>(left);
}

HRESULT ClassIDImpl::GetCLSID(GUID *clsid) {
  if (clsid == nullptr) return E_POINTER;
  return owner_->GetCLSID(clsid);
}

HRESULT ClassIDImpl::GetProgID(BSTR *prog_id) {
  if (prog_id == nullptr) return E_POINTER;
  *prog_id = nullptr;
  GUID clsid = GUID_NULL;
  if (FAILED(owner_->GetCLSID(&clsid))) return E_FAIL;
  LPOLESTR text = nullptr;
  HRESULT hr = ProgIDFromCLSID(clsid, &text);
  if (FAILED(hr)) return hr;
  if (text == nullptr) return S_OK;
  *prog_id = SysAllocString(text);
  CoTaskMemFree(text);
  return *prog_id != nullptr ? S_OK : E_OUTOFMEMORY;
}
