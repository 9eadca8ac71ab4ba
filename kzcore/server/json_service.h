// The JSON service: objects and arrays that keep their members in the order they were added, and a
// writer that streams one document into bytes. The server host provides the classes; library code
// and server objects make them through KzCreateInstance with the class identifiers below.
//
//   IJSONObject *properties = nullptr;
//   KzCreateInstance(CLSID_JSONObject, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IJSONObject),
//                    reinterpret_cast<void **>(&properties));
//   properties->AddString(u"name", u"roads");
//   properties->AddNumberWithPrecision(u"currentVersion", 10.600000381469727, 4);
//   BSTR text;
//   properties->ToJSONString(&text);   // {"name":"roads","currentVersion":10.6}
//
// Text goes in and out as UTF-16; the writer's bytes are UTF-8. Numbers are written in their
// shortest form that reads back as the same double; a number "with a precision" is first rounded
// to that many significant digits. JSON has no infinity or NaN: adding one fails with
// E_INVALIDARG. Documents nest at most kJSONMaxDepth deep.
#pragma once

#include <kzcore/pal/variant.h>

struct IJSONArray;

// A member or element that is not there.
constexpr HRESULT JSON_E_NOTFOUND = static_cast<HRESULT>(0x80070490);  // HRESULT_FROM_WIN32(ERROR_NOT_FOUND)
// Reading a member as a type it does not have gives DISP_E_TYPEMISMATCH.

// The deepest nesting of objects and arrays that parsing and adding accept; the top level is 1.
constexpr LONG kJSONMaxDepth = 512;

enum JSONType : LONG {
  JSONTypeNull = 0,
  JSONTypeBoolean = 1,
  JSONTypeNumber = 2,
  JSONTypeString = 3,
  JSONTypeObject = 4,
  JSONTypeArray = 5,
};

// A JSON object. Adding a member under a name it has already replaces that member's value in its
// place; a new name goes last. Objects and arrays are added as copies of what they hold at the
// time, and read back as new objects holding copies.
struct IJSONObject : IUnknown {
  // Replaces the members with those of `text`, which must be one JSON object. E_INVALIDARG for
  // anything else (the object is then empty), E_POINTER for a null text.
  virtual HRESULT Parse(LPCOLESTR text) = 0;
  virtual HRESULT ToJSONString(BSTR *text) = 0;
  // Removes every member.
  virtual HRESULT Clear() = 0;

  // Each fails with E_POINTER for a null name, and E_INVALIDARG for text that is not UTF-16 (a
  // lone surrogate).
  virtual HRESULT AddString(LPCOLESTR name, LPCOLESTR value) = 0;
  virtual HRESULT AddBoolean(LPCOLESTR name, VARIANT_BOOL value) = 0;
  virtual HRESULT AddInteger(LPCOLESTR name, LONGLONG value) = 0;
  virtual HRESULT AddNumber(LPCOLESTR name, double value) = 0;
  // `value` rounded to `precision` significant digits (1 to 17; 0 or less: not rounded).
  virtual HRESULT AddNumberWithPrecision(LPCOLESTR name, double value, LONG precision) = 0;
  virtual HRESULT AddNull(LPCOLESTR name) = 0;
  virtual HRESULT AddObject(LPCOLESTR name, IJSONObject *value) = 0;
  virtual HRESULT AddArray(LPCOLESTR name, IJSONArray *value) = 0;

  // Members by position (from 0, in order) and by name. Reading fails with JSON_E_NOTFOUND for
  // a name the object lacks and DISP_E_TYPEMISMATCH for a member of another type; a number reads
  // as a double whether it was written as an integer or not.
  virtual HRESULT GetMemberCount(LONG *count) = 0;
  virtual HRESULT GetMemberName(LONG index, BSTR *name) = 0;
  virtual HRESULT GetMemberType(LPCOLESTR name, JSONType *type) = 0;
  virtual HRESULT GetString(LPCOLESTR name, BSTR *value) = 0;
  virtual HRESULT GetNumber(LPCOLESTR name, double *value) = 0;
  virtual HRESULT GetBoolean(LPCOLESTR name, VARIANT_BOOL *value) = 0;
  virtual HRESULT GetObject(LPCOLESTR name, IJSONObject **value) = 0;
  virtual HRESULT GetArray(LPCOLESTR name, IJSONArray **value) = 0;
};
KZ_DECLARE_IID(IJSONObject, "{42FF2005-5045-404F-B37F-1E40CE029FBE}");

