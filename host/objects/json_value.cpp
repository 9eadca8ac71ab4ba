#include <host/objects/json_value.h>

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>

#include <rapidjson/reader.h>

#include <kzcore/pal/bstr.h>

namespace kz::host::json {

namespace {

// Texts nested up to this deep are read by the reader's recursive parse, the faster one; a
// deeper text is read again without recursion, so that the nesting of outside text never
// becomes the depth of our stack.
constexpr LONG kRecursiveDepth = 64;

// Forwards the parser's events to a document, refusing nesting past `limit` and strings that an
// escape made into an unpaired surrogate (which UTF-8 cannot carry).
class BoundedHandler {
 public:
  BoundedHandler(Document &document, LONG limit) : document_(document), limit_(limit) {}
  LONG deepest() const { return deepest_; }
  // Whether the parse stopped at the limit.
  bool stopped_deep() const { return stopped_deep_; }

  bool Null() { return document_.Null(); }
  bool Bool(bool b) { return document_.Bool(b); }
  bool Int(int i) { return document_.Int(i); }
  bool Uint(unsigned u) { return document_.Uint(u); }
  bool Int64(int64_t i) { return document_.Int64(i); }
  bool Uint64(uint64_t u) { return document_.Uint64(u); }
  // A number too large for a double must not come in as infinity, which JSON cannot write.
  bool Double(double d) { return std::isfinite(d) && document_.Double(d); }
  // Numbers arrive as their text and are read here: the parser's own full-precision reading
  // indexes past its power table on some long numbers (a fraction with hundreds of zeros).
  // Integers keep the parser's types; the rest are read correctly rounded in the "C" locale.
  bool RawNumber(const char *text, rapidjson::SizeType length, bool) {
    const char *end = text + length;
    if (std::find_if(text, end, [](char c) { return c == '.' || c == 'e' || c == 'E'; }) == end) {
      if (*text == '-') {
        int64_t value;
        if (std::from_chars(text, end, value).ec == std::errc()) return document_.Int64(value);
      } else {
        uint64_t value;
        if (std::from_chars(text, end, value).ec == std::errc()) return document_.Uint64(value);
      }
    }
    static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    const std::string copy(text, length);  // strtod reads to a terminator: the length decides
    return Double(strtod_l(copy.c_str(), nullptr, c));
  }
  bool String(const char *text, rapidjson::SizeType length, bool copy) {
    return WellFormed(text, length) && document_.String(text, length, copy);
  }
  bool Key(const char *text, rapidjson::SizeType length, bool copy) {
    return WellFormed(text, length) && document_.Key(text, length, copy);
  }
  bool StartObject() { return Enter() && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType members) {
    --depth_;
    return document_.EndObject(members);
  }
  bool StartArray() { return Enter() && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType elements) {
    --depth_;
    return document_.EndArray(elements);
  }

 private:
  bool Enter() {
    if (++depth_ > limit_) {
      stopped_deep_ = true;
      return false;
    }
    deepest_ = std::max(deepest_, depth_);
    return true;
  }
  // The text came from valid UTF-16, so only an escaped surrogate can be wrong: ED A0..BF.
  static bool WellFormed(const char *text, rapidjson::SizeType length) {
    for (rapidjson::SizeType i = 0; i + 1 < length; ++i)
      if (static_cast<unsigned char>(text[i]) == 0xED && (static_cast<unsigned char>(text[i + 1]) & 0xE0) == 0xA0)
        return false;
    return true;
  }

