// The thread's error object and the standard object that carries one.
#include <atomic>
#include <new>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/com.h>

namespace {

// The object CreateErrorInfo makes: written through ICreateErrorInfo, read through IErrorInfo.
// Both faces share one count; IUnknown is answered with the IErrorInfo face so that identity
// comparisons agree whichever face was asked.
class ErrorObject final : public ICreateErrorInfo, public IErrorInfo {
 public:
  HRESULT QueryInterface(REFIID riid, void **ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == KZ_IID(IUnknown) || riid == KZ_IID(IErrorInfo)) {
      *ppv = static_cast<IErrorInfo *>(this);
    } else if (riid == KZ_IID(ICreateErrorInfo)) {
      *ppv = static_cast<ICreateErrorInfo *>(this);
    } else {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG Release() override {
    ULONG left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

  HRESULT SetGUID(REFGUID guid) override {
    guid_ = guid;
    return S_OK;
  }
  HRESULT SetSource(LPOLESTR source) override { return Replace(source_, source); }
  HRESULT SetDescription(LPOLESTR description) override { return Replace(description_, description); }
  HRESULT SetHelpFile(LPOLESTR help_file) override { return Replace(help_file_, help_file); }
  HRESULT SetHelpContext(DWORD help_context) override {
    help_context_ = help_context;
    return S_OK;
  }

  HRESULT GetGUID(GUID *guid) override {
    if (guid == nullptr) return E_INVALIDARG;
    *guid = guid_;
    return S_OK;
  }
  HRESULT GetSource(BSTR *source) override { return Copy(source_, source); }
  HRESULT GetDescription(BSTR *description) override { return Copy(description_, description); }
  HRESULT GetHelpFile(BSTR *help_file) override { return Copy(help_file_, help_file); }
  HRESULT GetHelpContext(DWORD *help_context) override {
    if (help_context == nullptr) return E_INVALIDARG;
    *help_context = help_context_;
    return S_OK;
  }

 private:
  ~ErrorObject() {
    SysFreeString(source_);
    SysFreeString(description_);
    SysFreeString(help_file_);
  }

  // A null text clears the field.
  static HRESULT Replace(BSTR &field, const OLECHAR *text) {
    BSTR copy = nullptr;
    if (text != nullptr && (copy = SysAllocString(text)) == nullptr) return E_OUTOFMEMORY;
    SysFreeString(field);
    field = copy;
    return S_OK;
  }

  // The caller owns the copy; an unset field reads as a null BSTR.
  static HRESULT Copy(BSTR field, BSTR *out) {
    if (out == nullptr) return E_INVALIDARG;
    *out = nullptr;
    if (field == nullptr) return S_OK;
    *out = SysAllocStringLen(field, SysStringLen(field));
    return *out == nullptr ? E_OUTOFMEMORY : S_OK;
  }

  std::atomic<ULONG> refs_{1};
  GUID guid_{};
  BSTR source_ = nullptr;
  BSTR description_ = nullptr;
  BSTR help_file_ = nullptr;
  DWORD help_context_ = 0;
};

// The slot holds one reference and gives it back when the thread ends.
struct ErrorSlot {
  IErrorInfo *info = nullptr;
  ~ErrorSlot() {
    IErrorInfo *old = info;
    info = nullptr;
    if (old != nullptr) old->Release();
  }
};

thread_local ErrorSlot t_error;

}  // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo **out) {
  if (out == nullptr) return E_INVALIDARG;
  auto *object = new (std::nothrow) ErrorObject;
  *out = object;
  return object == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT GetErrorInfo(ULONG, IErrorInfo **out) {
  if (out == nullptr) return E_INVALIDARG;
  // The reference moves to the caller: taking the object clears the thread's error state.
  *out = t_error.info;
  t_error.info = nullptr;
  return *out == nullptr ? S_FALSE : S_OK;
}

HRESULT SetErrorInfo(ULONG, IErrorInfo *info) {
  if (info != nullptr) info->AddRef();
  IErrorInfo *old = t_error.info;
  t_error.info = info;
  // Released last: the old object's destructor may itself set a new error object.
  if (old != nullptr) old->Release();
  return S_OK;
}
