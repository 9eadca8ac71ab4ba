// The REST surface of a server object: a tree of resources (RESTResource) with operations
// (RESTOperation) at their leaves, built once when the object starts. The tree routes requests
// (RESTDispatcher walks it) and describes itself: its JSON form is the schema a client reads.
//
// Nodes are made only by a RESTDispatcher, which owns them; the owner links them:
//
//   RESTDispatcher &d = dispatcher_;
//   RESTResource *root = d.CreateRESTResource(u"", RootInfo, true);
//   RESTResource *layers = d.CreateRESTCollectionResource(u"layers", AllLayers, OneLayer, false, true);
//   StringArray parameters, formats;
//   parameters.Insert(u"where");
//   formats.Insert(u"json");
//   layers->AddOperation(d.CreateRESTOperation(u"query", Query, parameters, formats));
//   root->AddResource(layers);
//   d.Init(this, root, nullptr);
//
//   // "layers/3" reaches OneLayer with keys[u"layers"] == u"3".
//
// Every handler has the one signature RESTHandlerProc. A built tree is only read, so requests may
// walk it from many threads without a lock; changing it while requests run is not supported.
// A tree must be a tree: a node that is its own descendant makes the path walk loop.
#pragma once

#include <list>

#include <kzcore/containers/hash.h>
#include <kzcore/core/string.h>
#include <kzcore/core/string_array.h>
#include <kzcore/pal/variant.h>
#include <kzcore/server/json_service.h>

namespace RESTSupport {

class RESTResource;
class RESTOperation;
class RESTDispatcher;

// The collection keys that a path walk gathers: a collection's name to the key text that
// followed it in the path.
using RESTKeys = Hash<String, const WCHAR *, String, const WCHAR *>;

// The one signature of resource, item and operation handlers. In order: the context given to
// RESTDispatcher::Init, the caller's capabilities as received, the resource the path resolved to,
// the collection keys, the operation input as received, the output format ("json" unless the
// request named one), the parsed request properties, and two outputs: the response properties
// object (one reference for the dispatcher) and the body.
//
// The body is VT_EMPTY for no body, VT_UNKNOWN holding an IJSONObject or IJSONArray to be
// written as JSON, or VT_ARRAY | VT_UI1 with the bytes themselves. Kept on purpose: any type tag
// that shares a bit with 0x201B (other than VT_UNKNOWN) is taken as a byte array and its pointer
// handed on as it stands, so a handler never answers with VT_I4, VT_BSTR or the like.
using RESTHandlerProc = HRESULT (*)(void *context, const WCHAR *capabilities, RESTResource *resource,
                                    RESTKeys &keys, WCHAR *operationInput, const WCHAR *outputFormat,
                                    IJSONObject *requestProperties, IJSONObject **responseProperties,
                                    VARIANT &responseData);

// A node of the tree. Children are held twice: in lists that keep the order they were added in
// (for the schema and the search for a default collection) and in tables by exact, case-sensitive
// name (for the path walk). Neither list owns its pointers.
class KZ_API RESTResource {
 public:
  // Kept on purpose: a copy, made or assigned, takes the name, the four flags, the required
  // capability, both handlers and both lists of pointers (sharing the children, not cloning them)
  // but not the lookup tables. A fresh copy finds no child by name although it lists them all;
  // assignment leaves the target's tables as they were.
  RESTResource &operator=(const RESTResource &other);
  // Releases the node's own containers; children are not deleted.
  ~RESTResource() = default;

  const String &Name() const { return name_; }
  bool IsCollection() const { return isCollection_; }
  bool IsDefaultCollection() const { return isDefaultCollection_; }
  bool IsStatic() const { return isStatic_; }
  // Declared for the schema; the dispatcher does not read it.
  bool SupportsETag() const { return supportsETag_; }
  const String &RequiredCapability() const { return requiredCapability_; }
  RESTHandlerProc Handler() const { return handler_; }
  RESTHandlerProc ItemHandler() const { return itemHandler_; }
  const std::list<RESTResource *> &Resources() const { return resources_; }
  const std::list<RESTOperation *> &Operations() const { return operations_; }

