// Reads a loaded document: the operations of platform/config.h.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "config/document.h"
#include "platform/config.h"
#include "platform/tools.h"
#include "util/memory.h"

namespace {

const ConfigNode *child_at(const ConfigNode *node, size_t index) {
  std::span<const ConfigNode> children = children_of(node);
  return index < children.size() ? &children[index] : nullptr;
}

// A linear search: objects have few members, and most searches find one.
const ConfigNode *find_member(const ConfigNode *object, std::string_view name) {
  for (const ConfigNode &member : children_of(object)) {
    if (is_name(member.name, name)) return &member;
  }
  return nullptr;
}

const ConfigNode *find_entry(const ConfigNode *map, std::string_view name) {
  const auto &entries = document_of(map).entries;
  auto found = entries.find(EntryName(map->value.container, name));
  return found != entries.end() ? found->second : nullptr;
}

// Parses the index of an element, in the form in which config_path writes it; false for anything else.
bool read_index(std::string_view digits, size_t *index) {
  if (digits.empty() || digits.size() > 9 || (digits[0] == '0' && digits.size() > 1)) return false;
  *index = 0;
  for (char digit : digits) {
    if (digit < '0' || digit > '9') return false;
    *index = *index * 10 + static_cast<size_t>(digit - '0');
  }
  return true;
}

// The child of that name or index; null when the document does not hold it.
const ConfigNode *find_child(const ConfigNode *node, std::string_view name) {
  size_t index = 0;
  if (name.empty()) return nullptr;
  if (node->kind == Kind::object) return find_member(node, name);
  if (node->kind == Kind::map) return find_entry(node, name);
  return node->kind == Kind::array && read_index(name, &index) ? child_at(node, index) : nullptr;
}

// Removes the first component from a path and returns it. The path becomes null after the last one.
std::string_view take_component(const char **path, char separator) {
  const char *start = *path;
  const char *end = start;
  while (*end != '\0' && *end != separator) end++;
  *path = *end != '\0' ? end + 1 : nullptr;
  return {start, static_cast<size_t>(end - start)};
}

// The node at a path; null when the document does not hold it.
const ConfigNode *find(const ConfigNode *node, const char *path, char separator = '.') {
  if (*path == '\0') return node;
  while (node != nullptr && path != nullptr) node = find_child(node, take_component(&path, separator));
  return node;
}

// The kind that the schema gives to a path below the node, whether the document holds a value there or not.
// Kind::ignored for a path that the schema does not define.
Kind defined_kind(const ConfigNode *node, const char *path) {
  const SchemaKey *key = node->key;
  Kind kind = node->kind;
  while (path != nullptr) {
    std::string_view name = take_component(&path, '.');
    size_t index = 0;
    if (name.empty()) return Kind::ignored;
    if (kind == Kind::object) {
      key = schema_member(*key, name);
      if (key == nullptr) return Kind::ignored;
      kind = key->kind;
    } else if (kind == Kind::map || (kind == Kind::array && read_index(name, &index))) {
      kind = key->element;
    } else {
      return Kind::ignored;
    }
  }
  return kind;
}

// The value at a path; null when the document does not hold it, or it is of another kind.
const ConfigNode *leaf(const ConfigNode *node, const char *path, Kind kind) {
  const ConfigNode *found = find(node, path);
  return found != nullptr && found->kind == kind ? found : nullptr;
}

bool holds_string(Kind kind) {
  return kind == Kind::string || kind == Kind::reference;
}

bool is_object(const ConfigNode *node) {
  return node != nullptr && (node->kind == Kind::object || node->kind == Kind::map);
}

bool is_array(const ConfigNode *node) {
  return node != nullptr && node->kind == Kind::array;
}

const ConfigNode *next_sibling(const ConfigNode *node) {
  if (node == nullptr || node->parent == nullptr) return nullptr;
  return child_at(node->parent, index_of(node) + 1);
}

const ConfigNode *referenced(const ConfigNode *node) {
  if (node == nullptr || node->kind != Kind::reference) return nullptr;
  const auto &targets = document_of(node).targets;
  auto found = targets.find(node);
  return found != targets.end() ? found->second : nullptr;
}

int64_t milliseconds(const ConfigNode *node, const char *path) {
  const ConfigNode *found = leaf(node, path, Kind::duration);
  return found != nullptr ? found->value.milliseconds : 0;
}

void append_path(std::string &path, const ConfigNode *node) {
  if (node->parent == nullptr) return;
  append_path(path, node->parent);
  append_component(path, is_array(node->parent) ? std::to_string(index_of(node)) : node->name);
}

}  // namespace

const ConfigNode *find_by_reference(const ConfigNode *root, const char *string) {
  return *string == '/' && string[1] != '\0' ? find(root, string + 1, '/') : nullptr;
}

