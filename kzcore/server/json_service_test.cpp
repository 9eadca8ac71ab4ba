// The JSON service as library code reaches it: classes made through KzCreateInstance. RapidJSON,
// reading our text back, and the C library's number conversions are the references.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unicode/ustring.h>

#include <kzcore/core/unknown.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/json_service.h>
#include <tests/support/com_object.h>

namespace {

using Reference = rapidjson::GenericDocument<rapidjson::UTF16<char16_t>>;

template <class Interface>
Interface *Make(REFCLSID clsid) {
  Interface *made = nullptr;
  EXPECT_EQ(KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(&made)),
            S_OK);
  return made;
}

// Holds one reference and gives it back.
template <class Interface>
struct Held {
  Interface *p;
  explicit Held(Interface *p) : p(p) {}
  ~Held() {
    if (p != nullptr) p->Release();
  }
  Interface *operator->() const { return p; }
  operator Interface *() const { return p; }
};

Held<IJSONObject> NewObject() { return Held<IJSONObject>(Make<IJSONObject>(CLSID_JSONObject)); }
Held<IJSONArray> NewArray() { return Held<IJSONArray>(Make<IJSONArray>(CLSID_JSONArray)); }

std::u16string Take(BSTR text) {
  std::u16string copy = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"<null>";
  SysFreeString(text);
  return copy;
}

template <class Container>
std::u16string TextOf(Container *json) {
  BSTR text = nullptr;
  EXPECT_EQ(json->ToJSONString(&text), S_OK);
  return Take(text);
}

