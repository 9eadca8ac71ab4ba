// The schema of a sample tree against the documented members, read back with RapidJSON and
// compared in order; the copy and renaming rules of nodes.
#include <string>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;
using Document = rapidjson::GenericDocument<rapidjson::UTF16<char16_t>>;
using Value = rapidjson::GenericValue<rapidjson::UTF16<char16_t>>;

HRESULT Answer(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *, IJSONObject *,
               IJSONObject **, VARIANT &) {
  return S_OK;
}

std::string Narrow(const std::u16string &text) { return std::string(text.begin(), text.end()); }

// Equal values with object members in the same order (RapidJSON's own equality ignores order).
void ExpectSame(const Value &got, const Value &want, const std::string &where) {
  ASSERT_EQ(got.GetType(), want.GetType()) << where;
  if (want.IsObject()) {
    ASSERT_EQ(got.MemberCount(), want.MemberCount()) << where;
    for (auto g = got.MemberBegin(), w = want.MemberBegin(); w != want.MemberEnd(); ++g, ++w) {
      const std::string name = Narrow(w->name.GetString());
      ASSERT_EQ(Narrow(g->name.GetString()), name) << where;
      ExpectSame(g->value, w->value, where + "." + name);
    }
  } else if (want.IsArray()) {
    ASSERT_EQ(got.Size(), want.Size()) << where;
    for (rapidjson::SizeType i = 0; i < want.Size(); ++i)
      ExpectSame(got[i], want[i], where + "[" + std::to_string(i) + "]");
  } else {
    EXPECT_TRUE(got == want) << where;
  }
}

struct Node : RESTResource {
  Node() = default;
  explicit Node(const RESTResource &other) : RESTResource(other) {}
};

struct PostOnly : RESTOperation {
  PostOnly() : RESTOperation(u"edit", Answer, StringArray(), StringArray(), u"Cap", true) {}
};

StringArray Texts(std::initializer_list<const WCHAR *> texts) {
  StringArray out;
  for (const WCHAR *text : texts) out.Insert(text);
  return out;
}

TEST(RESTSchema, SampleTreeMemberByMember) {
  RESTDispatcher d;
  PostOnly edit;
  Node bare;
  RESTResource *root = d.CreateRESTResource(u"", Answer, true);
  root->put_SupportsETag(true);
  root->AddOperation(d.CreateRESTOperation(u"info", Answer, Texts({u"f"}), Texts({u"json", u"pjson"})));
  RESTResource *layers = d.CreateRESTCollectionResource(u"layers", Answer, Answer, u"Map", true, false);
  layers->AddOperation(
      d.CreateRESTOperation(u"query", Answer, Texts({u"where", u"outFields"}), Texts({u"json"}), u"Query"));
  layers->AddOperation(&edit);
  layers->AddResource(d.CreateRESTCollectionResource(u"fields", nullptr, nullptr, false, true));
  root->AddResource(layers);
  RESTResource *renamed = d.CreateRESTResource(u"old", nullptr, true);
  root->AddResource(renamed);
  renamed->put_Name(u"new");
  RESTResource *first = d.CreateRESTResource(u"twin", nullptr, u"A", true);
  RESTResource *second = d.CreateRESTResource(u"twin", nullptr, true);
  root->AddResource(first);
  root->AddResource(second);
  root->AddResource(&bare);
  d.Init(nullptr, root, nullptr);

  const char16_t *expected = uR"({
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
      {"name": "new"},
      {"name": "twin", "requiredCapability": "A"},
      {"name": "twin"},
      {"name": ""}],
    "schemaVersion": 1})";
  BSTR text = nullptr;
  ASSERT_EQ(d.GetSchema(&text), S_OK);
  Document got, want;
  got.Parse(text);
  want.Parse(expected);
  ASSERT_FALSE(got.HasParseError() || want.HasParseError());
  ExpectSame(got, want, "schema");
  // Built once: a later change of the tree does not show, and each call writes the same text.
  root->put_Name(u"changed");
  BSTR again = nullptr;
  ASSERT_EQ(d.GetSchema(&again), S_OK);
  EXPECT_EQ(std::u16string(again), std::u16string(text));
  SysFreeString(text);
  SysFreeString(again);

  // The tables answer by the name a child was added under; the later of two names wins.
  EXPECT_EQ(root->FindChildResource(u"old"), renamed);
  EXPECT_EQ(root->FindChildResource(u"new"), nullptr);
  EXPECT_EQ(root->FindChildResource(u"twin"), second);
  EXPECT_EQ(root->FindChildResource(u"Twin"), nullptr);
  EXPECT_EQ(layers->FindChildOperation(u"edit"), &edit);
  EXPECT_EQ(layers->FindChildOperation(u"EDIT"), nullptr);
}

TEST(RESTSchema, CopiesShareListsButNotTables) {
  RESTDispatcher d;
  RESTResource *layers = d.CreateRESTCollectionResource(u"layers", Answer, nullptr, u"Map", true, false);
  RESTResource *fields = d.CreateRESTResource(u"fields", nullptr, true);
  layers->AddResource(fields);
  StringArray none;
  layers->AddOperation(d.CreateRESTOperation(u"query", Answer, none, none));
  layers->put_SupportsETag(true);

  Node copy(*layers);
  EXPECT_EQ(copy.Resources(), layers->Resources());
  EXPECT_EQ(copy.Operations(), layers->Operations());
  EXPECT_EQ(copy.FindChildResource(u"fields"), nullptr);
  EXPECT_EQ(copy.FindChildOperation(u"query"), nullptr);
  IJSONObject *a = nullptr, *b = nullptr;
  layers->ToJSONObject(&a);
  copy.ToJSONObject(&b);
  BSTR ta = nullptr, tb = nullptr;
  a->ToJSONString(&ta);
  b->ToJSONString(&tb);
  EXPECT_EQ(std::u16string(ta), std::u16string(tb));
  SysFreeString(ta);
  SysFreeString(tb);
  a->Release();
  b->Release();

  Node target;
  RESTResource *own = d.CreateRESTResource(u"own", nullptr, true);
  target.AddResource(own);
  static_cast<RESTResource &>(target) = *layers;  // the target's table stays as it was
  EXPECT_EQ(target.FindChildResource(u"own"), own);
  EXPECT_EQ(target.FindChildResource(u"fields"), nullptr);
  EXPECT_EQ(target.Resources().front(), fields);
  EXPECT_TRUE(target.IsCollection() && target.IsDefaultCollection() && !target.IsStatic() && target.SupportsETag());
  EXPECT_EQ(std::u16string(target.RequiredCapability()), u"Map");
}

}  // namespace
