// What the JSON classes share: their RapidJSON documents, the conversions between UTF-16 text and
// the documents' UTF-8, parsing with limits, and writing numbers in their shortest exact form.
// RapidJSON stays inside this module: none of its types appear in the service's interfaces.
#pragma once

#include <string>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <host/objects/thread_stack_allocator.h>
#include <kzcore/server/json_service.h>

namespace kz::host::json {

using Value = rapidjson::Value;
using Allocator = rapidjson::MemoryPoolAllocator<>;
// Documents, writers and their buffers take their working stacks from the thread's spares.
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Allocator, ThreadStackAllocator>;
using StringBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, ThreadStackAllocator>;
using Writer = rapidjson::Writer<StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, ThreadStackAllocator>;

// The first memory of a document's pool, inside the object that holds the document.
struct FirstChunk {
  static constexpr size_t kBytes = 816;
  // Later chunks, when a document outgrows the first.
  static constexpr size_t kChunkBytes = 8192;
  alignas(8) char bytes[kBytes];
  Allocator pool{bytes, kBytes, kChunkBytes};
};

// The document of one JSON object or array. A service makes and drops several small ones for
// every request; with the first chunk inside the object they take no allocation of their own.
// The pool belongs to this document for its whole life, so new content replaces the old in
// place (Reset, then fill) rather than by swapping documents.
class PooledDocument : private FirstChunk, public Document {
  // The first size of the stack a parse builds values on (from the thread's spares).
  static constexpr size_t kStackBytes = 1024;

 public:
  PooledDocument() : Document(&pool, kStackBytes, ThreadStackAllocator::Instance()) {}
  PooledDocument(const PooledDocument &) = delete;
  PooledDocument &operator=(const PooledDocument &) = delete;
  // Null, with every chunk past the first given back.
  void Reset() {
    SetNull();
    pool.Clear();
  }
};

// How the module's own objects hand their values to one another without a round trip through
// text. Objects of another implementation are read through their text.
struct IJSONValueSource : IUnknown {
  virtual const Value &JSONValue() = 0;
  // The nesting of the value: 1 for one without objects or arrays inside.
  virtual LONG JSONDepth() = 0;
};

// UTF-16 to UTF-8; false for a lone surrogate.
bool Utf8FromUtf16(LPCOLESTR text, std::string &out);
// A BSTR of the UTF-8 text (which the documents only ever hold well-formed).
HRESULT BstrFromUtf8(const char *text, std::size_t length, BSTR *out);

// Reads `text` as one JSON document into `document`, with its nesting in `depth`. False for text
// that is not JSON, nests deeper than kJSONMaxDepth, or holds an escaped lone surrogate.
bool ParseDocument(LPCOLESTR text, Document &document, LONG &depth);

// `value` rounded to `precision` significant digits (1 to 17; 0 or less keeps it). False for a
// value that is not finite or does not stay finite once rounded.
bool RoundToPrecision(double value, LONG precision, double &out);

// Writes a value's text into a RapidJSON writer, numbers in their shortest exact form.
bool WriteValue(const Value &value, Writer &writer);
// Writes one double in its shortest exact form.
bool WriteNumber(double value, Writer &writer);

// A deep copy of `value` made with `allocator`, in `out`. RapidJSON's own copy builds through a
// document whose stack is taken from the heap each time; this one's comes from the thread's
// spares.
void DeepCopy(const Value &value, Allocator &allocator, Value &out);

// The JSON text of `value` as a BSTR.
HRESULT TextOf(const Value &value, BSTR *text);

// A copy of the value of `object` (made with `allocator`) and its nesting, from an object of this
// module or, through its text, of another implementation.
HRESULT CopyObjectValue(IJSONObject *object, Allocator &allocator, Value &out, LONG &depth);
HRESULT CopyArrayValue(IJSONArray *array, Allocator &allocator, Value &out, LONG &depth);
inline HRESULT CopyValueOf(IJSONObject *object, Allocator &allocator, Value &out, LONG &depth) {
  return CopyObjectValue(object, allocator, out, depth);
}
inline HRESULT CopyValueOf(IJSONArray *array, Allocator &allocator, Value &out, LONG &depth) {
  return CopyArrayValue(array, allocator, out, depth);
}

JSONType TypeOf(const Value &value);

// The values that the Add operations put in: E_POINTER for a null text, E_INVALIDARG for text
// with a lone surrogate or a number that is not finite.
HRESULT StringValue(LPCOLESTR text, Allocator &allocator, Value &out);
HRESULT NumberValue(double number, LONG precision, Value &out);

// The Get operations: E_POINTER for a null `out`, DISP_E_TYPEMISMATCH for a value of another
// type (with *out cleared). Objects and arrays come back as new objects holding a copy; `depth`
// is the nesting of the value at most.
HRESULT ReadString(const Value &value, BSTR *out);
HRESULT ReadNumber(const Value &value, double *out);
HRESULT ReadBoolean(const Value &value, VARIANT_BOOL *out);
HRESULT ReadObject(const Value &value, LONG depth, IJSONObject **out);  // json_object.cpp
HRESULT ReadArray(const Value &value, LONG depth, IJSONArray **out);    // json_array.cpp

}  // namespace kz::host::json

KZ_DECLARE_IID(kz::host::json::IJSONValueSource, "{29E1C672-3305-43B2-82DA-A354920DCA79}");