  Document &document_;
  LONG limit_;
  LONG depth_ = 0;
  LONG deepest_ = 0;
  bool stopped_deep_ = false;
};

template <bool kIterative>
struct TextParse {
  LPCOLESTR text;
  LONG depth = 0;
  bool read = false;
  bool too_deep = false;
  bool operator()(Document &document) {
    BoundedHandler handler(document, kIterative ? kJSONMaxDepth : kRecursiveDepth);
    rapidjson::GenericStringStream<rapidjson::UTF16<char16_t>> in(text);
    rapidjson::GenericReader<rapidjson::UTF16<char16_t>, rapidjson::UTF8<>, ThreadStackAllocator> reader(
        ThreadStackAllocator::Instance());
    constexpr unsigned kFlags = (kIterative ? rapidjson::kParseIterativeFlag : 0) |
                                rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::ParseResult result = reader.Parse<kFlags>(in, handler);
    depth = std::max<LONG>(handler.deepest(), 1);
    read = !result.IsError();
    too_deep = handler.stopped_deep();
    return read;
  }
};

// A value's events, as Value::Accept gives them, into a writer with our form of numbers.
class NumberFormWriter {
 public:
  explicit NumberFormWriter(Writer &writer) : writer_(writer) {}
  bool Null() { return writer_.Null(); }
  bool Bool(bool b) { return writer_.Bool(b); }
  bool Int(int i) { return writer_.Int(i); }
  bool Uint(unsigned u) { return writer_.Uint(u); }
  bool Int64(int64_t i) { return writer_.Int64(i); }
  bool Uint64(uint64_t u) { return writer_.Uint64(u); }
  bool Double(double d) { return WriteNumber(d, writer_); }
  bool RawNumber(const char *text, rapidjson::SizeType length, bool) {
    return writer_.RawValue(text, length, rapidjson::kNumberType);
  }
  bool String(const char *text, rapidjson::SizeType length, bool copy) { return writer_.String(text, length, copy); }
  bool Key(const char *text, rapidjson::SizeType length, bool copy) { return writer_.Key(text, length, copy); }
  bool StartObject() { return writer_.StartObject(); }
  bool EndObject(rapidjson::SizeType members) { return writer_.EndObject(members); }
  bool StartArray() { return writer_.StartArray(); }
  bool EndArray(rapidjson::SizeType elements) { return writer_.EndArray(elements); }