const char *config_get_string(const ConfigNode *node, const char *path) {
  const ConfigNode *found = find(node, path);
  if (found != nullptr) return holds_string(found->kind) ? found->value.string : nullptr;
  return node == nullptr || holds_string(defined_kind(node, path)) ? "" : nullptr;
}

bool config_get_bool(const ConfigNode *node, const char *path) {
  const ConfigNode *found = leaf(node, path, Kind::boolean);
  return found != nullptr && found->value.boolean;
}

int32_t config_get_int(const ConfigNode *node, const char *path) {
  const ConfigNode *found = leaf(node, path, Kind::integer);
  return found != nullptr ? found->value.integer : 0;
}

double config_get_number(const ConfigNode *node, const char *path) {
  const ConfigNode *found = leaf(node, path, Kind::number);
  return found != nullptr ? found->value.number : 0;
}

int32_t config_get_duration(const ConfigNode *node, const char *path) {
  return static_cast<int32_t>(milliseconds(node, path) / 1000);
}

int32_t config_get_duration_ms(const ConfigNode *node, const char *path) {
  int64_t value = milliseconds(node, path);
  if (value > INT32_MAX) return INT32_MAX;
  return static_cast<int32_t>(value < INT32_MIN ? INT32_MIN : value);
}

char **config_get_string_list(const ConfigNode *node, const char *path) {
  char **list = _sl_new(0, 0);
  const ConfigNode *array = config_array(node, path);
  for (const ConfigNode *element = config_array_first(array); element != nullptr;
       element = config_array_next(element)) {
    if (holds_string(element->kind)) list = _sl_append(list, element->value.string, 0);
  }
  return list;
}

const ConfigNode *config_get_ref(const ConfigNode *node, const char *path) {
  return referenced(find(node, path));
}

bool config_has_key(const ConfigNode *object, const char *key) {
  return config_object_get(object, key) != nullptr;
}

bool config_object_has_key(const ConfigNode *node, const char *path, const char *key) {
  return config_has_key(config_object(node, path), key);
}

const ConfigNode *config_object(const ConfigNode *node, const char *path) {
  const ConfigNode *found = find(node, path);
  return is_object(found) ? found : nullptr;
}

const ConfigNode *config_object_first(const ConfigNode *object) {
  return is_object(object) ? child_at(object, 0) : nullptr;
}

const ConfigNode *config_object_next(const ConfigNode *member) {
  return next_sibling(member);
}

const ConfigNode *config_object_get(const ConfigNode *object, const char *key) {
  return is_object(object) ? find_child(object, key) : nullptr;
}

const char *config_string_get(const ConfigNode *leaf) {
  return leaf != nullptr && holds_string(leaf->kind) ? leaf->value.string : nullptr;
}

int32_t config_int_get(const ConfigNode *leaf) {
  return leaf != nullptr && leaf->kind == Kind::integer ? leaf->value.integer : 0;
}

const ConfigNode *config_array(const ConfigNode *node, const char *path) {
  const ConfigNode *found = find(node, path);
  return is_array(found) ? found : nullptr;
}

size_t config_array_count(const ConfigNode *array) {
  return is_array(array) ? children_of(array).size() : 0;
}

const ConfigNode *config_array_first(const ConfigNode *array) {
  return is_array(array) ? child_at(array, 0) : nullptr;
}

const ConfigNode *config_array_next(const ConfigNode *element) {
  return next_sibling(element);
}

const char *config_array_get_string(const ConfigNode *array, size_t index) {
  return is_array(array) ? config_string_get(child_at(array, index)) : nullptr;
}

const ConfigNode *config_array_get_ref(const ConfigNode *array, size_t index) {
  return is_array(array) ? referenced(child_at(array, index)) : nullptr;
}

const ConfigNode *config_array_object(const ConfigNode *array, size_t index) {
  const ConfigNode *element = is_array(array) ? child_at(array, index) : nullptr;
  return is_object(element) ? element : nullptr;
}

const ConfigNode *config_lookup(const ConfigNode *node, const char *path) {
  return find(node, path);
}

const ConfigNode *config_node_get_root(const ConfigNode *node) {
  return node != nullptr ? &document_of(node).root : nullptr;
}

const ConfigNode *config_node_parent(const ConfigNode *node) {
  return node != nullptr ? node->parent : nullptr;
}

// All numbers have ten digits, because files are named after an entry followed by a number. With numbers of any length,
// "site12" and 3 would give the same name as "site1" and 23. Now only entries whose names end in such a number can
// collide.
size_t config_node_id(const ConfigNode *node) {
  constexpr size_t first = 1'000'000'000;
  if (node == nullptr) return 0;
  if (node->parent == nullptr) return first + document_of(node).root_id;
  return first + node->parent->value.container->first_child_id + index_of(node);
}

const char *config_key(const ConfigNode *node) {
  return node != nullptr ? node->name : nullptr;
}

char *config_path(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  std::string path;
  append_path(path, node);
  return copy_bytes(path.data(), path.size());
}
