// The road of a request: the path walk on two trees that between them take every turn of it, the
// choice of handler, the capability tests, the body rules and the error documents a client gets.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;

std::u16string Take(BSTR text) {
  std::u16string copy = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"<null>";
  SysFreeString(text);
  return copy;
}

// For messages: the text with anything beyond ASCII as "?".
std::string Narrow(const WCHAR *text) {
  if (text == nullptr) return "<null>";
  std::string out;
  for (; *text != 0; ++text) out += *text < 0x80 ? static_cast<char>(*text) : '?';
  return out;
}

std::string Bytes(SAFEARRAY *array) {
  if (array == nullptr) return "<null>";
  return std::string(static_cast<const char *>(array->pvData), array->rgsabound[0].cElements);
}

template <class Interface>
Interface *Make(REFCLSID clsid) {
  Interface *made = nullptr;
  KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(&made));
  return made;
}

// The document of an error as its fields say it must be written.
std::string Document(int code, const std::string &message, const std::string &details = "") {
  return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"(","details":[)" +
         details + "]}}";
}
const std::u16string kErrorProperties = uR"({"Content-Type":"text/plain", "Success":false})";

enum Id { kRoot, kInfo, kDetail, kLayers, kLayer, kFields, kField, kInner, kInnerItem, kQuery, kSecure, kEdit, kX };

// What the handler saw, and how it answers.
struct Script {
  HRESULT result = S_OK;
  void (*answer)(VARIANT &body, IJSONObject **properties) = nullptr;
  int handler = -1;
  std::map<std::u16string, std::u16string> keys;
  std::u16string format, input, requested;
};

template <int N>
HRESULT Handle(void *context, const WCHAR *, RESTResource *, RESTKeys &keys, WCHAR *input, const WCHAR *format,
               IJSONObject *request, IJSONObject **properties, VARIANT &body) {
  auto *script = static_cast<Script *>(context);
  script->handler = N;
  for (auto p = keys.GetStartPosition(); p.entry != nullptr;) {
    String key, value;
    keys.GetNextAssoc(p, key, value);
    script->keys[std::u16string(key)] = std::u16string(value);
  }
  script->format = format;
  script->input = input != nullptr ? input : u"<null>";
  BSTR name = nullptr;
  if (SUCCEEDED(request->GetString(u"name", &name))) script->requested = Take(name);
  if (script->answer != nullptr) script->answer(body, properties);
  return script->result;
}

struct Walker : RESTDispatcher {
  using RESTDispatcher::FindResourceW;
};

// The main tree, unnamed at the root:
//   "" ─ info ─ detail
//      ├ layers (collection, default; operation query) ─ fields (collection)
//      │                                               └ layers (collection)
//      ├ secure (requires "Query"; operation edit requires "Editing")
//      └ spare (collection, default)
// and a second one whose root "x" is a collection with a child y.
class RESTDispatch : public ::testing::Test {
 protected:
  void SetUp() override {
    StringArray none;
    nodes[u""] = tree.CreateRESTResource(u"", Handle<kRoot>, true);
    nodes[u"info"] = tree.CreateRESTResource(u"info", Handle<kInfo>, true);
    nodes[u"detail"] = tree.CreateRESTResource(u"detail", Handle<kDetail>, true);
    nodes[u"layers"] = tree.CreateRESTCollectionResource(u"layers", Handle<kLayers>, Handle<kLayer>, true, true);
    nodes[u"fields"] = tree.CreateRESTCollectionResource(u"fields", Handle<kFields>, Handle<kField>, false, true);
    nodes[u"inner"] = tree.CreateRESTCollectionResource(u"layers", Handle<kInner>, Handle<kInnerItem>, false, true);
    nodes[u"secure"] = tree.CreateRESTResource(u"secure", Handle<kSecure>, u"Query", true);
    nodes[u""]->AddResource(nodes[u"info"]);
    nodes[u"info"]->AddResource(nodes[u"detail"]);
    nodes[u""]->AddResource(nodes[u"layers"]);
    nodes[u"layers"]->AddResource(nodes[u"fields"]);
    nodes[u"layers"]->AddResource(nodes[u"inner"]);
    nodes[u"layers"]->AddOperation(tree.CreateRESTOperation(u"query", Handle<kQuery>, none, none));
    nodes[u""]->AddResource(nodes[u"secure"]);
    nodes[u"spare"] = tree.CreateRESTCollectionResource(u"spare", nullptr, nullptr, true, true);
    nodes[u""]->AddResource(nodes[u"spare"]);  // a second default collection: the first one counts
    nodes[u"secure"]->AddOperation(tree.CreateRESTOperation(u"edit", Handle<kEdit>, none, none, u"Editing"));
    tree.Init(&script, nodes[u""], nullptr);

    nodes[u"x"] = other.CreateRESTCollectionResource(u"x", Handle<kX>, Handle<kX>, false, true);
    nodes[u"y"] = other.CreateRESTResource(u"y", nullptr, true);
    nodes[u"x"]->AddResource(nodes[u"y"]);
    other.Init(&script, nodes[u"x"], nullptr);
  }