// A JSON array, with the same rules for elements as the object has for members.
struct IJSONArray : IUnknown {
  // Replaces the elements with those of `text`, which must be one JSON array.
  virtual HRESULT Parse(LPCOLESTR text) = 0;
  virtual HRESULT ToJSONString(BSTR *text) = 0;
  virtual HRESULT Clear() = 0;

  virtual HRESULT AddString(LPCOLESTR value) = 0;
  virtual HRESULT AddBoolean(VARIANT_BOOL value) = 0;
  virtual HRESULT AddInteger(LONGLONG value) = 0;
  virtual HRESULT AddNumber(double value) = 0;
  virtual HRESULT AddNumberWithPrecision(double value, LONG precision) = 0;
  virtual HRESULT AddNull() = 0;
  virtual HRESULT AddObject(IJSONObject *value) = 0;
  virtual HRESULT AddArray(IJSONArray *value) = 0;

  // Elements by position from 0; JSON_E_NOTFOUND past the end.
  virtual HRESULT GetCount(LONG *count) = 0;
  virtual HRESULT GetType(LONG index, JSONType *type) = 0;
  virtual HRESULT GetString(LONG index, BSTR *value) = 0;
  virtual HRESULT GetNumber(LONG index, double *value) = 0;
  virtual HRESULT GetBoolean(LONG index, VARIANT_BOOL *value) = 0;
  virtual HRESULT GetObject(LONG index, IJSONObject **value) = 0;
  virtual HRESULT GetArray(LONG index, IJSONArray **value) = 0;
};
KZ_DECLARE_IID(IJSONArray, "{DAA5435D-B2B0-4B45-9406-5CD648DB6774}");

// Streams one JSON document. Inside an object every value has a name; at the top and inside an
// array the name is null. A call out of order (a name where none belongs, an end without its
// start, a second document) fails with E_UNEXPECTED and writes nothing.
//
//   writer->Initialize();
//   writer->StartObject(nullptr);
//   writer->WriteObject(u"error", error);
//   writer->EndObject();
//   SAFEARRAY *bytes;
//   writer->GetBytes(&bytes);   // VT_UI1, from 0
struct IJSONWriter : IUnknown {
  // Starts a new document, dropping what was written.
  virtual HRESULT Initialize() = 0;
  // The whole object or array as one value.
  virtual HRESULT WriteObject(LPCOLESTR name, IJSONObject *object) = 0;
  virtual HRESULT WriteArray(LPCOLESTR name, IJSONArray *array) = 0;
  virtual HRESULT StartObject(LPCOLESTR name) = 0;
  virtual HRESULT EndObject() = 0;
  virtual HRESULT StartArray(LPCOLESTR name) = 0;
  virtual HRESULT EndArray() = 0;
  virtual HRESULT WriteString(LPCOLESTR name, LPCOLESTR value) = 0;
  virtual HRESULT WriteBoolean(LPCOLESTR name, VARIANT_BOOL value) = 0;
  virtual HRESULT WriteInteger(LPCOLESTR name, LONGLONG value) = 0;
  virtual HRESULT WriteNull(LPCOLESTR name) = 0;
  // The finished document; E_UNEXPECTED while it is not complete.
  virtual HRESULT GetText(BSTR *text) = 0;
  // The finished document as UTF-8 in a one-dimensional VT_UI1 array from 0, which the caller
  // destroys.
  virtual HRESULT GetBytes(SAFEARRAY **bytes) = 0;
};
KZ_DECLARE_IID(IJSONWriter, "{85F28B5D-4243-426B-B1E0-612ABAEA7CB5}");

// The writer's numbers, rounded as IJSONObject::AddNumberWithPrecision rounds them.
struct IJSONNumericProperty : IUnknown {
  virtual HRESULT AddNumberProperty(LPCOLESTR name, double value, LONG precision) = 0;
};
KZ_DECLARE_IID(IJSONNumericProperty, "{68CD9FE2-6DDB-4C1E-8C70-DE376CBDEDCA}");

KZ_DEFINE_GUID(CLSID_JSONObject, "{5339110D-B4EE-4759-80BE-8F253C62772D}");
KZ_DEFINE_GUID(CLSID_JSONArray, "{71AD5B6E-60F6-4FC7-84DA-31806297DDBD}");
KZ_DEFINE_GUID(CLSID_JSONWriter, "{431E9FF9-7491-45D3-AB7F-8787ECD5BBBB}");
