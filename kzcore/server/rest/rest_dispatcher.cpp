#include <kzcore/server/rest/rest_dispatcher.h>

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/pal/wide.h>
#include <kzcore/server/rest/internal/json_objects.h>

namespace RESTSupport {

using internal::Held;

namespace {

// The current REST version: the single-precision 10.6 as the family has always written it.
constexpr double kCurrentVersion = static_cast<double>(10.6f);
constexpr LONG kCurrentVersionDigits = 4;

// Kept on purpose: a body whose type tag shares any bit with this mask is taken as a byte array,
// whatever the rest of the tag says.
constexpr VARTYPE kByteArrayBits = 0x201B;

bool IsTrimmed(WCHAR unit) { return unit == u' ' || unit == u'\t' || unit == u'\n'; }

}  // namespace

void Tokenize(const WCHAR *text, StringArray &out, const WCHAR *delimiters, bool trim, bool toLower) {
  if (text == nullptr) return;
  const WCHAR *set = delimiters != nullptr ? delimiters : u"";
  const size_t length = wcslen(text);
  size_t start = wcsspn(text, set);
  size_t end = start + wcscspn(text + start, set);
  // A start at the end of the text means the end is there too.
  while (start < length) {
    size_t first = start;
    size_t last = end;
    if (trim) {
      while (first < last && IsTrimmed(text[first])) ++first;
      while (last > first && IsTrimmed(text[last - 1])) --last;
    }
    if (first < last) {
      String token;
      token.AppendN(text, static_cast<LONG>(first), static_cast<LONG>(last - first));
      if (toLower) token.MakeLower();
      out.Insert(token, -1);
    }
    start = end + wcsspn(text + end, set);
    end = start + wcscspn(text + start, set);
  }
}

HRESULT AddRESTCurrentVersion(IJSONObject *object, const WCHAR *key) {
  if (object == nullptr) return E_INVALIDARG;
  return object->AddNumberWithPrecision(key, kCurrentVersion, kCurrentVersionDigits);
}

HRESULT WriteRESTCurrentVersion(IJSONWriter *writer, const WCHAR *key) {
  if (writer == nullptr) return E_INVALIDARG;
  Held<IJSONNumericProperty> numbers;
  HRESULT hr = writer->QueryInterface(KZ_IID(IJSONNumericProperty), reinterpret_cast<void **>(numbers.put()));
  if (FAILED(hr)) return hr;
  return numbers->AddNumberProperty(key, kCurrentVersion, kCurrentVersionDigits);
}

RESTDispatcher::RESTDispatcher(const RESTDispatcher &other)
    : context_(other.context_),
      root_(other.root_),
      allocatedResources_(other.allocatedResources_),
      allocatedOperations_(other.allocatedOperations_),
      schema_(other.schema_),
      capabilityCallback_(other.capabilityCallback_) {
  if (schema_ != nullptr) schema_->AddRef();
}

RESTDispatcher &RESTDispatcher::operator=(const RESTDispatcher &other) {
  if (this == &other) return *this;
  context_ = other.context_;
  root_ = other.root_;
  // Lists that are already the source's stay as they are.
  if (&allocatedResources_ != &other.allocatedResources_) allocatedResources_ = other.allocatedResources_;
  if (&allocatedOperations_ != &other.allocatedOperations_) allocatedOperations_ = other.allocatedOperations_;
  if (other.schema_ != nullptr) other.schema_->AddRef();
  if (schema_ != nullptr) schema_->Release();
  schema_ = other.schema_;
  capabilityCallback_ = other.capabilityCallback_;
  return *this;
}

RESTDispatcher::~RESTDispatcher() {
  ClearAllocations();
  if (schema_ != nullptr) schema_->Release();
}

void RESTDispatcher::ClearAllocations() {
  for (RESTResource *resource : allocatedResources_) delete resource;
  for (RESTOperation *operation : allocatedOperations_) delete operation;
}

void RESTDispatcher::Init(void *context, RESTResource *root, RESTCapabilityProc callback) {
  context_ = context;
  root_ = root;
  capabilityCallback_ = callback;
}

RESTResource *RESTDispatcher::CreateRESTResource(const WCHAR *name, RESTHandlerProc handler, bool isStatic) {
  allocatedResources_.push_back(new RESTResource(name, handler, isStatic));
  return allocatedResources_.back();
}

RESTResource *RESTDispatcher::CreateRESTResource(const WCHAR *name, RESTHandlerProc handler,
                                                 const WCHAR *requiredCapability, bool isStatic) {
  allocatedResources_.push_back(new RESTResource(name, handler, requiredCapability, isStatic));
  return allocatedResources_.back();
}

RESTResource *RESTDispatcher::CreateRESTCollectionResource(const WCHAR *name, RESTHandlerProc handler,
                                                           RESTHandlerProc itemHandler, bool isDefaultCollection,
                                                           bool isStatic) {
  allocatedResources_.push_back(new RESTResource(name, handler, itemHandler, isDefaultCollection, isStatic));
  return allocatedResources_.back();
}

RESTResource *RESTDispatcher::CreateRESTCollectionResource(const WCHAR *name, RESTHandlerProc handler,
                                                           RESTHandlerProc itemHandler,
                                                           const WCHAR *requiredCapability,
                                                           bool isDefaultCollection, bool isStatic) {
  allocatedResources_.push_back(
      new RESTResource(name, handler, itemHandler, requiredCapability, isDefaultCollection, isStatic));
  return allocatedResources_.back();
}

RESTOperation *RESTDispatcher::CreateRESTOperation(const WCHAR *name, RESTHandlerProc handler,
                                                   const StringArray &parameters, const StringArray &outputFormats) {
  allocatedOperations_.push_back(new RESTOperation(name, handler, parameters, outputFormats, false));
  return allocatedOperations_.back();
}

RESTOperation *RESTDispatcher::CreateRESTOperation(const WCHAR *name, RESTHandlerProc handler,
                                                   const StringArray &parameters, const StringArray &outputFormats,
                                                   const WCHAR *requiredCapability) {
  allocatedOperations_.push_back(
      new RESTOperation(name, handler, parameters, outputFormats, requiredCapability, false));
  return allocatedOperations_.back();
}

HRESULT RESTDispatcher::GetSchema(BSTR *schema) {
  if (root_ == nullptr) return E_FAIL;
  if (schema == nullptr) return E_POINTER;
  *schema = nullptr;
  if (schema_ == nullptr) {
    IJSONObject *made = nullptr;
    HRESULT hr = root_->ToJSONObject(&made);
    if (FAILED(hr)) return hr;
    made->AddNumber(u"schemaVersion", 1);
    schema_ = made;
  }
  return schema_->ToJSONString(schema);
}

RESTResource *RESTDispatcher::FindResourceW(const WCHAR *path, const WCHAR *operationName, RESTKeys &keys) {
  if (root_ == nullptr) return nullptr;
  StringArray components;
  Tokenize(path, components, u"/", false, false);
  int n = components.GetSize();
  if (root_->Name().Compare(path) == 0) return root_;
  if (root_->Name().IsEmpty()) {
    components.Insert(u"", n == 0 ? -1 : 0);
    ++n;
  }
  if (n < 1) return nullptr;
  const bool hasOperation = operationName != nullptr && operationName[0] != 0;

  // Each turn moves one level down the tree, so a walk ends within the tree's depth.
  RESTResource *current = root_;
  int i = 0;
  for (;;) {
    if (current->Name().Compare(components[i]) != 0) return nullptr;
    ++i;
    if (current->IsCollection()) {
      // The path ends at the collection: the collection answers, but no operation of its own.
      if (i == n) return hasOperation ? nullptr : current;
      keys.SetAt(current->Name(), components[i]);
      if (i == n - 1) return current;
      ++i;
    } else if (i == n) {
      return current;
    }
    if (RESTResource *child = current->FindChildResource(components[i])) {
      current = child;
      // Reached as the last component, a collection takes operations too.
      if (i == n - 1) return child;
      if (i >= n) return nullptr;
      continue;
    }
    RESTResource *implied = nullptr;
    for (RESTResource *child : current->Resources()) {
      if (child->IsDefaultCollection()) {
        implied = child;
        break;
      }
    }
    if (implied == nullptr) return nullptr;
    current = implied;
    components.Insert(implied->Name(), i);
    ++n;
    if (i >= n) return nullptr;
  }
}

bool RESTDispatcher::CheckCapability(const WCHAR *requiredCapability, StringArray &capabilities) {
  if (requiredCapability == nullptr || requiredCapability[0] == 0) return true;
  for (int i = 0; i < capabilities.GetSize(); ++i) {
    if (_wcsicmp(capabilities[i], requiredCapability) == 0) return true;
  }
  return false;
}

HRESULT RESTDispatcher::Dispatch(const WCHAR *capabilities, RESTKeys &keys, RESTResource *resource,
                                 const WCHAR *resourceName, const WCHAR *operationName, WCHAR *operationInput,
                                 const WCHAR *outputFormat, const WCHAR *requestProperties,
                                 BSTR *responseProperties, SAFEARRAY **responseData) {
  if (resource == nullptr || responseData == nullptr || responseProperties == nullptr) return E_POINTER;
  *responseProperties = nullptr;
  *responseData = nullptr;
  const WCHAR *format = outputFormat != nullptr ? outputFormat : u"json";

  Held<IJSONObject> request;
  if (FAILED(internal::NewObject(request.put()))) return E_FAIL;
  Held<IJSONObject> response;
  VARIANT body;
  VariantInit(&body);

  HRESULT hr = S_OK;
  if (requestProperties != nullptr && requestProperties[0] != 0 && FAILED(request->Parse(requestProperties)))
    hr = E_INVALIDARG;

  RESTHandlerProc handler = nullptr;
  if (SUCCEEDED(hr)) {
    const WCHAR *last = resourceName != nullptr ? resourceName : u"";
    if (const WCHAR *slash = wcsrchr(last, u'/')) last = slash + 1;
    const WCHAR *required = nullptr;
    if (operationName == nullptr || operationName[0] == 0) {
      required = resource->RequiredCapability();
      // Kept on purpose: an item whose key is the collection's own name reaches the collection's
      // handler, and a trailing "/" reaches the item handler.
      handler = resource->Name().Compare(last) == 0 ? resource->Handler() : resource->ItemHandler();
    } else if (RESTOperation *operation = resource->FindChildOperation(operationName)) {
      required = operation->RequiredCapability();
      handler = operation->Handler();
    } else {
      hr = REST_E_INVALID_URL;
    }
    if (SUCCEEDED(hr) && handler == nullptr) hr = E_FAIL;
    if (SUCCEEDED(hr)) {
      if (capabilityCallback_ != nullptr) {
        if (!capabilityCallback_(context_, capabilities, resource->Name(), operationName)) hr = REST_E_CAPABILITY;
      } else if (required[0] != 0) {  // an empty requirement passes whatever the list holds
        String lowered(capabilities);
        lowered.MakeLower();
        StringArray granted;
        Tokenize(lowered, granted, u",", true, false);
        if (!CheckCapability(required, granted)) hr = REST_E_CAPABILITY;
      }
    }
  }

  if (SUCCEEDED(hr)) {
    hr = handler(context_, capabilities, resource, keys, operationInput, format, request.get(), response.put(), body);
    if (FAILED(hr)) {
      // An object body is released below with the variant, never taken for an array.
      if (body.vt != VT_UNKNOWN && (body.vt & kByteArrayBits) != 0) {
        SafeArrayDestroy(body.parray);
        body.vt = VT_EMPTY;
      }
    }
  }

  if (SUCCEEDED(hr) && response) hr = response->ToJSONString(responseProperties);

  if (SUCCEEDED(hr)) {
    if (body.vt == VT_UNKNOWN) {
      Held<IJSONWriter> writer;
      hr = internal::NewWriter(writer.put());
      if (SUCCEEDED(hr)) {
        writer->Initialize();
        Held<IJSONObject> object;
        Held<IJSONArray> array;
        if (body.punkVal == nullptr) {
          hr = E_FAIL;
        } else if (SUCCEEDED(body.punkVal->QueryInterface(KZ_IID(IJSONObject),
                                                          reinterpret_cast<void **>(object.put())))) {
          hr = writer->WriteObject(nullptr, object.get());
        } else if (SUCCEEDED(body.punkVal->QueryInterface(KZ_IID(IJSONArray),
                                                          reinterpret_cast<void **>(array.put())))) {
          hr = writer->WriteArray(nullptr, array.get());
        } else {
          hr = E_FAIL;
        }
        if (SUCCEEDED(hr)) hr = writer->GetBytes(responseData);
      }
    } else if ((body.vt & kByteArrayBits) != 0) {
      // Kept on purpose: the bit test, not equality with VT_ARRAY | VT_UI1.
      *responseData = body.parray;
      body.vt = VT_EMPTY;
    } else if (body.vt != VT_EMPTY) {
      hr = E_FAIL;
    }
  }
  VariantClear(&body);

  if (SUCCEEDED(hr)) return S_OK;
  SysFreeString(*responseProperties);
  *responseProperties = nullptr;
  if (*responseData != nullptr) SafeArrayDestroy(*responseData);
  *responseData = nullptr;
  return HandleError(hr, responseProperties, responseData);
}

HRESULT RESTDispatcher::HandleRESTRequest(const WCHAR *capabilities, const WCHAR *resourceName,
                                          const WCHAR *operationName, WCHAR *operationInput,
                                          const WCHAR *outputFormat, const WCHAR *requestProperties,
                                          BSTR *responseProperties, SAFEARRAY **responseData) {
  if (root_ == nullptr) return E_FAIL;
  RESTKeys keys(17);
  RESTResource *resource = FindResourceW(resourceName, operationName, keys);
  // A path that does not resolve never reaches Dispatch.
  if (resource == nullptr) return HandleError(RESTError::InvalidUrl, responseProperties, responseData);
  HRESULT hr = Dispatch(capabilities, keys, resource, resourceName, operationName, operationInput, outputFormat,
                        requestProperties, responseProperties, responseData);
  if (FAILED(hr)) return HandleError(hr, responseProperties, responseData);
  return S_OK;
}

}  // namespace RESTSupport