std::string Narrow(const std::u16string &text) {
  std::string out;
  for (char16_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
  return out;
}

// The reference's reading of our text: it must be JSON.
void ReadBack(const std::u16string &text, Reference &document) {
  document.Parse<rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag>(text.c_str());
  ASSERT_FALSE(document.HasParseError()) << Narrow(text);
}

const char16_t kAwkward[] = u"quote \" backslash \\ slash / tab \t line\n bell \x01 \u00E9 \u65E5 \U0001F600 end";

TEST(JSONObject, MembersInOrderReadBackByTheReference) {
  auto object = NewObject();
  auto inner = NewObject();
  auto list = NewArray();
  inner->AddString(u"kind", u"inner");
  list->AddInteger(1);
  list->AddString(u"two");
  ASSERT_EQ(object->AddString(u"name", kAwkward), S_OK);
  ASSERT_EQ(object->AddBoolean(u"yes", VARIANT_TRUE), S_OK);
  ASSERT_EQ(object->AddBoolean(u"no", VARIANT_FALSE), S_OK);
  ASSERT_EQ(object->AddInteger(u"least", std::numeric_limits<LONGLONG>::min()), S_OK);
  ASSERT_EQ(object->AddInteger(u"most", std::numeric_limits<LONGLONG>::max()), S_OK);
  ASSERT_EQ(object->AddNumber(u"third", 1.0 / 3), S_OK);
  ASSERT_EQ(object->AddNull(u"nothing"), S_OK);
  ASSERT_EQ(object->AddObject(u"inner", inner), S_OK);
  ASSERT_EQ(object->AddArray(u"list", list), S_OK);
  ASSERT_EQ(object->AddString(u"\u65E5\u672C", u""), S_OK);
  // Later changes to what was added do not reach the copy.
  inner->AddString(u"late", u"x");
  list->AddNull();

  Reference doc;
  ReadBack(TextOf(object.p), doc);
  ASSERT_TRUE(doc.IsObject());
  const char16_t *names[] = {u"name", u"yes", u"no", u"least", u"most", u"third", u"nothing", u"inner", u"list", u"\u65E5\u672C"};
  ASSERT_EQ(doc.MemberCount(), std::size(names));
  int i = 0;
  for (auto &member : doc.GetObject()) EXPECT_EQ(std::u16string(member.name.GetString()), names[i++]);
  EXPECT_EQ(std::u16string(doc[u"name"].GetString(), doc[u"name"].GetStringLength()), kAwkward);
  EXPECT_TRUE(doc[u"yes"].IsTrue());
  EXPECT_TRUE(doc[u"no"].IsFalse());
  EXPECT_EQ(doc[u"least"].GetInt64(), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(doc[u"most"].GetInt64(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(doc[u"third"].GetDouble(), 1.0 / 3);
  EXPECT_TRUE(doc[u"nothing"].IsNull());
  EXPECT_EQ(doc[u"inner"].MemberCount(), 1u);
  EXPECT_EQ(std::u16string(doc[u"inner"][u"kind"].GetString()), u"inner");
  ASSERT_EQ(doc[u"list"].Size(), 2u);
  EXPECT_EQ(doc[u"list"][0].GetInt(), 1);
  EXPECT_EQ(std::u16string(doc[u"list"][1].GetString()), u"two");

  // A name given again keeps its place and takes the new value.
  ASSERT_EQ(object->AddInteger(u"yes", 5), S_OK);
  ReadBack(TextOf(object.p), doc);
  EXPECT_EQ(doc.MemberCount(), std::size(names));
  EXPECT_EQ(std::u16string(doc.MemberBegin()[1].name.GetString()), u"yes");
  EXPECT_EQ(doc[u"yes"].GetInt(), 5);

  // What the reference reads, the object reads too.
  LONG count = 0;
  object->GetMemberCount(&count);
  EXPECT_EQ(count, static_cast<LONG>(std::size(names)));
  for (LONG n = 0; n < count; ++n) {
    BSTR name = nullptr;
    ASSERT_EQ(object->GetMemberName(n, &name), S_OK);
    EXPECT_EQ(Take(name), names[n]);
  }
  BSTR text = nullptr;
  ASSERT_EQ(object->GetString(u"name", &text), S_OK);
  EXPECT_EQ(Take(text), kAwkward);
  double number = 0;
  EXPECT_EQ(object->GetNumber(u"most", &number), S_OK);
  EXPECT_EQ(number, 9223372036854775807.0);
  EXPECT_EQ(object->GetNumber(u"third", &number), S_OK);
  EXPECT_EQ(number, 1.0 / 3);
  VARIANT_BOOL flag = VARIANT_TRUE;
  EXPECT_EQ(object->GetBoolean(u"no", &flag), S_OK);
  EXPECT_EQ(flag, VARIANT_FALSE);
  JSONType type = JSONTypeNull;
  EXPECT_EQ(object->GetMemberType(u"list", &type), S_OK);
  EXPECT_EQ(type, JSONTypeArray);
  EXPECT_EQ(object->GetMemberType(u"nothing", &type), S_OK);
  EXPECT_EQ(type, JSONTypeNull);
}

TEST(JSONObject, ReadingWhatIsNotThere) {
  auto object = NewObject();
  ASSERT_EQ(object->Parse(u"{\"s\":\"text\",\"n\":2.5,\"b\":true,\"o\":{\"x\":[1]},\"a\":[{}],\"z\":\"a\\u0000b\"}"), S_OK);
  BSTR text = reinterpret_cast<BSTR>(&text);
  EXPECT_EQ(object->GetString(u"n", &text), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(object->GetString(u"missing", &text), JSON_E_NOTFOUND);
  EXPECT_EQ(object->GetString(u"S", &text), JSON_E_NOTFOUND);  // names are exact
  EXPECT_EQ(object->GetString(nullptr, &text), E_POINTER);
  EXPECT_EQ(object->GetString(u"s", nullptr), E_POINTER);
  double number = 7;
  EXPECT_EQ(object->GetNumber(u"s", &number), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(number, 0);
  VARIANT_BOOL flag;
  EXPECT_EQ(object->GetBoolean(u"o", &flag), DISP_E_TYPEMISMATCH);
  IJSONObject *child = nullptr;
  EXPECT_EQ(object->GetObject(u"a", &child), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(child, nullptr);
  BSTR name = nullptr;
  EXPECT_EQ(object->GetMemberName(6, &name), JSON_E_NOTFOUND);
  EXPECT_EQ(object->GetMemberName(-1, &name), JSON_E_NOTFOUND);
  // A zero unit inside a string comes through whole.
  ASSERT_EQ(object->GetString(u"z", &text), S_OK);
  EXPECT_EQ(Take(text), std::u16string(u"a\0b", 3));

  // A member read as an object is a copy.
  ASSERT_EQ(object->GetObject(u"o", &child), S_OK);
  child->AddBoolean(u"added", VARIANT_TRUE);
  child->Release();
  ASSERT_EQ(object->GetObject(u"o", &child), S_OK);
  EXPECT_EQ(TextOf(child), u"{\"x\":[1]}");
  child->Release();

  // Adding checks its arguments.
  EXPECT_EQ(object->AddString(nullptr, u"v"), E_POINTER);
  EXPECT_EQ(object->AddString(u"v", nullptr), E_POINTER);
  EXPECT_EQ(object->AddString(u"lone \xD800 surrogate", u"v"), E_INVALIDARG);
  EXPECT_EQ(object->AddString(u"v", u"\xDC00"), E_INVALIDARG);
  EXPECT_EQ(object->AddNumber(u"v", std::numeric_limits<double>::infinity()), E_INVALIDARG);
  EXPECT_EQ(object->AddNumber(u"v", std::nan("")), E_INVALIDARG);
  EXPECT_EQ(object->AddNumberWithPrecision(u"v", 1.7976931348623157e308, 3), E_INVALIDARG);  // rounds past the largest
  EXPECT_EQ(object->AddObject(u"v", nullptr), E_POINTER);
  LONG count = 0;
  object->GetMemberCount(&count);
  EXPECT_EQ(count, 6);  // none of them added anything
}

TEST(JSONObject, ParseTakesOneObjectOrLeavesNone) {
  auto object = NewObject();
  const char16_t *valid[] = {
      u"{}",
      u" {\"a\" : [1, -2.5e-3, 1E+2, true, false, null, \"\\u00e9\\ud83d\\ude00\\n\"], \"b\":{\"c\":{}}} ",
      u"{\"big\":18446744073709551615,\"bigger\":184467440737095516150,\"tiny\":5e-324}"};
  for (const char16_t *text : valid) {
    SCOPED_TRACE(Narrow(text));
    ASSERT_EQ(object->Parse(text), S_OK);
    // What we write reads, in the reference, as the same document as what we read.
    Reference ours, theirs;
    ReadBack(TextOf(object.p), ours);
    ReadBack(text, theirs);
    EXPECT_TRUE(ours == theirs) << Narrow(TextOf(object.p));
  }
  const char16_t *invalid[] = {u"",
                               u"[]",
                               u"\"text\"",
                               u"{",
                               u"{\"a\":1,}",
                               u"{\"a\":1} x",
                               u"{'a':1}",
                               u"{\"a\":01}",
                               u"{\"a\":NaN}",
                               u"{\"a\":1e999}",
                               u"{\"a\":2e308}",
                               u"{\"a\":-1.8e308}",
                               u"{\"a\":\"\xD800\"}",
                               u"{\"a\":\"\\ud800\"}",
                               u"{\"a\":\"\\udc00\"}",
                               u"{\"a\":\"\\ud800\\u0041\"}",
                               u"{\"a\":\"tab\tinside\"}"};
  for (const char16_t *text : invalid) {
    SCOPED_TRACE(Narrow(text));
    ASSERT_EQ(object->Parse(u"{\"before\":1}"), S_OK);
    EXPECT_EQ(object->Parse(text), E_INVALIDARG);
    EXPECT_EQ(TextOf(object.p), u"{}");
  }
  EXPECT_EQ(object->Parse(nullptr), E_POINTER);

  // A name that the text repeats stays repeated; reading by name finds the first.
  ASSERT_EQ(object->Parse(u"{\"dup\":1,\"dup\":2}"), S_OK);
  EXPECT_EQ(TextOf(object.p), u"{\"dup\":1,\"dup\":2}");
  double first = 0;
  EXPECT_EQ(object->GetNumber(u"dup", &first), S_OK);
  EXPECT_EQ(first, 1);
}

TEST(JSONService, NestingIsLimited) {
  auto nest = [](int depth) {
    std::u16string text(static_cast<std::size_t>(depth - 1), u'[');
    text = u"{\"a\":" + text + std::u16string(static_cast<std::size_t>(depth - 1), u']') + u"}";
    return text;
  };
  auto object = NewObject();
  EXPECT_EQ(object->Parse(nest(kJSONMaxDepth).c_str()), S_OK);
  EXPECT_EQ(object->Parse(nest(kJSONMaxDepth + 1).c_str()), E_INVALIDARG);
  // Far too deep for any stack that recursed: refused all the same.
  EXPECT_EQ(object->Parse(nest(200000).c_str()), E_INVALIDARG);

  // Objects made deep one level at a time stop at the same depth: an object added to itself
  // nests one deeper each time.
  auto deep = NewObject();
  HRESULT hr = S_OK;
  int added = 0;
  while (SUCCEEDED(hr = deep->AddObject(u"a", deep))) ++added;
  EXPECT_EQ(hr, E_INVALIDARG);
  EXPECT_EQ(added, kJSONMaxDepth - 1);
  Reference doc;
  ReadBack(TextOf(deep.p), doc);
  int depth = 0;
  for (const rapidjson::GenericValue<rapidjson::UTF16<char16_t>> *v = &doc; v->IsObject() && v->HasMember(u"a");
       v = &(*v)[u"a"])
    ++depth;
  EXPECT_EQ(depth, kJSONMaxDepth - 1);
  auto holder = NewArray();
  EXPECT_EQ(holder->AddObject(deep), E_INVALIDARG);
  auto shallow = NewArray();
  EXPECT_EQ(shallow->AddArray(shallow), S_OK);
  EXPECT_EQ(TextOf(shallow.p), u"[[]]");
}

// A number with a precision has that many significant digits: it is the value the C library's
// correctly rounded printf gives, and it is written in no more digits.
TEST(JSONService, NumbersWithAPrecisionAgreeWithTheCLibrary) {
  auto object = NewObject();
  ASSERT_EQ(object->AddNumberWithPrecision(u"currentVersion", static_cast<double>(10.6f), 4), S_OK);
  EXPECT_EQ(TextOf(object.p), u"{\"currentVersion\":10.6}");

  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> mantissa(-10, 10);
  std::uniform_int_distribution<int> exponent(-300, 300);
  for (int i = 0; i < 4000; ++i) {
    double value = mantissa(rng) * std::pow(10.0, exponent(rng));
    LONG precision = static_cast<LONG>(i % 18);  // 0: unrounded
    if (!std::isfinite(value)) continue;
    double expected = value;
    if (precision > 0) {
      char reference[64];
      std::snprintf(reference, sizeof reference, "%.*e", static_cast<int>(precision) - 1, value);
      expected = std::strtod(reference, nullptr);
    }
    auto array = NewArray();
    ASSERT_EQ(array->AddNumberWithPrecision(value, precision), S_OK);
    double got = 0;
    array->GetNumber(0, &got);
    EXPECT_EQ(got, expected) << value << " at " << precision;
    std::string token = Narrow(TextOf(array.p));
    token = token.substr(1, token.size() - 2);
    EXPECT_EQ(std::strtod(token.c_str(), nullptr), expected) << token;
    if (precision > 0) {
      // The significant digits of the token: those of its mantissa without the point and
      // without leading or trailing zeros.
      std::string digits;
      for (char c : token.substr(0, token.find_first_of("eE")))
        if (c >= '0' && c <= '9') digits += c;
      digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
      while (!digits.empty() && digits.back() == '0') digits.pop_back();
      EXPECT_LE(digits.size(), static_cast<std::size_t>(precision)) << token;
    }
  }
}

// Numbers are written with their shortest digits laid out as script engines write them: plain
// from 1e-6 up to 1e21, with an exponent outside.
TEST(JSONService, NumbersAreWrittenInTheirShortestForm) {
  const std::pair<double, const char16_t *> rows[] = {
      {0.1, u"0.1"},
      {100, u"100"},
      {123.456, u"123.456"},
      {0.5, u"0.5"},
      {1e20, u"100000000000000000000"},
      {1e21, u"1e+21"},
      {123456789012345680000.0, u"123456789012345680000"},
      {0.000001, u"0.000001"},
      {1e-7, u"1e-7"},
      {-1.5e-10, u"-1.5e-10"},
      {9007199254740993.0, u"9007199254740992"},
      {5e-324, u"5e-324"},
      {1.7976931348623157e308, u"1.7976931348623157e+308"},
      {-0.0, u"-0.0"},  // a reader keeps the sign only with the point
      {0.0, u"0"},
  };
  for (const auto &[value, text] : rows) {
    auto array = NewArray();
    ASSERT_EQ(array->AddNumber(value), S_OK);
    EXPECT_EQ(TextOf(array.p), u"[" + std::u16string(text) + u"]") << value;
    Reference doc;
    ReadBack(TextOf(array.p), doc);
    EXPECT_EQ(std::signbit(doc[0].GetDouble()), std::signbit(value));
  }
}

// The writer streams a document; calls out of order fail and leave the document as it was.
TEST(JSONWriter, StreamsOneDocument) {
  auto made = Make<IJSONWriter>(CLSID_JSONWriter);
  Held<IJSONWriter> writer(made);
  auto error = NewObject();
  error->AddInteger(u"code", 400);
  error->AddString(u"message", u"Invalid URL.");
  auto details = NewArray();
  error->AddArray(u"details", details);

  ASSERT_EQ(writer->Initialize(), S_OK);
  BSTR text = nullptr;
  EXPECT_EQ(writer->GetText(&text), E_UNEXPECTED);  // nothing written yet
  EXPECT_EQ(writer->StartObject(u"top"), E_UNEXPECTED);
  ASSERT_EQ(writer->StartObject(nullptr), S_OK);
  EXPECT_EQ(writer->WriteString(nullptr, u"nameless"), E_UNEXPECTED);
  EXPECT_EQ(writer->EndArray(), E_UNEXPECTED);
  ASSERT_EQ(writer->WriteObject(u"error", error), S_OK);
  EXPECT_EQ(writer->WriteString(u"lone", u"\xDBFF"), E_INVALIDARG);
  ASSERT_EQ(writer->StartArray(u"list"), S_OK);
  EXPECT_EQ(writer->WriteNull(u"named"), E_UNEXPECTED);
  ASSERT_EQ(writer->WriteInteger(nullptr, -3), S_OK);
  ASSERT_EQ(writer->WriteBoolean(nullptr, VARIANT_TRUE), S_OK);
  ASSERT_EQ(writer->WriteNull(nullptr), S_OK);
  ASSERT_EQ(writer->WriteArray(nullptr, details), S_OK);
  ASSERT_EQ(writer->WriteString(nullptr, kAwkward), S_OK);
  EXPECT_EQ(writer->EndObject(), E_UNEXPECTED);
  ASSERT_EQ(writer->EndArray(), S_OK);
  // The version member goes through the writer's numeric interface.
  IJSONNumericProperty *numbers = nullptr;
  ASSERT_EQ(writer->QueryInterface(KZ_IID(IJSONNumericProperty), reinterpret_cast<void **>(&numbers)), S_OK);
  EXPECT_EQ(numbers->AddNumberProperty(u"currentVersion", std::nan(""), 4), E_INVALIDARG);
  ASSERT_EQ(numbers->AddNumberProperty(u"currentVersion", static_cast<double>(10.6f), 4), S_OK);
  numbers->Release();
  EXPECT_EQ(writer->GetText(&text), E_UNEXPECTED);  // still open
  ASSERT_EQ(writer->EndObject(), S_OK);
  EXPECT_EQ(writer->WriteNull(nullptr), E_UNEXPECTED);  // one document only
  EXPECT_EQ(writer->EndObject(), E_UNEXPECTED);

  ASSERT_EQ(writer->GetText(&text), S_OK);
  std::u16string written = Take(text);
  const std::u16string head =
      u"{\"error\":{\"code\":400,\"message\":\"Invalid URL.\",\"details\":[]},\"list\":[-3,true,null,[],\"quote";
  const std::u16string tail = u"],\"currentVersion\":10.6}";
  EXPECT_EQ(written.substr(0, head.size()), head);
  EXPECT_EQ(written.substr(written.size() - tail.size()), tail);
  Reference doc;
  ReadBack(written, doc);
  EXPECT_EQ(std::u16string(doc[u"list"][4].GetString(), doc[u"list"][4].GetStringLength()), kAwkward);

  // The bytes are the text in UTF-8, as ICU converts it back.
  SAFEARRAY *bytes = nullptr;
  ASSERT_EQ(writer->GetBytes(&bytes), S_OK);
  VARTYPE vt = VT_EMPTY;
  SafeArrayGetVartype(bytes, &vt);
  EXPECT_EQ(vt, VT_UI1);
  EXPECT_EQ(SafeArrayGetDim(bytes), 1u);
  LONG lower = -1, upper = -1;
  SafeArrayGetLBound(bytes, 1, &lower);
  SafeArrayGetUBound(bytes, 1, &upper);
  EXPECT_EQ(lower, 0);
  void *data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(bytes, &data), S_OK);
  std::u16string decoded(written.size() + 1, u'\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(decoded.data(), static_cast<int32_t>(decoded.size()), &length, static_cast<const char *>(data),
                upper + 1, &status);
  SafeArrayUnaccessData(bytes);
  ASSERT_TRUE(U_SUCCESS(status));
  decoded.resize(static_cast<std::size_t>(length));
  EXPECT_EQ(decoded, written);
  EXPECT_GT(upper + 1, static_cast<LONG>(written.size()));  // the non-ASCII characters take more bytes
  SafeArrayDestroy(bytes);
  writer->Initialize();
  writer->StartArray(nullptr);
  bytes = reinterpret_cast<SAFEARRAY *>(&text);
  EXPECT_EQ(writer->GetBytes(&bytes), E_UNEXPECTED);  // not finished
  EXPECT_EQ(bytes, nullptr);

  // Initialize starts again; a top-level value of any kind is a document.
  ASSERT_EQ(writer->Initialize(), S_OK);
  ASSERT_EQ(writer->WriteArray(nullptr, details), S_OK);
  ASSERT_EQ(writer->GetText(&text), S_OK);
  EXPECT_EQ(Take(text), u"[]");
  writer->Initialize();
  for (int i = 0; i < kJSONMaxDepth; ++i) ASSERT_EQ(writer->StartArray(nullptr), S_OK);
  EXPECT_EQ(writer->StartArray(nullptr), E_INVALIDARG);
  EXPECT_EQ(writer->WriteArray(nullptr, details), E_INVALIDARG);
  ASSERT_EQ(writer->WriteNull(nullptr), S_OK);
  for (int i = 0; i < kJSONMaxDepth; ++i) ASSERT_EQ(writer->EndArray(), S_OK);
  ASSERT_EQ(writer->GetText(&text), S_OK);
  EXPECT_EQ(Take(text), std::u16string(kJSONMaxDepth, u'[') + u"null" + std::u16string(kJSONMaxDepth, u']'));
}

TEST(JSONArray, ElementsOfEveryKind) {
  auto array = NewArray();
  auto element = NewObject();
  element->AddInteger(u"id", 3);
  auto nested = NewArray();
  nested->AddBoolean(VARIANT_TRUE);
  ASSERT_EQ(array->AddString(kAwkward), S_OK);
  ASSERT_EQ(array->AddBoolean(VARIANT_FALSE), S_OK);
  ASSERT_EQ(array->AddInteger(-42), S_OK);
  ASSERT_EQ(array->AddNumber(0.1), S_OK);
  ASSERT_EQ(array->AddNumberWithPrecision(2.0 / 3, 3), S_OK);
  ASSERT_EQ(array->AddNull(), S_OK);
  ASSERT_EQ(array->AddObject(element), S_OK);
  ASSERT_EQ(array->AddArray(nested), S_OK);
  EXPECT_EQ(array->AddString(nullptr), E_POINTER);
  EXPECT_EQ(array->AddString(u"\xD83D"), E_INVALIDARG);
  EXPECT_EQ(array->AddNumber(-std::numeric_limits<double>::infinity()), E_INVALIDARG);

  Reference doc;
  ReadBack(TextOf(array.p), doc);
  ASSERT_TRUE(doc.IsArray());
  ASSERT_EQ(doc.Size(), 8u);
  EXPECT_EQ(std::u16string(doc[0].GetString(), doc[0].GetStringLength()), kAwkward);
  EXPECT_TRUE(doc[1].IsFalse());
  EXPECT_EQ(doc[2].GetInt(), -42);
  EXPECT_EQ(doc[3].GetDouble(), 0.1);
  EXPECT_EQ(doc[4].GetDouble(), 0.667);
  EXPECT_TRUE(doc[5].IsNull());
  EXPECT_EQ(doc[6][u"id"].GetInt(), 3);
  EXPECT_TRUE(doc[7][0].IsTrue());

  LONG count = 0;
  array->GetCount(&count);
  EXPECT_EQ(count, 8);
  const JSONType types[] = {JSONTypeString, JSONTypeBoolean, JSONTypeNumber, JSONTypeNumber,
                            JSONTypeNumber, JSONTypeNull,    JSONTypeObject, JSONTypeArray};
  for (LONG i = 0; i < count; ++i) {
    JSONType type;
    ASSERT_EQ(array->GetType(i, &type), S_OK);
    EXPECT_EQ(type, types[i]);
  }
  JSONType type;
  EXPECT_EQ(array->GetType(8, &type), JSON_E_NOTFOUND);
  BSTR text = nullptr;
  ASSERT_EQ(array->GetString(0, &text), S_OK);
  EXPECT_EQ(Take(text), kAwkward);
  EXPECT_EQ(array->GetString(1, &text), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(array->GetString(-1, &text), JSON_E_NOTFOUND);
  VARIANT_BOOL flag = VARIANT_TRUE;
  EXPECT_EQ(array->GetBoolean(1, &flag), S_OK);
  EXPECT_EQ(flag, VARIANT_FALSE);
  IJSONObject *object = nullptr;
  ASSERT_EQ(array->GetObject(6, &object), S_OK);
  EXPECT_EQ(TextOf(object), u"{\"id\":3}");
  object->Release();
  IJSONArray *inner = nullptr;
  ASSERT_EQ(array->GetArray(7, &inner), S_OK);
  EXPECT_EQ(TextOf(inner), u"[true]");
  inner->Release();

  EXPECT_EQ(array->Parse(u"{}"), E_INVALIDARG);
  array->GetCount(&count);
  EXPECT_EQ(count, 0);
  ASSERT_EQ(array->Parse(u"[1,[2,[3]]]"), S_OK);
  EXPECT_EQ(TextOf(array.p), u"[1,[2,[3]]]");
  array->Clear();
  EXPECT_EQ(TextOf(array.p), u"[]");
}

// An object of another implementation is added through its text.
struct ForeignObject : kztest::ComObject<IJSONObject> {
  explicit ForeignObject(const char16_t *text) : text(text) {}
  HRESULT ToJSONString(BSTR *out) override {
    *out = SysAllocString(text);
    return S_OK;
  }
  HRESULT Parse(LPCOLESTR) override { return E_NOTIMPL; }
  HRESULT Clear() override { return E_NOTIMPL; }
  HRESULT AddString(LPCOLESTR, LPCOLESTR) override { return E_NOTIMPL; }
  HRESULT AddBoolean(LPCOLESTR, VARIANT_BOOL) override { return E_NOTIMPL; }
  HRESULT AddInteger(LPCOLESTR, LONGLONG) override { return E_NOTIMPL; }
  HRESULT AddNumber(LPCOLESTR, double) override { return E_NOTIMPL; }
  HRESULT AddNumberWithPrecision(LPCOLESTR, double, LONG) override { return E_NOTIMPL; }
  HRESULT AddNull(LPCOLESTR) override { return E_NOTIMPL; }
  HRESULT AddObject(LPCOLESTR, IJSONObject *) override { return E_NOTIMPL; }
  HRESULT AddArray(LPCOLESTR, IJSONArray *) override { return E_NOTIMPL; }
  HRESULT GetMemberCount(LONG *) override { return E_NOTIMPL; }
  HRESULT GetMemberName(LONG, BSTR *) override { return E_NOTIMPL; }
  HRESULT GetMemberType(LPCOLESTR, JSONType *) override { return E_NOTIMPL; }
  HRESULT GetString(LPCOLESTR, BSTR *) override { return E_NOTIMPL; }
  HRESULT GetNumber(LPCOLESTR, double *) override { return E_NOTIMPL; }
  HRESULT GetBoolean(LPCOLESTR, VARIANT_BOOL *) override { return E_NOTIMPL; }
  HRESULT GetObject(LPCOLESTR, IJSONObject **) override { return E_NOTIMPL; }
  HRESULT GetArray(LPCOLESTR, IJSONArray **) override { return E_NOTIMPL; }
  const char16_t *text;
};

TEST(JSONService, ObjectsOfAnotherImplementationGoInThroughTheirText) {
  ForeignObject good(u"{\"from\":\"elsewhere\"}"), bad(u"{\"from\":"), not_an_object(u"[1]");
  auto object = NewObject();
  EXPECT_EQ(object->AddObject(u"good", &good), S_OK);
  EXPECT_EQ(object->AddObject(u"bad", &bad), E_INVALIDARG);
  EXPECT_EQ(object->AddObject(u"array", &not_an_object), E_INVALIDARG);
  EXPECT_EQ(TextOf(object.p), u"{\"good\":{\"from\":\"elsewhere\"}}");
  EXPECT_EQ(good.refs() + bad.refs() + not_an_object.refs(), 3u);
}

TEST(JSONService, ObjectsAreCountedAndFreed) {
  const LONG live = Unknown::LiveObjectCount();
  {
    auto object = NewObject();
    auto array = NewArray();
    object->AddArray(u"a", array);
    IJSONArray *copy = nullptr;
    ASSERT_EQ(object->GetArray(u"a", &copy), S_OK);
    EXPECT_EQ(TextOf(copy), u"[]");
    EXPECT_EQ(Unknown::LiveObjectCount(), live + 3);
    copy->Release();
  }
  EXPECT_EQ(Unknown::LiveObjectCount(), live);
  IUnknown *out = nullptr;
  EXPECT_EQ(KzCreateInstance(CLSID_JSONObject, NewObject(), CLSCTX_INPROC_SERVER, KZ_IID(IUnknown),
                             reinterpret_cast<void **>(&out)),
            CLASS_E_NOAGGREGATION);
}

}  // namespace
