// The shape of a service's REST surface as the host needs it: which path components name
// resources and which name operations. It is read from the schema document that the service gives
// through GetSchema:
//
//   {"name":"","operations":[{"name":"echo"}],
//    "resources":[{"name":"topics","isCollection":true,"isDefaultCollection":true}],
//    "schemaVersion":1}
//
// and walked with the rules the services' own dispatch uses, so that the host splits
// "topics/library/echo" into the resource "topics/library" and the operation "echo".
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kzhost {

struct SchemaOperation {
  std::string name;
  std::string required_capability;
};

struct SchemaNode {
  std::string name;
  bool is_collection = false;
  bool is_default_collection = false;
  std::string required_capability;
  std::vector<SchemaOperation> operations;
  std::vector<SchemaNode> resources;

  bool HasOperation(std::string_view op) const { return Operation(op) != nullptr; }
  const SchemaOperation *Operation(std::string_view op) const;
  const SchemaNode *Child(std::string_view child) const;
  // The first child marked as a default collection, which a path may leave out.
  const SchemaNode *DefaultCollection() const;
};

// The tree of a schema document; nothing when the text is not a schema (not JSON, not an object,
// a "name" that is not a string, nesting past the host's limit).
std::optional<SchemaNode> ParseSchema(std::string_view text);

// The node that `components` (below the root) lead to, or null. Exact, case-sensitive names; the
// component after a collection is an item key; a component that names no child enters the first
// default collection, whose name the path leaves out ("5" under a root with the default
// collection "items" is "items/5"). `keys`, when given, gets each collection's item key under the
// collection's name.
const SchemaNode *ResolveSchemaPath(const SchemaNode &root, std::span<const std::string> components,
                                    std::map<std::string, std::string> *keys = nullptr);

}  // namespace kzhost