  // A new name does not re-key the parent's table: the parent still finds the node under the
  // name it had when it was added.
  void put_Name(const WCHAR *name) { name_ = name; }
  void put_IsCollection(bool value) { isCollection_ = value; }
  void put_IsDefaultCollection(bool value) { isDefaultCollection_ = value; }
  void put_IsStatic(bool value) { isStatic_ = value; }
  void put_SupportsETag(bool value) { supportsETag_ = value; }

  // Appends to the list and enters the child in the table under its current name; a second child
  // of one name replaces the first in the table (both stay in the list). A null child is ignored.
  // More than 0x15555554 children (or operations) throw std::length_error("list<T> too long").
  void AddResource(RESTResource *child);
  void AddOperation(RESTOperation *operation);
  // The table lookups; null when absent.
  RESTResource *FindChildResource(const WCHAR *name) const;
  RESTOperation *FindChildOperation(const WCHAR *name) const;

  // A new JSON object describing the node and, recursively, its operations and children, with
  // only what differs from the defaults, in this order: "name" (always), "isCollection": true,
  // "isDefaultCollection": true, "isStatic": false, "supportsETag": true, "requiredCapability",
  // "operations" and "resources" (arrays, in list order). Failures of the JSON calls are not
  // reported; the result is that of making the object.
  HRESULT ToJSONObject(IJSONObject **out) const;

 protected:
  friend class RESTDispatcher;

  // isStatic true, every other flag false, no handlers.
  RESTResource();
  RESTResource(const WCHAR *name, RESTHandlerProc handler, bool isStatic);
  RESTResource(const WCHAR *name, RESTHandlerProc handler, const WCHAR *requiredCapability, bool isStatic);
  // Collections: the only constructors that set isCollection.
  RESTResource(const WCHAR *name, RESTHandlerProc handler, RESTHandlerProc itemHandler, bool isDefaultCollection,
               bool isStatic);
  RESTResource(const WCHAR *name, RESTHandlerProc handler, RESTHandlerProc itemHandler,
               const WCHAR *requiredCapability, bool isDefaultCollection, bool isStatic);
  RESTResource(const RESTResource &other);

 private:
  String name_;
  std::list<RESTOperation *> operations_;
  std::list<RESTResource *> resources_;
  bool isCollection_ = false;
  bool isDefaultCollection_ = false;
  bool isStatic_ = true;
  bool supportsETag_ = false;
  String requiredCapability_;
  RESTHandlerProc handler_ = nullptr;
  RESTHandlerProc itemHandler_ = nullptr;
  Hash<String, const WCHAR *, RESTResource *, RESTResource *> resourcesByName_{17};
  Hash<String, const WCHAR *, RESTOperation *, RESTOperation *> operationsByName_{17};
};

// An operation of a resource. Parameters, output formats and postOnly are declarations for the
// schema: the dispatcher checks none of them.
class KZ_API RESTOperation {
 public:
  // Copies every field.
  RESTOperation &operator=(const RESTOperation &other);
  ~RESTOperation() = default;

  const String &Name() const { return name_; }
  const StringArray &Parameters() const { return parameters_; }
  const StringArray &OutputFormats() const { return outputFormats_; }
  const String &RequiredCapability() const { return requiredCapability_; }
  bool PostOnly() const { return postOnly_; }
  RESTHandlerProc Handler() const { return handler_; }

  // A new JSON object: "name" (always), "parameters" and "supportedOutputFormats" (arrays of
  // strings, when not empty), "requiredCapability" (when not empty), "postOnly": true.
  HRESULT ToJSONObject(IJSONObject **out) const;

 protected:
  friend class RESTDispatcher;

  RESTOperation() = default;
  RESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                const StringArray &outputFormats, bool postOnly);
  RESTOperation(const WCHAR *name, RESTHandlerProc handler, const StringArray &parameters,
                const StringArray &outputFormats, const WCHAR *requiredCapability, bool postOnly);
  RESTOperation(const RESTOperation &other);

 private:
  String name_;
  StringArray parameters_;
  StringArray outputFormats_;
  String requiredCapability_;
  bool postOnly_ = false;
  RESTHandlerProc handler_ = nullptr;
};

}  // namespace RESTSupport
