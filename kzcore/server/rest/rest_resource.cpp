#include <kzcore/server/rest/rest_resource.h>

#include <stdexcept>

#include <kzcore/server/rest/internal/json_objects.h>

namespace RESTSupport {

using internal::Held;

namespace {

// The longest list the family's 32-bit builds could hold; kept so that a runaway tree fails the
// same way everywhere.
constexpr size_t kMaxListSize = 0x15555554;

template <class T>
void Append(std::list<T *> &list, T *item) {
  if (list.size() >= kMaxListSize) throw std::length_error("list<T> too long");
  list.push_back(item);
}

// The schema form of a node: an object that opens with the node's name, the rest added by
// `fill`, handed to *out.
template <class Fill>
HRESULT NamedSchemaObject(const String &name, IJSONObject **out, Fill fill) {
  if (out == nullptr) return E_POINTER;
  Held<IJSONObject> object;
  HRESULT hr = internal::NewObject(object.put());
  if (FAILED(hr)) {
    *out = nullptr;
    return hr;
  }
  object->AddString(u"name", name);
  fill(object.get());
  *out = object.detach();
  return S_OK;
}

// A flag, added under `name` only when it differs from its usual value.
void AddFlag(IJSONObject *object, const WCHAR *name, bool value, bool usual = false) {
  if (value != usual) object->AddBoolean(name, value ? VARIANT_TRUE : VARIANT_FALSE);
}

// A text, added under `name` when it is not empty.
void AddText(IJSONObject *object, const WCHAR *name, const String &text) {
  if (!text.IsEmpty()) object->AddString(name, text);
}

// An array of the texts, added under `name` when there is at least one.
void AddTexts(IJSONObject *object, const WCHAR *name, const StringArray &texts) {
  if (texts.GetSize() == 0) return;
  Held<IJSONArray> array;
  if (FAILED(internal::NewArray(array.put()))) return;
  for (int i = 0; i < texts.GetSize(); ++i) array->AddString(texts.Get(i));
  object->AddArray(name, array.get());
}

// The schema forms of `items`, in order, added as an array under `name` when there is one.
template <class T>
void AddNodes(IJSONObject *object, const WCHAR *name, const std::list<T *> &items) {
  if (items.empty()) return;
  Held<IJSONArray> array;
  if (FAILED(internal::NewArray(array.put()))) return;
  for (const T *item : items) {
    Held<IJSONObject> form;
    if (SUCCEEDED(item->ToJSONObject(form.put()))) array->AddObject(form.get());
  }
  object->AddArray(name, array.get());
}

}  // namespace

RESTResource::RESTResource() = default;

RESTResource::RESTResource(const WCHAR *name, RESTHandlerProc handler, bool isStatic)
    : name_(name), isStatic_(isStatic), handler_(handler) {}

RESTResource::RESTResource(const WCHAR *name, RESTHandlerProc handler, const WCHAR *requiredCapability,
                           bool isStatic)
    : name_(name), isStatic_(isStatic), requiredCapability_(requiredCapability), handler_(handler) {}

RESTResource::RESTResource(const WCHAR *name, RESTHandlerProc handler, RESTHandlerProc itemHandler,
                           bool isDefaultCollection, bool isStatic)
    : name_(name),
      isCollection_(true),
      isDefaultCollection_(isDefaultCollection),
      isStatic_(isStatic),
      handler_(handler),
      itemHandler_(itemHandler) {}

RESTResource::RESTResource(const WCHAR *name, RESTHandlerProc handler, RESTHandlerProc itemHandler,
                           const WCHAR *requiredCapability, bool isDefaultCollection, bool isStatic)
    : name_(name),
      isCollection_(true),
      isDefaultCollection_(isDefaultCollection),
      isStatic_(isStatic),
      requiredCapability_(requiredCapability),
      handler_(handler),
      itemHandler_(itemHandler) {}

RESTResource::RESTResource(const RESTResource &other)
    : name_(other.name_),
      operations_(other.operations_),
      resources_(other.resources_),
      isCollection_(other.isCollection_),
      isDefaultCollection_(other.isDefaultCollection_),
      isStatic_(other.isStatic_),
      supportsETag_(other.supportsETag_),
      requiredCapability_(other.requiredCapability_),
      handler_(other.handler_),
      itemHandler_(other.itemHandler_) {}

RESTResource &RESTResource::operator=(const RESTResource &other) {
  if (this == &other) return *this;  // String assignment frees before it shares
  name_ = other.name_;
  operations_ = other.operations_;
  resources_ = other.resources_;
  isCollection_ = other.isCollection_;
  isDefaultCollection_ = other.isDefaultCollection_;
  isStatic_ = other.isStatic_;
  supportsETag_ = other.supportsETag_;
  requiredCapability_ = other.requiredCapability_;
  handler_ = other.handler_;
  itemHandler_ = other.itemHandler_;
  return *this;
}

void RESTResource::AddResource(RESTResource *child) {
  if (child == nullptr) return;
  Append(resources_, child);
  resourcesByName_.SetAt(child->name_, child);
}

void RESTResource::AddOperation(RESTOperation *operation) {
  if (operation == nullptr) return;
  Append(operations_, operation);
  operationsByName_.SetAt(operation->Name(), operation);
}

RESTResource *RESTResource::FindChildResource(const WCHAR *name) const {
  RESTResource *found = nullptr;
  resourcesByName_.Lookup(name, found);
  return found;
}

RESTOperation *RESTResource::FindChildOperation(const WCHAR *name) const {
  RESTOperation *found = nullptr;
  operationsByName_.Lookup(name, found);
  return found;
}

HRESULT RESTResource::ToJSONObject(IJSONObject **out) const {
  return NamedSchemaObject(name_, out, [this](IJSONObject *object) {
    AddFlag(object, u"isCollection", isCollection_);
    AddFlag(object, u"isDefaultCollection", isDefaultCollection_);
    AddFlag(object, u"isStatic", isStatic_, true);
    AddFlag(object, u"supportsETag", supportsETag_);
    AddText(object, u"requiredCapability", requiredCapability_);
    AddNodes(object, u"operations", operations_);
    AddNodes(object, u"resources", resources_);
  });
}

RESTOperation::RESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                             const StringArray &outputFormats, bool postOnly)
    : name_(name), parameters_(parameters), outputFormats_(outputFormats), postOnly_(postOnly), handler_(handler) {}

