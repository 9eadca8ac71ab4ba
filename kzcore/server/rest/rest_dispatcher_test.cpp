// The road of a request: the path walk on two trees that between them take every turn of it, the
// choice of handler, the capability tests, the body rules, the documents a client gets, and the
// schema read back by RapidJSON and compared member by member, in order.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <host/objects/host_objects.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/platform/object_creation.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;
using Keys = std::map<std::u16string, std::u16string>;

std::u16string Take(BSTR text) {
  std::u16string copy = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"<null>";
  SysFreeString(text);
  return copy;
}

std::string Narrow(const std::u16string &text) { return std::string(text.begin(), text.end()); }
std::string Narrow(const WCHAR *text) { return text != nullptr ? Narrow(std::u16string(text)) : "<null>"; }

template <class Interface>
Interface *Make(REFCLSID clsid) {
  Interface *made = nullptr;
  KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(Interface), reinterpret_cast<void **>(&made));
  return made;
}

std::string Document(int code, const std::string &message, const std::string &details = "") {
  return R"({"error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + R"(","details":[)" +
         details + "]}}";
}
const std::string kGeneric = Document(400, "Unable to complete operation.");
const std::string kInvalidUrl = R"({"error":{"code":400,"message":"Invalid URL.","details":[]}})";
const std::u16string kErrorProperties = uR"({"Content-Type":"text/plain", "Success":false})";

Keys Gathered(RESTKeys &keys) {
  Keys out;
  for (auto p = keys.GetStartPosition(); p.entry != nullptr;) {
    String key, value;
    keys.GetNextAssoc(p, key, value);
    out[std::u16string(key)] = std::u16string(value);
  }
  return out;
}

enum Id { kRoot, kInfo, kDetail, kLayers, kLayer, kInner, kQuery, kSecure, kEdit, kX };

// What the handler saw, and how it answers.
struct Script {
  HRESULT result = S_OK;
  void (*answer)(VARIANT &body, IJSONObject **properties) = nullptr;
  int handler = -1;
  std::u16string format, input, requested;
  double number = 0;
};

