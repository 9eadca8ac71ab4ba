// The base of the library's own COM objects: a reference-counted object that can be aggregated,
// answers IClassID on every object and ISupportErrorInfo on request, and counts the live objects.
//
// A concrete class derives from Unknown and from its public interfaces, answers its interfaces
// first in InternalQueryInterface, and lets KZ_DELEGATING_IUNKNOWN forward the public IUnknown
// methods to the controlling unknown:
//
//   class Parcels : public Unknown, public IParcels {
//    public:
//     explicit Parcels(IUnknown *outer = nullptr) : Unknown(outer) {}
//     KZ_DELEGATING_IUNKNOWN
//     HRESULT InternalQueryInterface(REFIID riid, void **ppv) override {
//       if (ppv != nullptr && riid == KZ_IID(IParcels)) return Answer(static_cast<IParcels *>(this), ppv);
//       return Unknown::InternalQueryInterface(riid, ppv);
//     }
//     const WCHAR *GetClassName() override { return u"Parcels"; }
//   };
//
// An object starts with one reference, owned by its maker. Only the internal trio touches the
// count; a public interface's AddRef goes to the outer object when there is one.
#pragma once

#include <kzcore/pal/com.h>
#include <kzcore/pal/sync.h>

// Reads an object's class identifier and programmatic identifier.
struct IClassID : IUnknown {
  virtual HRESULT GetCLSID(GUID *clsid) = 0;
  virtual HRESULT GetProgID(BSTR *prog_id) = 0;
};
KZ_DECLARE_IID(IClassID, "{9F9650F1-5F49-4041-BA0F-D10BAFF1D7BC}");

// The non-delegating face of an object. The order of the operations is kept: derived classes in
// other modules are compiled against it.
class KZ_API IVESKInternalUnknown {
 public:
  virtual HRESULT InternalQueryInterface(REFIID riid, void **ppv) = 0;
  virtual ULONG InternalAddRef() = 0;
  virtual ULONG InternalRelease() = 0;
  virtual const WCHAR *GetClassName() = 0;
  virtual ~IVESKInternalUnknown();
  virtual HRESULT GetCLSID(GUID *clsid) = 0;
  // Called once, when the last reference goes, just before the object is destroyed.
  virtual void FinalRelease() = 0;
};

// Whether an object offers rich error information.
class KZ_API UnknownErrorBase {
 public:
  // Non-zero makes ISupportErrorInfo available on the object. 0 by default.
  virtual int SupportsErrorInfo();
  // Reserved; 0 by default.
  virtual int ReservedErrorSlot();

 protected:
  ~UnknownErrorBase() = default;
};

class KZ_API Unknown : public IVESKInternalUnknown, public UnknownErrorBase {
 public:
  // `outer` is the controlling object when this one is aggregated, else null.
  explicit Unknown(IUnknown *outer = nullptr);
  ~Unknown() override;
  Unknown(const Unknown &) = delete;
  Unknown &operator=(const Unknown &) = delete;

  // IUnknown, ISupportErrorInfo (when SupportsErrorInfo says so) and IClassID. A null `ppv`
  // gives E_POINTER; an unknown interface nulls *ppv and gives E_NOINTERFACE.
  HRESULT InternalQueryInterface(REFIID riid, void **ppv) override;
  // Both return the count after the change. Release destroys the object at 0, after FinalRelease.
  ULONG InternalAddRef() override;
  ULONG InternalRelease() override;
  const WCHAR *GetClassName() override;
  // Leaves `clsid` as it is and succeeds; classes with an identifier override it.
  HRESULT GetCLSID(GUID *clsid) override;
  void FinalRelease() override;

  // The outer object when aggregated, else this object's own IUnknown.
  IUnknown *ControllingUnknown() const { return controlling_; }

  // The number of objects derived from Unknown that exist now, in the whole process.
  static LONG LiveObjectCount();

 protected:
  HRESULT OuterQueryInterface(REFIID riid, void **ppv) { return controlling_->QueryInterface(riid, ppv); }
  ULONG OuterAddRef() { return controlling_->AddRef(); }
  ULONG OuterRelease() { return controlling_->Release(); }
  // Hands out one of the object's public interfaces. The reference is taken through that
  // interface, so that it lands on the outer object when this one is aggregated: the caller will
  // release it there.
  template <class Interface>
  static HRESULT Answer(Interface *face, void **ppv) {
    *ppv = face;
    face->AddRef();
    return S_OK;
  }

 private:
  // The object's own IUnknown, which calls the internal trio. It is the identity of an object
  // that is not aggregated, and what an outer object holds of an aggregated one.
  class InnerUnknown final : public IUnknown {
   public:
    explicit InnerUnknown(Unknown *owner) : owner_(owner) {}
    HRESULT QueryInterface(REFIID riid, void **ppv) override {
      return owner_->InternalQueryInterface(riid, ppv);
    }
    ULONG AddRef() override { return owner_->InternalAddRef(); }
    ULONG Release() override { return owner_->InternalRelease(); }

   private:
    Unknown *owner_;
  };

  IUnknown *controlling_;
  LONG volatile refs_ = 1;  // changed only with interlocked operations
  InnerUnknown inner_{this};
};

// Forwards the public IUnknown methods of a class derived from Unknown to its controlling
// unknown. One use serves all of the class's public interfaces.
#define KZ_DELEGATING_IUNKNOWN                                                                        \
  HRESULT QueryInterface(REFIID riid, void **ppv) override { return OuterQueryInterface(riid, ppv); } \
  ULONG AddRef() override { return OuterAddRef(); }                                                   \
  ULONG Release() override { return OuterRelease(); }

// ISupportErrorInfo as a tear-off: made on request, holding its owner until its own count ends.
class KZ_API ErrorInfoImpl final : public ISupportErrorInfo {
 public:
  explicit ErrorInfoImpl(Unknown *owner);
  HRESULT QueryInterface(REFIID riid, void **ppv) override;
  ULONG AddRef() override;
  ULONG Release() override;
  // Every interface supports it.
  HRESULT InterfaceSupportsErrorInfo(REFIID riid) override;

 private:
  ~ErrorInfoImpl();
  Unknown *owner_;
  LONG volatile refs_ = 1;  // changed only with interlocked operations
};

// IClassID as a tear-off, with the same ownership rule.
class KZ_API ClassIDImpl final : public IClassID {
 public:
  explicit ClassIDImpl(Unknown *owner);
  HRESULT QueryInterface(REFIID riid, void **ppv) override;
  ULONG AddRef() override;
  ULONG Release() override;
  // The owner's class identifier. E_POINTER for a null pointer.
  HRESULT GetCLSID(GUID *clsid) override;
  // The programmatic identifier of the owner's class, as a BSTR the caller frees. E_POINTER for a
  // null pointer, E_FAIL when the owner cannot say its class; failures of the lookup pass through.
  HRESULT GetProgID(BSTR *prog_id) override;

 private:
  ~ClassIDImpl();
  Unknown *owner_;
  LONG volatile refs_ = 1;  // changed only with interlocked operations
};
