// Guid: a GUID value together with the UID object that carries the same identifier across
// interfaces. The value and a subtype are kept at hand for reading; the UID object is made (or
// taken) once, so that code can pass either form without converting each time.
//
//   Guid id(u_clsid, 0);                  // makes a UID object holding the value
//   const GUID &value = id;               // the value, no call
//   IUID *uid = id;                       // the object, without a reference of its own
//   VARIANT v = id;                       // VT_UNKNOWN, not owned: never VariantClear it
//
// The UID class lives in a module of the family that registers it (the server host's objects);
// only its identifiers and the two operations of its internal interface are known here.
#pragma once

#include <kzcore/pal/variant.h>

// The public interface of the UID object.
struct IUID : IUnknown {
  // The identifier in its registry text form, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
  virtual HRESULT get_Value(BSTR *text) = 0;
  // Sets the identifier from its text form or a programmatic identifier (CLSIDFromString); its
  // failure code leaves the value as it was.
  virtual HRESULT put_Value(LPCOLESTR text) = 0;
  virtual HRESULT get_SubType(LONG *subtype) = 0;
  virtual HRESULT put_SubType(LONG subtype) = 0;
  // Sets a new random identifier.
  virtual HRESULT Generate() = 0;
  // VARIANT_TRUE when `other` holds the same identifier and subtype.
  virtual HRESULT Compare(IUID *other, VARIANT_BOOL *equal) = 0;
};
KZ_DECLARE_IID(IUID, "{1714D59B-FB22-11D1-94A2-080009EEBECB}");

// The internal interface of the UID object. Its two operations, after the three of IUnknown,
// stay in this order: modules compiled against it call them by position.
struct IUIDInternal : IUnknown {
  virtual HRESULT Set(const GUID *value, LONG subtype) = 0;
  virtual HRESULT Get(GUID *value, LONG *subtype) = 0;
};
KZ_DECLARE_IID(IUIDInternal, "{3B916CDD-E139-11D2-9F38-00C04F6BC61A}");

// The class of the UID object.
KZ_DEFINE_GUID(CLSID_UID, "{78FF7FA1-FB2F-11D1-94A2-080009EEBECB}");

class KZ_API Guid {
 public:
  // Takes the object's value and subtype. A null `uid`, or one without the internal interface,
  // gives subtype 0 and no UID object; the value is then GUID_NULL.
  Guid(IUID *uid);
  // Keeps both and makes a UID object holding them.
  Guid(const _GUID &value, LONG subtype);
  // Reads up to 128 characters of UTF-8 text with CLSIDFromString (a programmatic identifier
  // works too) and makes a UID object holding the value. Text that does not read gives the value
  // CLSIDFromString leaves, GUID_NULL.
  Guid(const char *text, LONG subtype);
  // Copies the value and subtype and shares the UID object. A move is a copy.
  Guid(const Guid &other);
  Guid(Guid &&other);
  Guid &operator=(const Guid &other);
  Guid &operator=(Guid &&other);
  ~Guid();

  operator const _GUID &() const { return value_; }
  operator const _GUID *() const { return &value_; }
  // The UID object's public interface, without a reference for the caller: the Guid keeps the
  // object alive. Null when there is no UID object.
  operator IUID *() const;
  // A VT_UNKNOWN variant holding the UID object without a reference: it lives as long as the
  // Guid. Keep it with VariantCopy; never clear it.
  operator tagVARIANT() const;

  LONG SubType() const { return subtype_; }

 private:
  void MakeObject();
  void Share(const Guid &other);

  // The value comes first: the address of a Guid is the address of its identifier.
  _GUID value_;
  LONG subtype_;
  IUIDInternal *uid_;  // one reference, or null
};