RESTOperation::RESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                             const StringArray &outputFormats, const WCHAR *requiredCapability, bool postOnly)
    : name_(name),
      parameters_(parameters),
      outputFormats_(outputFormats),
      requiredCapability_(requiredCapability),
      postOnly_(postOnly),
      handler_(handler) {}

RESTOperation::RESTOperation(const RESTOperation &other)
    : name_(other.name_),
      parameters_(other.parameters_),
      outputFormats_(other.outputFormats_),
      requiredCapability_(other.requiredCapability_),
      postOnly_(other.postOnly_),
      handler_(other.handler_) {}

RESTOperation &RESTOperation::operator=(const RESTOperation &other) {
  if (this == &other) return *this;
  name_ = other.name_;
  parameters_ = other.parameters_;
  outputFormats_ = other.outputFormats_;
  requiredCapability_ = other.requiredCapability_;
  postOnly_ = other.postOnly_;
  handler_ = other.handler_;
  return *this;
}

HRESULT RESTOperation::ToJSONObject(IJSONObject **out) const {
  return NamedSchemaObject(name_, out, [this](IJSONObject *object) {
    AddTexts(object, u"parameters", parameters_);
    AddTexts(object, u"supportedOutputFormats", outputFormats_);
    AddText(object, u"requiredCapability", requiredCapability_);
    AddFlag(object, u"postOnly", postOnly_);
  });
}

}  // namespace RESTSupport