  struct Response {
    HRESULT hr;
    std::u16string properties;
    std::string body;
  };
  Response Request(const WCHAR *path, const WCHAR *operation = nullptr, const WCHAR *capabilities = nullptr,
                   const WCHAR *properties = nullptr, const WCHAR *format = nullptr, WCHAR *input = nullptr) {
    script.handler = -1;
    BSTR text = nullptr;
    SAFEARRAY *bytes = nullptr;
    HRESULT hr = tree.HandleRESTRequest(capabilities, path, operation, input, format, properties, &text, &bytes);
    Response r{hr, Take(text), Bytes(bytes)};
    SafeArrayDestroy(bytes);
    return r;
  }

  Script script;
  Walker tree, other;
  std::map<std::u16string, RESTResource *> nodes;
};

TEST_F(RESTDispatch, PathWalk) {
  struct Case {
    Walker *tree;
    const WCHAR *path, *operation, *expected;  // expected: a node's label, or null for no result
    std::map<std::u16string, std::u16string> keys = {};
  } cases[] = {
      {&tree, nullptr, nullptr, u""},  // the whole path is the root's name
      {&tree, u"", u"op", u""},
      {&tree, u"/", nullptr, u""},  // the unnamed root takes an empty first component
      {&tree, u"info", nullptr, u"info"},
      {&tree, u"/info/", nullptr, u"info"},
      {&tree, u"info//detail", nullptr, u"detail"},
      {&tree, u"info/nope", nullptr, nullptr},  // no such child and no default collection
      {&tree, u"info/detail/more", nullptr, nullptr},
      {&tree, u"layers", u"query", u"layers"},  // a collection as the last component takes operations
      {&tree, u"layers/7", u"query", u"layers", {{u"layers", u"7"}}},
      {&tree, u"layers/7/fields/3", nullptr, u"fields", {{u"layers", u"7"}, {u"fields", u"3"}}},
      {&tree, u"/7/fields", nullptr, u"fields", {{u"layers", u"7"}}},  // the default collection implied
      {&tree, u"Info", nullptr, u"layers", {{u"layers", u"Info"}}},    // names compare with case
      {&tree, u"layers/1/layers/2", nullptr, u"inner", {{u"layers", u"2"}}},  // the later key stays
      {&tree, u"secure/x", nullptr, nullptr},
      {&other, u"x", u"op", u"x"},
      {&other, u"x/", nullptr, u"x"},  // ends at the collection: no operation there
      {&other, u"x/", u"op", nullptr},
      {&other, u"x/5", nullptr, u"x", {{u"x", u"5"}}},
      {&other, u"x/5/y", nullptr, u"y", {{u"x", u"5"}}},
      {&other, u"x/5/z", nullptr, nullptr, {{u"x", u"5"}}},
      {&other, u"a/b", nullptr, nullptr},  // the first component must be the root's name
      {&other, u"", nullptr, nullptr},
      {&other, u"///", nullptr, nullptr},
  };
  for (const Case &c : cases) {
    RESTKeys keys;
    RESTResource *found = c.tree->FindResourceW(c.path, c.operation, keys);
    std::map<std::u16string, std::u16string> gathered;
    for (auto p = keys.GetStartPosition(); p.entry != nullptr;) {
      String key, value;
      keys.GetNextAssoc(p, key, value);
      gathered[std::u16string(key)] = std::u16string(value);
    }
    EXPECT_EQ(found, c.expected != nullptr ? nodes.at(c.expected) : nullptr) << Narrow(c.path);
    EXPECT_EQ(gathered, c.keys) << Narrow(c.path);
  }
}