template <int N>
HRESULT Handle(void *context, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *input, const WCHAR *format,
               IJSONObject *request, IJSONObject **properties, VARIANT &body) {
  auto *script = static_cast<Script *>(context);
  script->handler = N;
  script->format = format;
  script->input = input != nullptr ? input : u"<null>";
  BSTR name = nullptr;
  if (SUCCEEDED(request->GetString(u"name", &name))) script->requested = Take(name);
  request->GetNumber(u"n", &script->number);
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
//      └ spare (collection, default: the first default collection counts)
// and a second one whose root "x" is a collection with a child y.
class RESTDispatch : public ::testing::Test {
 protected:
  void SetUp() override {
    StringArray none;
    RESTResource *root = nodes[u""] = tree.CreateRESTResource(u"", Handle<kRoot>, true);
    Add(root, u"info", tree.CreateRESTResource(u"info", Handle<kInfo>, true));
    Add(nodes[u"info"], u"detail", tree.CreateRESTResource(u"detail", Handle<kDetail>, true));
    Add(root, u"layers", tree.CreateRESTCollectionResource(u"layers", Handle<kLayers>, Handle<kLayer>, true, true));
    Add(nodes[u"layers"], u"fields", tree.CreateRESTCollectionResource(u"fields", nullptr, nullptr, false, true));
    Add(nodes[u"layers"], u"inner", tree.CreateRESTCollectionResource(u"layers", Handle<kInner>, nullptr, false, true));
    nodes[u"layers"]->AddOperation(tree.CreateRESTOperation(u"query", Handle<kQuery>, none, none));
    Add(root, u"secure", tree.CreateRESTResource(u"secure", Handle<kSecure>, u"Query", true));
    nodes[u"secure"]->AddOperation(tree.CreateRESTOperation(u"edit", Handle<kEdit>, none, none, u"Editing"));
    Add(root, u"spare", tree.CreateRESTCollectionResource(u"spare", nullptr, nullptr, true, true));
    tree.Init(&script, root, nullptr);

    nodes[u"x"] = other.CreateRESTCollectionResource(u"x", Handle<kX>, Handle<kX>, false, true);
    Add(nodes[u"x"], u"y", other.CreateRESTResource(u"y", nullptr, true));
    other.Init(&script, nodes[u"x"], nullptr);
  }
  void Add(RESTResource *parent, const std::u16string &label, RESTResource *child) {
    parent->AddResource(nodes[label] = child);
  }

  struct Response {
    std::u16string properties;
    std::string body;
  };
  Response Request(const WCHAR *path, const WCHAR *operation = nullptr, const WCHAR *capabilities = nullptr,
                   const WCHAR *properties = nullptr, const WCHAR *format = nullptr, WCHAR *input = nullptr) {
    script.handler = -1;
    BSTR text = nullptr;
    SAFEARRAY *bytes = nullptr;
    EXPECT_EQ(tree.HandleRESTRequest(capabilities, path, operation, input, format, properties, &text, &bytes), S_OK);
    Response r{Take(text), "<null>"};
    if (bytes != nullptr) r.body.assign(static_cast<const char *>(bytes->pvData), bytes->rgsabound[0].cElements);
    SafeArrayDestroy(bytes);
    return r;
  }

  Script script;
  Walker tree, other;
  std::map<std::u16string, RESTResource *> nodes;
};

TEST_F(RESTDispatch, PathWalkAndHandlerChoice) {
  constexpr int kNoRequest = -2, kError = -1;
  struct Case {
    Walker *tree;
    const WCHAR *path, *operation, *expected;  // expected: a node's label, or null for no result
    Keys keys = {};
    int handler = kNoRequest;  // on the main tree: who answers, or kError with this body
    std::string body = "";
  } cases[] = {
      {&tree, nullptr, nullptr, u"", {}, kRoot},  // the whole path is the root's name
      {&tree, u"/", u"", u"", {}, kRoot},         // an empty first component for the unnamed root
      {&tree, u"/info/", nullptr, u"info", {}, kError, kGeneric},  // "" asks the absent item handler
      {&tree, u"info//detail", nullptr, u"detail", {}, kDetail},
      {&tree, u"info/nope", nullptr, nullptr, {}, kError, kInvalidUrl},  // no child, no default
      {&tree, u"info/detail/more", nullptr, nullptr},
      {&tree, u"layers", u"query", u"layers", {}, kQuery},  // the last component takes operations
      {&tree, u"layers", u"nope", u"layers", {}, kError, kInvalidUrl},
      {&tree, u"layers/layers", nullptr, u"layers", {{u"layers", u"layers"}}, kLayers},
      {&tree, u"layers/7/fields/3", nullptr, u"fields", {{u"layers", u"7"}, {u"fields", u"3"}}},
      {&tree, u"/7", nullptr, u"layers", {{u"layers", u"7"}}, kLayer},  // the default collection implied
      {&tree, u"Info/fields", nullptr, u"fields", {{u"layers", u"Info"}}},  // names compare with case
      {&tree, u"layers/1/layers/2", nullptr, u"inner", {{u"layers", u"2"}}},  // the later key stays
      {&other, u"x", u"op", u"x"},
      {&other, u"x/", nullptr, u"x"},  // ends at the collection: no operation there
      {&other, u"x/", u"op", nullptr},
      {&other, u"x/5/y", nullptr, u"y", {{u"x", u"5"}}},
      {&other, u"x/5/z", nullptr, nullptr, {{u"x", u"5"}}},
      {&other, u"a/b", nullptr, nullptr},  // the first component must be the root's name
      {&other, u"///", nullptr, nullptr},
  };
  for (const Case &c : cases) {
    RESTKeys keys;
    RESTResource *found = c.tree->FindResourceW(c.path, c.operation, keys);
    EXPECT_EQ(found, c.expected != nullptr ? nodes.at(c.expected) : nullptr) << Narrow(c.path);
    EXPECT_EQ(Gathered(keys), c.keys) << Narrow(c.path);
    if (c.handler == kNoRequest) continue;
    Response r = Request(c.path, c.operation);
    EXPECT_EQ(script.handler, c.handler) << Narrow(c.path);
    EXPECT_EQ(r.body, c.handler == kError ? c.body : "<null>");
    EXPECT_EQ(r.properties, c.handler == kError ? kErrorProperties : u"<null>");
  }
}

bool Allow(void *context, const WCHAR *capabilities, const WCHAR *resource, const WCHAR *operation) {
  static_cast<Script *>(context)->requested = std::u16string(resource) + u"|" + (operation ? operation : u"<null>");
  return std::u16string(capabilities) == u"yes";
}

TEST_F(RESTDispatch, Capabilities) {
  const std::string kRefused = Document(400, "Requested operation is not supported by this service.");
  struct Case {
    const WCHAR *capabilities, *path, *operation;
    bool passes;
  } cases[] = {
      {nullptr, u"info", nullptr, true},  // nothing required
      {u"", u"secure", nullptr, false},
      {u"map, QUERY ", u"secure", nullptr, true},  // lowered, trimmed, compared without case
      {u"map,\tquery\n,x", u"secure", nullptr, true},
      {u"map,query\r", u"secure", nullptr, false},  // carriage return is not trimmed
      {u"query", u"secure", u"edit", false},       // the operation's requirement, not the resource's
      {u",,editing,,", u"secure", u"edit", true},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(Request(c.path, c.operation, c.capabilities).body, c.passes ? "<null>" : kRefused);
    EXPECT_EQ(script.handler >= 0, c.passes) << Narrow(c.capabilities) << " " << Narrow(c.path);
  }
  // A callback replaces the built-in test altogether.
  tree.Init(&script, nodes[u""], Allow);
  EXPECT_EQ(Request(u"secure", u"edit", u"yes").body, "<null>");
  EXPECT_EQ(Request(u"info/detail", nullptr, u"no").body, kRefused);
  EXPECT_EQ(script.requested, u"detail|<null>");
}

TEST_F(RESTDispatch, InputsAndBodies) {
  std::u16string input = u"where=1";
  // A number whose fraction starts with hundreds of zeros once crashed the parser.
  std::u16string properties = u"{\"name\":\"roads\",\"n\":0." + std::u16string(400, u'0') + u"1}";
  script.number = -1;
  Request(u"layers/7", nullptr, nullptr, properties.c_str(), nullptr, input.data());
  EXPECT_EQ(script.format + u"|" + script.input + u"|" + script.requested, u"json|where=1|roads");
  EXPECT_EQ(script.number, 0.0);  // below the least double
  Request(u"layers/7", nullptr, nullptr, u"", u"");
  EXPECT_EQ(script.format, u"");  // passed on as given, not checked
  EXPECT_EQ(Request(u"layers/7", nullptr, nullptr, u"{\"name\":").body,
            Document(400, "Invalid or missing input parameters."));
  EXPECT_EQ(script.handler, -1);

  struct Case {
    void (*answer)(VARIANT &, IJSONObject **);
    std::string body;
    std::u16string properties = u"<null>";
  } cases[] = {
      {[](VARIANT &, IJSONObject **) {}, "<null>"},
      {[](VARIANT &body, IJSONObject **properties) {
         body.vt = VT_UNKNOWN;
         body.punkVal = Make<IJSONObject>(CLSID_JSONObject);
         *properties = Make<IJSONObject>(CLSID_JSONObject);
       },
       "{}", u"{}"},
      {[](VARIANT &body, IJSONObject **) { body.vt = VT_UNKNOWN; body.punkVal = Make<IJSONArray>(CLSID_JSONArray); },
       "[]"},
      {[](VARIANT &body, IJSONObject **) {  // an object that is no JSON
         body.vt = VT_UNKNOWN;
         CreateErrorInfo(reinterpret_cast<ICreateErrorInfo **>(&body.punkVal));
       },
       kGeneric, kErrorProperties},
      // The bit test: a VT_BSTR tag hands its pointer on as the bytes.
      {[](VARIANT &body, IJSONObject **) { body.vt = VT_BSTR; body.parray = SafeArrayCreateVector(VT_UI1, 0, 2); },
       std::string(2, '\0')},
      {[](VARIANT &body, IJSONObject **) { body.vt = VT_R4; }, kGeneric, kErrorProperties},
  };
  for (const Case &c : cases) {
    script.answer = c.answer;
    Response r = Request(u"info");
    EXPECT_EQ(r.body, c.body);
    EXPECT_EQ(r.properties, c.properties);
  }
}

TEST_F(RESTDispatch, FailingHandlers) {
  script.result = E_ACCESSDENIED;
  script.answer = [](VARIANT &body, IJSONObject **properties) {
    // What a failing handler leaves is given back (the sanitizer build checks); an array by the
    // same bit test as a body, under a VT_BSTR tag too.
    body.vt = VT_BSTR;
    body.parray = SafeArrayCreateVector(VT_UI1, 0, 8);
    *properties = Make<IJSONObject>(CLSID_JSONObject);
  };
  Response r = Request(u"info");
  EXPECT_EQ(r.body, Document(400, "Access denied."));
  EXPECT_EQ(r.properties, kErrorProperties);
  // A handler that answers with the error objects itself, then succeeds or fails.
  script.result = S_OK;
  script.answer = [](VARIANT &body, IJSONObject **properties) { HandleError(REST_E_TOKEN_REQUIRED, properties, body); };
  r = Request(u"info");
  EXPECT_EQ(r.body, Document(499, "Token required but not passed in the request."));
  EXPECT_EQ(r.properties, uR"({"Content-Type":"text/plain","Success":false})");
  script.result = E_FAIL;  // the object body is released, not taken for an array
  EXPECT_EQ(Request(u"info").body, kGeneric);

  RESTDispatcher empty;
  BSTR text = nullptr;
  SAFEARRAY *bytes = nullptr;
  EXPECT_EQ(empty.HandleRESTRequest(nullptr, u"", nullptr, nullptr, nullptr, nullptr, &text, &bytes), E_FAIL);
  EXPECT_EQ(empty.GetSchema(&text), E_FAIL);
  EXPECT_EQ(tree.HandleRESTRequest(nullptr, u"info", nullptr, nullptr, nullptr, nullptr, nullptr, &bytes), E_POINTER);
  EXPECT_EQ(tree.HandleRESTRequest(nullptr, u"a/b", nullptr, nullptr, nullptr, nullptr, &text, nullptr), E_POINTER);
  EXPECT_EQ(text, nullptr);

  // Without the JSON service: the properties text, no body, and the class registry's failure.
  KzRevokeHostObjects();
  EXPECT_EQ(tree.HandleRESTRequest(nullptr, u"info", nullptr, nullptr, nullptr, nullptr, &text, &bytes),
            REGDB_E_CLASSNOTREG);
  KzRegisterHostObjects();
  EXPECT_EQ(Take(text), kErrorProperties);
  EXPECT_EQ(bytes, nullptr);
}

TEST(RESTTokenize, Table) {
  const struct {
    const WCHAR *text, *delimiters;
    bool trim, lower;
    std::vector<std::u16string> tokens;  // after the element that was there before
  } cases[] = {
      {u" A , b\t,\n,\rC\r ", u",", true, false, {u"A", u"b", u"\rC\r"}},
      {u"ÄB; x ,Y", u",;", false, true, {u"äb", u" x ", u"y"}},
      {nullptr, u",", true, true, {}},
  };
  for (const auto &c : cases) {
    StringArray out;
    out.Insert(u"before");
    Tokenize(c.text, out, c.delimiters, c.trim, c.lower);
    std::vector<std::u16string> got;
    for (int i = 1; i < out.GetSize(); ++i) got.emplace_back(out.Get(i));
    EXPECT_EQ(got, c.tokens) << Narrow(c.text);
  }
}

using Json = rapidjson::GenericValue<rapidjson::UTF16<char16_t>>;

// Equal values with object members in the same order (RapidJSON's own equality ignores order).
void ExpectSame(const Json &got, const Json &want, const std::string &where) {
  ASSERT_EQ(got.GetType(), want.GetType()) << where;
  if (want.IsObject()) {
    ASSERT_EQ(got.MemberCount(), want.MemberCount()) << where;
    for (auto g = got.MemberBegin(), w = want.MemberBegin(); w != want.MemberEnd(); ++g, ++w) {
      ASSERT_EQ(Narrow(g->name.GetString()), Narrow(w->name.GetString())) << where;
      ExpectSame(g->value, w->value, where + "." + Narrow(w->name.GetString()));
    }
  } else if (want.IsArray()) {
    ASSERT_EQ(got.Size(), want.Size()) << where;
    for (rapidjson::SizeType i = 0; i < want.Size(); ++i) ExpectSame(got[i], want[i], where + "[]");
  } else {
    EXPECT_TRUE(got == want) << where;
  }
}

struct Node : RESTResource {
  Node() = default;
  explicit Node(const RESTResource &other) : RESTResource(other) {}
};
struct PostOnly : RESTOperation {
  PostOnly() : RESTOperation(u"edit", nullptr, StringArray(), StringArray(), u"Cap", true) {}
};

StringArray Texts(std::initializer_list<const WCHAR *> texts) {
  StringArray out;
  for (const WCHAR *text : texts) out.Insert(text);
  return out;
}

TEST(RESTSchema, SampleTreeMemberByMemberAndCopies) {
  RESTDispatcher d;
  PostOnly edit;
  Node bare;  // made with no arguments: static, so "isStatic" is absent
  RESTResource *root = d.CreateRESTResource(u"", nullptr, true);
  root->put_SupportsETag(true);
  root->AddOperation(d.CreateRESTOperation(u"info", nullptr, Texts({u"f"}), Texts({u"json", u"pjson"})));
  RESTResource *layers = d.CreateRESTCollectionResource(u"layers", nullptr, nullptr, u"Map", true, false);
  layers->AddOperation(d.CreateRESTOperation(u"query", nullptr, Texts({u"where", u"outFields"}), Texts({u"json"}),
                                             u"Query"));
  layers->AddOperation(&edit);
  RESTResource *fields = d.CreateRESTCollectionResource(u"fields", nullptr, nullptr, false, true);
  layers->AddResource(fields);
  root->AddResource(layers);
  RESTResource *renamed = d.CreateRESTResource(u"old", nullptr, true);
  root->AddResource(renamed);
  renamed->put_Name(u"new");  // the schema shows the new name, the table keeps the old
  RESTResource *second = d.CreateRESTResource(u"twin", nullptr, true);
  root->AddResource(d.CreateRESTResource(u"twin", nullptr, u"A", true));
  root->AddResource(second);
  root->AddResource(&bare);
  d.Init(nullptr, root, nullptr);

  rapidjson::GenericDocument<rapidjson::UTF16<char16_t>> got, want;
  want.Parse(uR"({
    "name": "", "supportsETag": true,
    "operations": [{"name": "info", "parameters": ["f"], "supportedOutputFormats": ["json", "pjson"]}],
    "resources": [
      {"name": "layers", "isCollection": true, "isDefaultCollection": true, "isStatic": false,
       "requiredCapability": "Map",
       "operations": [
         {"name": "query", "parameters": ["where", "outFields"], "supportedOutputFormats": ["json"],
          "requiredCapability": "Query"},
         {"name": "edit", "requiredCapability": "Cap", "postOnly": true}],
       "resources": [{"name": "fields", "isCollection": true}]},
      {"name": "new"}, {"name": "twin", "requiredCapability": "A"}, {"name": "twin"}, {"name": ""}],
    "schemaVersion": 1})");
  BSTR text = nullptr;
  ASSERT_EQ(d.GetSchema(&text), S_OK);
  got.Parse(text);
  ASSERT_FALSE(got.HasParseError() || want.HasParseError());
  ExpectSame(got, want, "schema");
  root->put_Name(u"changed");  // built once: later changes do not show
  BSTR again = nullptr;
  d.GetSchema(&again);
  EXPECT_EQ(Take(again), Take(text));

  EXPECT_EQ(root->FindChildResource(u"old"), renamed);
  EXPECT_EQ(root->FindChildResource(u"new"), nullptr);
  EXPECT_EQ(root->FindChildResource(u"twin"), second);
  EXPECT_EQ(layers->FindChildOperation(u"EDIT"), nullptr);

  // Copies take the lists and flags but not the tables; assignment keeps the target's tables.
  Node copy(*layers);
  EXPECT_EQ(copy.Resources(), layers->Resources());
  EXPECT_EQ(copy.FindChildResource(u"fields"), nullptr);
  EXPECT_EQ(copy.FindChildOperation(u"query"), nullptr);
  Node target;
  target.AddResource(renamed);
  static_cast<RESTResource &>(target) = *layers;
  EXPECT_EQ(target.FindChildResource(u"new"), renamed);
  EXPECT_EQ(target.Operations(), layers->Operations());
  EXPECT_TRUE(target.IsCollection() && target.IsDefaultCollection() && !target.IsStatic());
  EXPECT_EQ(std::u16string(target.RequiredCapability()), u"Map");
}

}  // namespace
