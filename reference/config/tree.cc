// Reading a loaded document: the operations of platform/config.h.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "config/document.h"
#include "platform/config.h"
#include "platform/tools.h"

namespace {

const Document &document_of(const ConfigNode *node) {
  return *header_of(node).document;
}

const ConfigNode *child_at(const ConfigNode *node, size_t index) {
  return index < node->value.children.count ? nth_child(node, static_cast<uint32_t>(index)) : nullptr;
}

// One step of a path: the child that it leads to, null when the document does not hold it, and the end of its name in
// the path. Small enough to be returned in registers.
struct Step {
  const ConfigNode *node;
  const char *end;
};

// The end of the name that starts a path.
const char *name_end(const char *path, char separator) {
  while (*path != '\0' && *path != separator) path++;
  return path;
}

// To a member of an object. Objects are small, and what is asked for is mostly there.
inline Step step_to_member(const ConfigNode *object, const char *path, char separator) {
  uint32_t count = object->value.children.count;
  for (const Cell *cell = cell_at(nth_child(object, 0)); count > 0; count--, cell++) {
    const char *own = cell->node.key->name;
    size_t at = 0;
    while (own[at] != '\0' && own[at] == path[at]) at++;
    if (own[at] == '\0' && (path[at] == '\0' || path[at] == separator)) return {&cell->node, path + at};
  }
  return {nullptr, path};
}

const ConfigNode *find_entry(const ConfigNode *map, const char *name, size_t length) {
  uint32_t count = map->value.children.count;
  if (count == 0) return nullptr;
  const Cell *entries = cell_at(nth_child(map, 0));
  const BlockHeader &header = header_of(&entries->node);
  auto is_named = [text = header.document->text.get(), name, length](const ConfigNode &entry) {
    const char *own = text + entry.link;
    return strncmp(own, name, length) == 0 && own[length] == '\0';
  };
  if (count <= small_map) {
    while (count > 0 && !is_named(entries->node)) count--, entries++;
    return count > 0 ? &entries->node : nullptr;
  }
  uint32_t mask = name_index_size(count) - 1;
  const uint32_t *slots = header.document->name_indexes.data.get() + header.name_index;
  for (uint32_t slot = name_hash(name, length) & mask; slots[slot] != 0; slot = (slot + 1) & mask) {
    const ConfigNode &entry = entries[slots[slot] - 1].node;
    if (is_named(entry)) return &entry;
  }
  return nullptr;
}

// Reads an element's index as config_path writes it; false for anything else.
bool read_index(const char *digits, size_t length, size_t *index) {
  if (length == 0 || length > 9 || (*digits == '0' && length > 1)) return false;
  *index = 0;
  for (size_t i = 0; i < length; i++) {
    if (digits[i] < '0' || digits[i] > '9') return false;
    *index = *index * 10 + static_cast<size_t>(digits[i] - '0');
  }
  return true;
}

// To an entry of a map or an element of an array.
Step step_to_entry(const ConfigNode *node, const char *path, char separator) {
  const char *end = name_end(path, separator);
  auto length = static_cast<size_t>(end - path);
  Kind kind = node->kind;
  size_t index = 0;
  const ConfigNode *child = nullptr;
  if (length > 0 && kind == Kind::map) {
    child = find_entry(node, path, length);
  } else if (kind == Kind::array && read_index(path, length, &index)) {
    child = child_at(node, index);
  }
  return {child, end};
}

const ConfigNode *find_below_entry(const ConfigNode *node, const char *path, char separator);

// The node at a path that is not empty; null when the document does not hold it. Most paths lead through objects alone:
// they are followed without a call.
const ConfigNode *find_below(const ConfigNode *node, const char *path, char separator) {
  while (node->kind == Kind::object) {
    Step step = step_to_member(node, path, separator);
    if (step.node == nullptr || *step.end == '\0') return step.node;
    node = step.node;
    path = step.end + 1;
  }
  return find_below_entry(node, path, separator);
}

// The same for a path that starts at a map or array.
[[gnu::noinline]] const ConfigNode *find_below_entry(const ConfigNode *node, const char *path, char separator) {
  Step step = step_to_entry(node, path, separator);
  if (step.node == nullptr || *step.end == '\0') return step.node;
  return find_below(step.node, step.end + 1, separator);
}

// The node at a path; null when the document does not hold it.
inline const ConfigNode *find(const ConfigNode *node, const char *path, char separator = '.') {
  return node == nullptr || *path == '\0' ? node : find_below(node, path, separator);
}

// The kind of value that the schema has at a path of which the document holds nothing, or only a part.
Kind defined_kind(const SchemaKey *key, Kind kind, const char *path) {
  for (;;) {
    const char *end = name_end(path, '.');
    std::string_view name(path, static_cast<size_t>(end - path));
    if (name.empty()) return Kind::ignored;
    size_t index = 0;
    if (kind == Kind::object) {
      key = schema_member(*key, name);
      if (key == nullptr) return Kind::ignored;
      kind = key->kind;
    } else if (kind == Kind::map || (kind == Kind::array && read_index(path, name.size(), &index))) {
      kind = key->element;
    } else {
      return Kind::ignored;
    }
    if (*end == '\0') return kind;
    path = end + 1;
  }
}

// The leaf at a path when it is of that kind and the document holds it.
const ConfigNode *leaf(const ConfigNode *node, const char *path, Kind kind) {
  const ConfigNode *found = find(node, path);
  return found != nullptr && found->kind == kind ? found : nullptr;
}

bool holds_text(Kind kind) {
  return kind == Kind::string || kind == Kind::reference;
}

bool is_object(const ConfigNode *node) {
  return node != nullptr && (node->kind == Kind::object || node->kind == Kind::map);
}

bool is_array(const ConfigNode *node) {
  return node != nullptr && node->kind == Kind::array;
}

const ConfigNode *sibling_after(const ConfigNode *node) {
  return node->index + 1 < header_of(node).count ? &(cell_at(node) + 1)->node : nullptr;
}

const ConfigNode *referenced(const ConfigNode *node) {
  if (node == nullptr || node->kind != Kind::reference || node->link == 0) return nullptr;
  return node_at(document_of(node), node->link);
}

// What a text reads as that the document does not hold.
[[gnu::noinline]] const char *absent_text(const ConfigNode *node, const char *path) {
  return node == nullptr || holds_text(defined_kind(node->key, node->kind, path)) ? "" : nullptr;
}

int64_t milliseconds(const ConfigNode *node, const char *path) {
  const ConfigNode *found = leaf(node, path, Kind::duration);
  return found != nullptr ? found->value.milliseconds : 0;
}

}  // namespace

