#include "service_schema.h"

#include "json_text.h"

namespace kzhost {
namespace {

std::string Text(const rapidjson::Value &object, const char *member) {
  auto it = object.FindMember(member);
  if (it == object.MemberEnd() || !it->value.IsString()) return std::string();
  return std::string(it->value.GetString(), it->value.GetStringLength());
}

bool IsTrue(const rapidjson::Value &object, const char *member) {
  auto it = object.FindMember(member);
  return it != object.MemberEnd() && it->value.IsBool() && it->value.GetBool();
}

// The nesting is bounded by ParseJson, so the recursion is too.
bool ReadNode(const rapidjson::Value &json, SchemaNode &node) {
  if (!json.IsObject()) return false;
  auto name = json.FindMember("name");
  if (name != json.MemberEnd()) {
    if (!name->value.IsString()) return false;
    node.name.assign(name->value.GetString(), name->value.GetStringLength());
  }
  node.is_collection = IsTrue(json, "isCollection");
  node.is_default_collection = IsTrue(json, "isDefaultCollection");
  node.required_capability = Text(json, "requiredCapability");
  auto ops = json.FindMember("operations");
  if (ops != json.MemberEnd() && ops->value.IsArray()) {
    for (const auto &op : ops->value.GetArray()) {
      if (!op.IsObject()) continue;
      auto op_name = op.FindMember("name");
      if (op_name != op.MemberEnd() && op_name->value.IsString())
        node.operations.push_back({Text(op, "name"), Text(op, "requiredCapability")});
    }
  }
  auto children = json.FindMember("resources");
  if (children != json.MemberEnd() && children->value.IsArray()) {
    for (const auto &child : children->value.GetArray()) {
      SchemaNode sub;
      if (ReadNode(child, sub)) node.resources.push_back(std::move(sub));
    }
  }
  return true;
}

}  // namespace

const SchemaOperation *SchemaNode::Operation(std::string_view op) const {
  for (const auto &o : operations)
    if (o.name == op) return &o;
  return nullptr;
}

const SchemaNode *SchemaNode::Child(std::string_view child) const {
  for (const auto &r : resources)
    if (r.name == child) return &r;
  return nullptr;
}

const SchemaNode *SchemaNode::DefaultCollection() const {
  for (const auto &r : resources)
    if (r.is_default_collection) return &r;
  return nullptr;
}

std::optional<SchemaNode> ParseSchema(std::string_view text) {
  rapidjson::Document doc;
  if (!ParseJson(text, doc)) return std::nullopt;
  SchemaNode root;
  if (!ReadNode(doc, root)) return std::nullopt;
  return root;
}

const SchemaNode *ResolveSchemaPath(const SchemaNode &root, std::span<const std::string> components,
                                    std::map<std::string, std::string> *keys) {
  const SchemaNode *node = &root;
  size_t i = 0;
  const size_t n = components.size();
  while (i < n) {
    if (node->is_collection) {
      if (keys != nullptr) (*keys)[node->name] = components[i];
      ++i;  // an item key
      if (i == n) return node;
    }
    if (const SchemaNode *child = node->Child(components[i])) {
      node = child;
      ++i;
      continue;
    }
    // Each step goes one level down the tree, so this ends.
    node = node->DefaultCollection();
    if (node == nullptr) return nullptr;
  }
  return node;
}

}  // namespace kzhost