 private:
  Writer &writer_;
};

template <class Interface>
HRESULT CopyValue(Interface *source, bool object, Allocator &allocator, Value &out, LONG &depth) {
  if (source == nullptr) return E_POINTER;
  IJSONValueSource *own = nullptr;
  if (SUCCEEDED(source->QueryInterface(KZ_IID(IJSONValueSource), reinterpret_cast<void **>(&own)))) {
    // Copied before the caller changes anything: the source may be the caller itself.
    DeepCopy(own->JSONValue(), allocator, out);
    depth = own->JSONDepth();
    own->Release();
    return S_OK;
  }
  BSTR text = nullptr;
  HRESULT hr = source->ToJSONString(&text);
  if (FAILED(hr)) return hr;
  Document parsed;
  bool read = text != nullptr && ParseDocument(text, parsed, depth);
  SysFreeString(text);
  if (!read || (object ? !parsed.IsObject() : !parsed.IsArray())) return E_INVALIDARG;
  DeepCopy(parsed, allocator, out);
  return S_OK;
}

}  // namespace

bool Utf8FromUtf16(LPCOLESTR text, std::string &out) {
  // Member names and short values are most of what comes here: bytes gather in a local buffer
  // and reach the string in a few appends rather than one at a time.
  out.clear();
  char buffer[256];
  size_t n = 0;
  for (const char16_t *p = text; *p != 0; ++p) {
    if (n > sizeof buffer - 4) {
      out.append(buffer, n);
      n = 0;
    }
    char32_t c = *p;
    if (c < 0x80) {
      buffer[n++] = static_cast<char>(c);
      continue;
    }
    if (c >= 0xD800 && c <= 0xDFFF) {
      if (c > 0xDBFF || p[1] < 0xDC00 || p[1] > 0xDFFF) return false;
      c = 0x10000 + ((c - 0xD800) << 10) + (p[1] - 0xDC00);
      ++p;
    }
    if (c < 0x800) {
      buffer[n++] = static_cast<char>(0xC0 | c >> 6);
    } else if (c < 0x10000) {
      buffer[n++] = static_cast<char>(0xE0 | c >> 12);
      buffer[n++] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    } else {
      buffer[n++] = static_cast<char>(0xF0 | c >> 18);
      buffer[n++] = static_cast<char>(0x80 | (c >> 12 & 0x3F));
      buffer[n++] = static_cast<char>(0x80 | (c >> 6 & 0x3F));
    }
    buffer[n++] = static_cast<char>(0x80 | (c & 0x3F));
  }
  out.append(buffer, n);
  return true;
}

namespace {

// The code point of the sequence at p (well-formed: the documents hold nothing else) and the
// position after it.
char32_t NextCodePoint(const unsigned char *&p, const unsigned char *end) {
  char32_t c = *p++;
  int more = c < 0x80 ? 0 : c < 0xE0 ? 1 : c < 0xF0 ? 2 : 3;
  if (more != 0) c &= 0x3F >> more;
  for (; more > 0 && p < end; --more) c = c << 6 | (*p++ & 0x3F);
  return c;
}

}  // namespace

HRESULT BstrFromUtf8(const char *text, std::size_t length, BSTR *out) {
  if (out == nullptr) return E_POINTER;
  // The units are counted first, so that they go straight into the BSTR.
  const auto *begin = reinterpret_cast<const unsigned char *>(text);
  const unsigned char *end = begin + length;
  size_t units = 0;
  for (const unsigned char *p = begin; p < end;) {
    if (*p < 0x80) {
      ++units;
      ++p;
    } else {
      units += NextCodePoint(p, end) >= 0x10000 ? 2 : 1;
    }
  }
  *out = SysAllocStringLen(nullptr, static_cast<UINT>(units));
  if (*out == nullptr) return E_OUTOFMEMORY;
  char16_t *o = *out;
  for (const unsigned char *p = begin; p < end;) {
    if (*p < 0x80) {
      *o++ = *p++;
      continue;
    }
    char32_t c = NextCodePoint(p, end);
    if (c >= 0x10000) {
      *o++ = static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      *o++ = static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      *o++ = static_cast<char16_t>(c);
    }
  }
  return S_OK;
}

bool ParseDocument(LPCOLESTR text, Document &document, LONG &depth) {
  // Populate leaves the document as it was when the parse fails: null.
  document.SetNull();
  TextParse<false> parse{text};
  document.Populate(parse);
  depth = parse.depth;
  if (!parse.too_deep) return parse.read;
  TextParse<true> deep{text};
  document.Populate(deep);
  depth = deep.depth;
  return deep.read;
}

bool RoundToPrecision(double value, LONG precision, double &out) {
  if (!std::isfinite(value)) return false;
  if (precision <= 0) {
    out = value;
    return true;
  }
  // Rounded in decimal, correctly, then read back as the nearest double.
  char text[64];
  auto written = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific,
                               static_cast<int>(std::min<LONG>(precision, 17)) - 1);
  double rounded;
  auto read = std::from_chars(text, written.ptr, rounded);
  if (read.ec != std::errc() || !std::isfinite(rounded)) return false;
  out = rounded;
  return true;
}

bool WriteNumber(double value, Writer &writer) {
  if (!std::isfinite(value)) return false;
  // The shortest digits that read back as the value, laid out as script engines write numbers:
  // plain from 1e-6 up to 1e21, with an exponent outside that range.
  char scientific[32];
  auto end = std::to_chars(scientific, scientific + sizeof scientific, value, std::chars_format::scientific).ptr;
  const char *p = scientific;
  std::string text;
  if (*p == '-') text += *p++;
  std::string digits;
  for (; p < end && *p != 'e'; ++p)
    if (*p != '.') digits += *p;
  int exponent = 0;
  std::from_chars(p + 1 + (p[1] == '+'), end, exponent);
  const int k = static_cast<int>(digits.size());
  const int n = exponent + 1;  // the digits before the point
  if (k <= n && n <= 21) {
    text += digits + std::string(static_cast<std::size_t>(n - k), '0');
  } else if (0 < n && n <= 21) {
    text += digits.substr(0, static_cast<std::size_t>(n)) + "." + digits.substr(static_cast<std::size_t>(n));
  } else if (-6 < n && n <= 0) {
    text += "0." + std::string(static_cast<std::size_t>(-n), '0') + digits;
  } else {
    text += digits.substr(0, 1);
    if (k > 1) text += "." + digits.substr(1);
    text += (n - 1 < 0 ? "e-" : "e+") + std::to_string(std::abs(n - 1));
  }
  // Negative zero keeps its sign only with a point: readers take "-0" for the integer 0.
  if (text == "-0") text = "-0.0";
  return writer.RawValue(text.data(), text.size(), rapidjson::kNumberType);
}