TEST_F(RESTDispatch, HandlerChoiceAndErrors) {
  const std::string kInvalidUrl = R"({"error":{"code":400,"message":"Invalid URL.","details":[]}})";
  const std::string kGeneric = Document(400, "Unable to complete operation.");
  struct Case {
    const WCHAR *path, *operation;
    int handler;
    std::string body;  // the error document when no handler answers
  } cases[] = {
      {u"", nullptr, kRoot, "<null>"},
      {u"/", u"", kRoot, "<null>"},  // an empty operation is none
      {u"info", nullptr, kInfo, "<null>"},
      {u"info/", nullptr, -1, kGeneric},  // the empty last component asks the item handler, and info has none
      {u"layers", nullptr, kLayers, "<null>"},
      {u"layers/7", nullptr, kLayer, "<null>"},
      {u"layers/layers", nullptr, kLayers, "<null>"},  // a key equal to the collection's name
      {u"7", nullptr, kLayer, "<null>"},
      {u"layers/7", u"query", kQuery, "<null>"},
      {u"layers", u"nope", -1, kInvalidUrl},
      {u"info/nope", nullptr, -1, kInvalidUrl},
      {u"layers/7/fields/3/x", nullptr, -1, kInvalidUrl},
  };
  for (const Case &c : cases) {
    Response r = Request(c.path, c.operation);
    EXPECT_EQ(r.hr, S_OK);
    EXPECT_EQ(script.handler, c.handler) << Narrow(c.path) << " " << Narrow(c.operation);
    EXPECT_EQ(r.body, c.body);
    EXPECT_EQ(r.properties, c.handler < 0 ? kErrorProperties : u"<null>");
  }
}

bool Allow(void *context, const WCHAR *capabilities, const WCHAR *resource, const WCHAR *operation) {
  static_cast<Script *>(context)->requested = std::u16string(resource) + u"|" + (operation ? operation : u"<null>");
  return capabilities != nullptr && std::u16string(capabilities) == u"yes";
}

TEST_F(RESTDispatch, Capabilities) {
  const std::string kRefused = Document(400, "Requested operation is not supported by this service.");
  struct Case {
    const WCHAR *capabilities, *path, *operation;
    bool passes;
  } cases[] = {
      {nullptr, u"info", nullptr, true},  // nothing required
      {u"", u"info", nullptr, true},
      {u"", u"secure", nullptr, false},
      {nullptr, u"secure", nullptr, false},
      {u"map, QUERY ", u"secure", nullptr, true},  // lowered, trimmed, compared without case
      {u"map,\tquery\n,x", u"secure", nullptr, true},
      {u"map,query\r", u"secure", nullptr, false},  // carriage return is not trimmed
      {u"querying", u"secure", nullptr, false},
      {u"query", u"secure", u"edit", false},  // the operation's requirement, not the resource's
      {u",,editing,,", u"secure", u"edit", true},
  };
  for (const Case &c : cases) {
    Response r = Request(c.path, c.operation, c.capabilities);
    EXPECT_EQ(script.handler >= 0, c.passes) << Narrow(c.capabilities) << " " << Narrow(c.path);
    EXPECT_EQ(r.body, c.passes ? "<null>" : kRefused);
  }
  // A callback replaces the built-in test altogether.
  tree.Init(&script, nodes[u""], Allow);
  EXPECT_EQ(Request(u"secure", u"edit", u"yes").body, "<null>");
  EXPECT_EQ(script.handler, kEdit);
  EXPECT_EQ(Request(u"info/detail", nullptr, u"no").body, kRefused);
  EXPECT_EQ(script.requested, u"detail|<null>");
}

