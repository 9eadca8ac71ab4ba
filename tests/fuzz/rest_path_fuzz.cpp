// The REST path walk and the whole request road on arbitrary paths, operation names and
// capabilities. The input's first byte picks the tree (unnamed or named root) and how the text is
// used; the rest is UTF-16 text. Whatever comes in, the walk ends at one of the tree's nodes or at
// none, gathers a key for collections only, and the request returns success with either the
// handler's answer or an error document.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <host/objects/host_objects.h>
#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/server/rest/rest_dispatcher.h>

namespace {

using namespace RESTSupport;

int g_calls = 0;

HRESULT Answer(void *, const WCHAR *, RESTResource *, RESTKeys &, WCHAR *, const WCHAR *, IJSONObject *,
               IJSONObject **, VARIANT &) {
  ++g_calls;
  return S_OK;
}

struct Tree : RESTDispatcher {
  using RESTDispatcher::FindResourceW;
  std::set<RESTResource *> nodes;
  std::set<std::u16string> collections;

  RESTResource *Node(RESTResource *node) {
    nodes.insert(node);
    if (node->IsCollection()) collections.insert(std::u16string(node->Name()));
    return node;
  }

  // root ─ info ─ detail
  //      ├ layers (collection, default; query) ─ fields (collection) ─ domain
  //      │                                     └ layers (collection)
  //      └ secure (requires "Query"; edit requires "Editing")
  explicit Tree(const WCHAR *rootName) {
    StringArray none;
    RESTResource *root = Node(CreateRESTResource(rootName, Answer, true));
    RESTResource *info = Node(CreateRESTResource(u"info", Answer, true));
    RESTResource *layers = Node(CreateRESTCollectionResource(u"layers", Answer, Answer, true, true));
    RESTResource *fields = Node(CreateRESTCollectionResource(u"fields", Answer, nullptr, false, true));
    RESTResource *secure = Node(CreateRESTResource(u"secure", Answer, u"Query", true));
    root->AddResource(info);
    info->AddResource(Node(CreateRESTResource(u"detail", Answer, true)));
    root->AddResource(layers);
    layers->AddResource(fields);
    fields->AddResource(Node(CreateRESTResource(u"domain", nullptr, true)));
    layers->AddResource(Node(CreateRESTCollectionResource(u"layers", Answer, Answer, false, true)));
    layers->AddOperation(CreateRESTOperation(u"query", Answer, none, none));
    root->AddResource(secure);
    secure->AddOperation(CreateRESTOperation(u"edit", Answer, none, none, u"Editing"));
    Init(nullptr, root, nullptr);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool registered = SUCCEEDED(KzRegisterHostObjects()) || true;
  static Tree *trees[] = {new Tree(u""), new Tree(u"root")};
  (void)registered;
  if (size == 0) return 0;
  const uint8_t mode = data[0];
  ++data;
  --size;
  std::vector<WCHAR> text(size / 2 + 1, 0);
  std::memcpy(text.data(), data, size / 2 * 2);

  Tree &tree = *trees[mode & 1];
  static const WCHAR *const kOperations[] = {nullptr, u"", u"query", u"edit"};
  const WCHAR *operation = (mode & 8) != 0 ? text.data() : kOperations[(mode >> 1) & 3];
  const WCHAR *capabilities = (mode & 16) != 0 ? text.data() : u"query,editing";

  RESTKeys keys;
  RESTResource *found = tree.FindResourceW(text.data(), operation, keys);
  if (found != nullptr && tree.nodes.count(found) == 0) std::abort();
  for (auto p = keys.GetStartPosition(); p.entry != nullptr;) {
    String key, value;
    keys.GetNextAssoc(p, key, value);
    if (tree.collections.count(std::u16string(key)) == 0) std::abort();
  }

  BSTR properties = nullptr;
  SAFEARRAY *body = nullptr;
  const int calls = g_calls;
  HRESULT hr = tree.HandleRESTRequest(capabilities, text.data(), operation, nullptr, nullptr, nullptr, &properties,
                                      &body);
  if (hr != S_OK) std::abort();
  const bool answered = g_calls != calls;
  // A handler's answer here has neither properties nor body; an error has both.
  if (answered != (properties == nullptr && body == nullptr)) std::abort();
  if (found == nullptr && answered) std::abort();
  if (!answered && ErrorResponseProperties.Compare(properties) != 0) std::abort();
  SysFreeString(properties);
  SafeArrayDestroy(body);
  return 0;
}