bool WriteValue(const Value &value, Writer &writer) {
  NumberFormWriter numbers(writer);
  return value.Accept(numbers);
}

void DeepCopy(const Value &value, Allocator &allocator, Value &out) {
  if (!value.IsObject() && !value.IsArray()) {
    out.CopyFrom(value, allocator);  // no document on this road
    return;
  }
  Document copy(&allocator, 1024, ThreadStackAllocator::Instance());
  auto fill = [&value](Document &built) { return value.Accept(built); };
  copy.Populate(fill);
  out.Swap(copy);
}

HRESULT TextOf(const Value &value, BSTR *text) {
  if (text == nullptr) return E_POINTER;
  *text = nullptr;
  StringBuffer buffer(ThreadStackAllocator::Instance());
  Writer writer(buffer, ThreadStackAllocator::Instance());
  // Documents hold nothing that cannot be written; a failure here is a fault of ours.
  if (!WriteValue(value, writer)) return E_FAIL;
  return BstrFromUtf8(buffer.GetString(), buffer.GetSize(), text);
}

HRESULT CopyObjectValue(IJSONObject *object, Allocator &allocator, Value &out, LONG &depth) {
  return CopyValue(object, true, allocator, out, depth);
}

HRESULT CopyArrayValue(IJSONArray *array, Allocator &allocator, Value &out, LONG &depth) {
  return CopyValue(array, false, allocator, out, depth);
}

JSONType TypeOf(const Value &value) {
  switch (value.GetType()) {
    case rapidjson::kNullType:
      return JSONTypeNull;
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
      return JSONTypeBoolean;
    case rapidjson::kNumberType:
      return JSONTypeNumber;
    case rapidjson::kStringType:
      return JSONTypeString;
    case rapidjson::kObjectType:
      return JSONTypeObject;
    case rapidjson::kArrayType:
      return JSONTypeArray;
  }
  return JSONTypeNull;
}

HRESULT StringValue(LPCOLESTR text, Allocator &allocator, Value &out) {
  if (text == nullptr) return E_POINTER;
  std::string utf8;
  if (!Utf8FromUtf16(text, utf8)) return E_INVALIDARG;
  out.SetString(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()), allocator);
  return S_OK;
}

HRESULT NumberValue(double number, LONG precision, Value &out) {
  double rounded;
  if (!RoundToPrecision(number, precision, rounded)) return E_INVALIDARG;
  out.SetDouble(rounded);
  return S_OK;
}

HRESULT ReadString(const Value &value, BSTR *out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!value.IsString()) return DISP_E_TYPEMISMATCH;
  return BstrFromUtf8(value.GetString(), value.GetStringLength(), out);
}

HRESULT ReadNumber(const Value &value, double *out) {
  if (out == nullptr) return E_POINTER;
  *out = 0;
  if (!value.IsNumber()) return DISP_E_TYPEMISMATCH;
  *out = value.GetDouble();
  return S_OK;
}

HRESULT ReadBoolean(const Value &value, VARIANT_BOOL *out) {
  if (out == nullptr) return E_POINTER;
  *out = VARIANT_FALSE;
  if (!value.IsBool()) return DISP_E_TYPEMISMATCH;
  *out = value.GetBool() ? VARIANT_TRUE : VARIANT_FALSE;
  return S_OK;
}

}  // namespace kz::host::json