TEST_F(RESTDispatch, InputsReachTheHandler) {
  std::u16string input = u"where=1";
  Request(u"layers/7", nullptr, nullptr, uR"({"name":"roads"})", nullptr, input.data());
  EXPECT_EQ(script.format, u"json");
  EXPECT_EQ(script.input, u"where=1");
  EXPECT_EQ(script.requested, u"roads");
  Request(u"layers/7", nullptr, nullptr, u"", u"");
  EXPECT_EQ(script.format, u"");  // passed on as given, not checked
  EXPECT_EQ(script.input, u"<null>");
  Response r = Request(u"layers/7", nullptr, nullptr, u"{\"name\":");
  EXPECT_EQ(script.handler, -1);
  EXPECT_EQ(r.body, Document(400, "Invalid or missing input parameters."));
}

TEST_F(RESTDispatch, Bodies) {
  struct Case {
    void (*answer)(VARIANT &, IJSONObject **);
    std::string body;
    std::u16string properties;
  } cases[] = {
      {[](VARIANT &, IJSONObject **) {}, "<null>", u"<null>"},
      {[](VARIANT &body, IJSONObject **properties) {
         IJSONObject *object = Make<IJSONObject>(CLSID_JSONObject);
         object->AddString(u"é", u"\u65E5");
         body.vt = VT_UNKNOWN;
         body.punkVal = object;
         *properties = Make<IJSONObject>(CLSID_JSONObject);
         (*properties)->AddBoolean(u"Success", VARIANT_TRUE);
       },
       "{\"\xC3\xA9\":\"\xE6\x97\xA5\"}", uR"({"Success":true})"},
      {[](VARIANT &body, IJSONObject **) {
         IJSONArray *array = Make<IJSONArray>(CLSID_JSONArray);
         array->AddInteger(1);
         body.vt = VT_UNKNOWN;
         body.punkVal = array;
       },
       "[1]", u"<null>"},
      {[](VARIANT &body, IJSONObject **) {  // an object that is no JSON
         ICreateErrorInfo *other = nullptr;
         CreateErrorInfo(&other);
         body.vt = VT_UNKNOWN;
         body.punkVal = other;
       },
       Document(400, "Unable to complete operation."), kErrorProperties},
      {[](VARIANT &body, IJSONObject **) {
         body.vt = VT_ARRAY | VT_UI1;
         body.parray = SafeArrayCreateVector(VT_UI1, 0, 3);
         std::memcpy(body.parray->pvData, "abc", 3);
       },
       "abc", u"<null>"},
      {[](VARIANT &body, IJSONObject **) {  // the bit test: a VT_BSTR tag hands its pointer on
         body.vt = VT_BSTR;
         body.parray = SafeArrayCreateVector(VT_UI1, 0, 2);
         std::memcpy(body.parray->pvData, "hi", 2);
       },
       "hi", u"<null>"},
      {[](VARIANT &body, IJSONObject **) {
         body.vt = VT_R4;
         body.fltVal = 1;
       },
       Document(400, "Unable to complete operation."), kErrorProperties},
  };
  for (const Case &c : cases) {
    script.answer = c.answer;
    Response r = Request(u"info");
    EXPECT_EQ(r.hr, S_OK);
    EXPECT_EQ(r.body, c.body);
    EXPECT_EQ(r.properties, c.properties);
  }
}

