// The road of one REST request: RESTDispatcher owns a tree of resources and operations, resolves a
// request's path against it, picks the handler, checks the caller's capabilities, calls the
// handler and turns what it returned into the response's properties text and body bytes. A
// failure anywhere becomes the error document (rest_error.h) and the call still succeeds.
//
//   class Parcels : ... {
//     RESTSupport::RESTDispatcher dispatcher_;
//     Parcels() {
//       RESTResource *root = dispatcher_.CreateRESTResource(u"", ServiceInfo, true);
//       root->AddResource(dispatcher_.CreateRESTCollectionResource(u"parcels", List, One, true, true));
//       dispatcher_.Init(this, root, nullptr);
//     }
//     HRESULT HandleRESTRequest(BSTR capabilities, BSTR resource, ...) {
//       return dispatcher_.HandleRESTRequest(capabilities, resource, ...);
//     }
//   };
//
// With "parcels" the default collection, "/12" is read as "/parcels/12": One answers with
// keys[u"parcels"] == u"12".
//
// The tree is only read while requests run, and each request has its own keys, so requests may
// run in parallel. The first GetSchema fills a cache without a lock: call it once before serving
// in parallel.
#pragma once

#include <list>

#include <kzcore/server/rest/rest_error.h>
#include <kzcore/server/rest/rest_resource.h>

namespace RESTSupport {

// A capability check of the server object's own: true lets the request through. It replaces the
// built-in check, which compares the resource's or operation's required capability with the
// comma-separated capabilities of the request.
using RESTCapabilityProc = bool (*)(void *context, const WCHAR *capabilities, const WCHAR *resourceName,
                                    const WCHAR *operationName);

// Appends the tokens of `text` to `out`: the runs between characters of `delimiters`, so that a
// run of delimiters gives no empty token. With `trim`, blank, tab and line feed (not carriage
// return) are stripped from both ends of each token, and a token left empty is dropped; with
// `toLower`, each unit is lowered with towlower. A null text leaves `out` as it was.
KZ_API void Tokenize(const WCHAR *text, StringArray &out, const WCHAR *delimiters, bool trim, bool toLower);

// Adds the current REST version, 10.6 (the single-precision value, written with 4 significant
// digits), under `key`. E_INVALIDARG for a null object or writer; otherwise the JSON service's
// result. The writer form goes through the writer's IJSONNumericProperty.
KZ_API HRESULT AddRESTCurrentVersion(IJSONObject *object, const WCHAR *key);
KZ_API HRESULT WriteRESTCurrentVersion(IJSONWriter *writer, const WCHAR *key);

class KZ_API RESTDispatcher {
 public:
  RESTDispatcher() = default;
  // Kept on purpose: copies are shallow. Both lists of nodes are copied, the schema is shared with
  // one more reference; since the destructor deletes the nodes, only one of the copies may be
  // destroyed (the others are abandoned). Assignment gives up nothing the target held but its
  // schema reference.
  RESTDispatcher(const RESTDispatcher &other);
  RESTDispatcher &operator=(const RESTDispatcher &other);
  // Deletes every node this dispatcher made and releases the schema.
  ~RESTDispatcher();

  // The context is passed first to every handler and to the callback; a null callback means the
  // built-in capability check. May be called again; the schema cache stays.
  void Init(void *context, RESTResource *root, RESTCapabilityProc callback);

  // The factories: each makes a node that this dispatcher owns. A node that is not a collection:
  RESTResource *CreateRESTResource(const WCHAR *name, RESTHandlerProc handler, bool isStatic);
  RESTResource *CreateRESTResource(const WCHAR *name, RESTHandlerProc handler, const WCHAR *requiredCapability,
                                   bool isStatic);
  // A collection: the path component after its name is an item key, answered by `itemHandler`.
  // A default collection may be left out of a path.
  RESTResource *CreateRESTCollectionResource(const WCHAR *name, RESTHandlerProc handler,
                                             RESTHandlerProc itemHandler, bool isDefaultCollection,
                                             bool isStatic);
  RESTResource *CreateRESTCollectionResource(const WCHAR *name, RESTHandlerProc handler,
                                             RESTHandlerProc itemHandler, const WCHAR *requiredCapability,
                                             bool isDefaultCollection, bool isStatic);
  // An operation, never post-only.
  RESTOperation *CreateRESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                                     const StringArray &outputFormats);
  RESTOperation *CreateRESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                                     const StringArray &outputFormats, const WCHAR *requiredCapability);

  // Answers one request. Every text may be null; a null or empty operation name asks for the
  // resource itself, a null output format is "json". E_FAIL, with the outputs untouched, when
  // Init gave no root; E_POINTER when an output pointer is null. Otherwise 0, with the handler's
  // response or the error document: *responseProperties a JSON text, *responseData a VT_UI1
  // array from 0 (or null for no body), both the caller's. The outputs should come in null: a
  // path that does not resolve frees what they held, other requests overwrite it.
  HRESULT HandleRESTRequest(const WCHAR *capabilities, const WCHAR *resourceName, const WCHAR *operationName,
                            WCHAR *operationInput, const WCHAR *outputFormat, const WCHAR *requestProperties,
                            BSTR *responseProperties, SAFEARRAY **responseData);
  // The schema: the root's JSON form with "schemaVersion": 1 added last. Built on the first call
  // and kept; each call writes the text again. E_FAIL without a root.
  HRESULT GetSchema(BSTR *schema);

 protected:
  // The resource `path` leads to, or null; gathers the collection keys on the way. Components
  // are separated by "/" and compared exactly; a path equal to the root's name is the root, and
  // an unnamed root stands for an empty first component. A collection's name followed by another
  // component takes it as the item key (keys[name] = key); a path ending at a collection above
  // its last component refuses an operation. A component that is no child's name is taken as
  // walking through the first default collection among the children.
  RESTResource *FindResourceW(const WCHAR *path, const WCHAR *operationName, RESTKeys &keys);
  // Everything after the path walk: handler, capability check, call, response.
  HRESULT Dispatch(const WCHAR *capabilities, RESTKeys &keys, RESTResource *resource, const WCHAR *resourceName,
                   const WCHAR *operationName, WCHAR *operationInput, const WCHAR *outputFormat,
                   const WCHAR *requestProperties, BSTR *responseProperties, SAFEARRAY **responseData);
  // An empty requirement passes; otherwise one of the capabilities must equal it, ignoring case.
  bool CheckCapability(const WCHAR *requiredCapability, StringArray &capabilities);
  // Deletes every node made here, resources then operations; the lists keep their pointers.
  void ClearAllocations();

 private:
  void *context_ = nullptr;
  RESTResource *root_ = nullptr;
  std::list<RESTResource *> allocatedResources_;
  std::list<RESTOperation *> allocatedOperations_;
  IJSONObject *schema_ = nullptr;
  RESTCapabilityProc capabilityCallback_ = nullptr;
};

}  // namespace RESTSupport