const ConfigNode *find_by_reference(const ConfigNode *root, const char *text) {
  return *text == '/' && text[1] != '\0' ? find(root, text + 1, '/') : nullptr;
}

const char *config_get_string(const ConfigNode *node, const char *path) {
  const ConfigNode *found = find(node, path);
  if (found == nullptr) return absent_text(node, path);
  return holds_text(found->kind) ? found->value.text : nullptr;
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
    if (holds_text(element->kind)) list = _sl_append(list, element->value.text, 0);
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
  return member != nullptr ? sibling_after(member) : nullptr;
}

const ConfigNode *config_object_get(const ConfigNode *object, const char *key) {
  return is_object(object) ? find_below(object, key, '\0') : nullptr;
}

const char *config_string_get(const ConfigNode *leaf) {
  return leaf != nullptr && holds_text(leaf->kind) ? leaf->value.text : nullptr;
}

int32_t config_int_get(const ConfigNode *leaf) {
  return leaf != nullptr && leaf->kind == Kind::integer ? leaf->value.integer : 0;
}

const ConfigNode *config_array(const ConfigNode *node, const char *path) {
  const ConfigNode *found = find(node, path);
  return is_array(found) ? found : nullptr;
}

size_t config_array_count(const ConfigNode *array) {
  return is_array(array) ? array->value.children.count : 0;
}

const ConfigNode *config_array_first(const ConfigNode *array) {
  return is_array(array) ? child_at(array, 0) : nullptr;
}

const ConfigNode *config_array_next(const ConfigNode *element) {
  return element != nullptr ? sibling_after(element) : nullptr;
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
  return node != nullptr ? node_at(document_of(node), document_of(node).root) : nullptr;
}

const ConfigNode *config_node_parent(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  const Cell *block = cell_at(node) - node->index - 1;
  return block->header.parent != 0 ? &block[block->header.parent].node : nullptr;
}

// All have ten digits: files are named after an entry with a number behind it, and with numbers of any length the first
// of "site12" could be the second of "site1". Only a name that itself ends in such a number can still be taken for
// both.
size_t config_node_id(const ConfigNode *node) {
  constexpr size_t first = 1'000'000'000;
  return node != nullptr ? first + cell_number(node) : 0;
}

const char *config_key(const ConfigNode *node) {
  return node != nullptr ? name_of(document_of(node), node) : nullptr;
}

// Asked for now and then only: made for size.
[[gnu::cold]] char *config_path(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  std::string path;
  const ConfigNode *line[66];  // deeper than any document
  size_t depth = 0;
  for (; config_node_parent(node) != nullptr; node = config_node_parent(node)) line[depth++] = node;
  while (depth > 0) {
    const ConfigNode *at = line[--depth];
    if (!path.empty()) path += '.';
    if (is_array(config_node_parent(at))) {
      path += std::to_string(int64_t{at->index});
    } else {
      path += config_key(at);
    }
  }
  char *copy = strdup(path.c_str());
  if (copy == nullptr) end_without_memory();
  return copy;
}