TEST_F(RESTDispatch, FailingHandlers) {
  script.result = E_ACCESSDENIED;
  script.answer = [](VARIANT &body, IJSONObject **properties) {
    // What a failing handler leaves behind is given back (the sanitizer build checks).
    body.vt = VT_ARRAY | VT_UI1;
    body.parray = SafeArrayCreateVector(VT_UI1, 0, 8);
    *properties = Make<IJSONObject>(CLSID_JSONObject);
    ICreateErrorInfo *made = nullptr;
    CreateErrorInfo(&made);
    made->SetDescription(const_cast<WCHAR *>(u"no \"way\""));
    IErrorInfo *info = nullptr;
    made->QueryInterface(KZ_IID(IErrorInfo), reinterpret_cast<void **>(&info));
    SetErrorInfo(0, info);
    info->Release();
    made->Release();
  };
  Response r = Request(u"info");
  EXPECT_EQ(r.body, Document(400, "Access denied.", R"("no \"way\"")"));
  EXPECT_EQ(r.properties, kErrorProperties);

  // A handler that answers with the error objects itself and succeeds.
  script.result = S_OK;
  script.answer = [](VARIANT &body, IJSONObject **properties) {
    HandleError(REST_E_TOKEN_REQUIRED, properties, body);
  };
  r = Request(u"info");
  EXPECT_EQ(r.body, Document(499, "Token required but not passed in the request."));
  EXPECT_EQ(r.properties, uR"({"Content-Type":"text/plain","Success":false})");
  // The same objects with a failure: the object body is released, not taken for an array.
  script.result = E_FAIL;
  EXPECT_EQ(Request(u"info").body, Document(400, "Unable to complete operation."));
}

TEST_F(RESTDispatch, WithoutRootOrOutputs) {
  RESTDispatcher empty;
  BSTR text = SysAllocString(u"kept");
  SAFEARRAY *bytes = nullptr;
  EXPECT_EQ(empty.HandleRESTRequest(nullptr, u"", nullptr, nullptr, nullptr, nullptr, &text, &bytes), E_FAIL);
  EXPECT_EQ(empty.GetSchema(&text), E_FAIL);
  EXPECT_EQ(Take(text), u"kept");
  text = nullptr;
  EXPECT_EQ(tree.HandleRESTRequest(nullptr, u"info", nullptr, nullptr, nullptr, nullptr, nullptr, &bytes), E_POINTER);
  EXPECT_EQ(tree.HandleRESTRequest(nullptr, u"nope/x", nullptr, nullptr, nullptr, nullptr, &text, nullptr),
            E_POINTER);
  EXPECT_EQ(script.handler, -1);
}

TEST(RESTTokenize, Table) {
  struct Case {
    const WCHAR *text, *delimiters;
    bool trim, lower;
    std::vector<std::u16string> tokens;
  } cases[] = {
      {u"a/b//c/", u"/", false, false, {u"a", u"b", u"c"}},
      {u"///", u"/", false, false, {}},
      {u"", u"/", false, false, {}},
      {u" A , b\t,\n,\rC\r ", u",", true, false, {u"A", u"b", u"\rC\r"}},
      {u" A , b ", u",", false, true, {u" a ", u" b "}},
      {u"ÄB;x,Y", u",;", false, true, {u"äb", u"x", u"y"}},
      {u"no delimiters", nullptr, false, false, {u"no delimiters"}},
  };
  for (const Case &c : cases) {
    StringArray out;
    out.Insert(u"before");  // appended to, not cleared
    Tokenize(c.text, out, c.delimiters, c.trim, c.lower);
    std::vector<std::u16string> got;
    for (int i = 1; i < out.GetSize(); ++i) got.emplace_back(out.Get(i));
    EXPECT_EQ(got, c.tokens) << Narrow(c.text);
    EXPECT_EQ(std::u16string(out.Get(0)), u"before");
  }
  StringArray out;
  Tokenize(nullptr, out, u",", true, true);
  EXPECT_EQ(out.GetSize(), 0);
}

}  // namespace
