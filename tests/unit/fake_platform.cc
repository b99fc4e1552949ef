#include "fake_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "main/owned.h"

namespace fake {

std::unique_ptr<Platform> platform = std::make_unique<Platform>();

void reset() {
  platform = std::make_unique<Platform>();
}

namespace {

size_t last_id;

ConfigNode *child_of(const ConfigNode *node, const std::string &key) {
  for (const auto &child : node->children)
    if (child->key == key) return child.get();
  return nullptr;
}

// Walks `path` from `node`; what is missing is created or gives null.
ConfigNode *walk(ConfigNode *node, const char *path, bool create) {
  OwnedList keys(sl_split(is_set(path) ? path : nullptr, '.'));
  for (char **key = keys.get(); *key != nullptr && node != nullptr; key++) {
    ConfigNode *child = child_of(node, *key);
    if (child == nullptr && create) {
      node->children.push_back(
          std::make_unique<ConfigNode>(ConfigNode{*key, "", ++last_id + 1, node, node->children.size()}));
      child = node->children.back().get();
    }
    node = child;
  }
  return node;
}

const ConfigNode *find(const ConfigNode *node, const char *path) {
  return node != nullptr ? walk(const_cast<ConfigNode *>(node), path, false) : nullptr;
}

const ConfigNode *follow(const ConfigNode *reference) {
  if (reference == nullptr || reference->value.empty()) return nullptr;
  std::string path = reference->value;
  if (path[0] != '/') return find(&platform->tree, ("network.interface." + path).c_str());
  std::replace(path.begin(), path.end(), '/', '.');
  return find(&platform->tree, path.c_str() + 1);
}

const char *text(const ConfigNode *node, const char *absent = "") {
  return node != nullptr ? node->value.c_str() : absent;
}

int number(const char *digits) {
  return static_cast<int>(strtol(digits, nullptr, 10));
}

template <typename Node>
const Node *first_child(const Node *node) {
  return node != nullptr && !node->children.empty() ? node->children[0].get() : nullptr;
}

template <typename Node>
const Node *next_child(const Node *node) {
  if (node == nullptr || node->parent == nullptr || node->position + 1 >= node->parent->children.size()) return nullptr;
  return node->parent->children[node->position + 1].get();
}

const NetworkNode *next_in_order(const NetworkNode *scope, const NetworkNode *node) {
  if (const NetworkNode *child = first_child(node)) return child;
  for (; node != scope; node = node->parent)
    if (const NetworkNode *sibling = next_child(node)) return sibling;
  return nullptr;
}

int edit(const std::string &call) {
  platform->calls.push_back(call);
  return platform->edits_until_failure-- > 0 ? 0 : 1;
}

char *fact(const std::string &key) {
  auto found = platform->facts.find(key);
  return found != platform->facts.end() ? strdup(found->second.c_str()) : nullptr;
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char *key_format, va_list arguments) {
  char text[512];
  return vsnprintf(text, sizeof text, key_format, arguments) < 0 ? "" : text;
}

}  // namespace

const ConfigNode *set(const char *path, const char *value) {
  ConfigNode *node = walk(&platform->tree, path, true);
  node->value = value;
  return node;
}

std::string written(const std::function<void(FILE *)> &write) {
  char *text = nullptr;
  size_t size = 0;
  OwnedStream out(open_memstream(&text, &size));
  write(out.get());
  out.reset();
  return OwnedText(text).get();
}

NetworkNode *add(NetworkNode *parent, uint32_t type, uint32_t kind, const char *name, const char *config_path) {
  if (parent == nullptr) parent = &platform->model;
  const ConfigNode *config = config_path != nullptr ? find(&platform->tree, config_path) : nullptr;
  parent->children.push_back(std::make_unique<NetworkNode>(
      NetworkNode{type, kind, config != nullptr ? config->key : name, name, config, parent, parent->children.size()}));
  return parent->children.back().get();
}

}  // namespace fake

using fake::find;
using fake::platform;

#define FORMATTED(key, key_format)                          \
  va_list arguments;                                        \
  va_start(arguments, key_format);                          \
  std::string key = fake::formatted(key_format, arguments); \
  va_end(arguments)

// A function that does one thing has one line.
// clang-format off
const char *config_get_string(const ConfigNode *node, const char *path) {
  return fake::text(find(node, path), platform->absent_text);
}
bool config_get_bool(const ConfigNode *node, const char *path) {
  return strcmp(fake::text(find(node, path)), "true") == 0;
}
int32_t config_get_int(const ConfigNode *node, const char *path) { return fake::number(fake::text(find(node, path))); }
double config_get_number(const ConfigNode *node, const char *path) {
  return strtod(fake::text(find(node, path)), nullptr);
}
int32_t config_get_duration(const ConfigNode *node, const char *path) {
  return config_get_duration_ms(node, path) / 1000;
}
int32_t config_get_duration_ms(const ConfigNode *node, const char *path) { return config_get_int(node, path); }
char **config_get_string_list(const ConfigNode *node, const char *path) {
  char **list = _sl_new(0, 0);
  if (const ConfigNode *found = find(node, path))
    for (const auto &element : found->children) list = _sl_append(list, element->value.c_str(), 0);
  return list;
}
const ConfigNode *config_get_ref(const ConfigNode *node, const char *path) { return fake::follow(find(node, path)); }
bool config_has_key(const ConfigNode *object, const char *key) {
  return config_object_get(object, key) != nullptr;
}
bool config_object_has_key(const ConfigNode *node, const char *path, const char *key) {
  return config_has_key(find(node, path), key);
}
const ConfigNode *config_object(const ConfigNode *node, const char *path) { return config_lookup(node, path); }
const ConfigNode *config_object_first(const ConfigNode *object) { return fake::first_child(object); }
const ConfigNode *config_object_next(const ConfigNode *member) { return fake::next_child(member); }
const ConfigNode *config_object_get(const ConfigNode *object, const char *key) {
  return object != nullptr ? fake::child_of(object, key) : nullptr;
}
const char *config_string_get(const ConfigNode *leaf) {
  return fake::text(config_array_count(leaf) == 0 ? leaf : nullptr, nullptr);
}
int32_t config_int_get(const ConfigNode *leaf) { return fake::number(fake::text(leaf)); }
const ConfigNode *config_array(const ConfigNode *node, const char *path) { return config_lookup(node, path); }
size_t config_array_count(const ConfigNode *array) { return array != nullptr ? array->children.size() : 0; }
const ConfigNode *config_array_first(const ConfigNode *array) { return config_object_first(array); }
const ConfigNode *config_array_next(const ConfigNode *element) { return config_object_next(element); }
const char *config_array_get_string(const ConfigNode *array, size_t index) {
  return fake::text(config_array_object(array, index), nullptr);
}
const ConfigNode *config_array_get_ref(const ConfigNode *array, size_t index) {
  return fake::follow(config_array_object(array, index));
}
const ConfigNode *config_array_object(const ConfigNode *array, size_t index) {
  return index < config_array_count(array) ? array->children[index].get() : nullptr;
}
const ConfigNode *config_lookup(const ConfigNode *node, const char *path) { return find(node, path); }
const ConfigNode *config_node_get_root(const ConfigNode *node) { return node != nullptr ? &platform->tree : nullptr; }
const ConfigNode *config_node_parent(const ConfigNode *node) { return node != nullptr ? node->parent : nullptr; }
size_t config_node_id(const ConfigNode *node) { return node != nullptr ? node->id : 0; }
const char *config_key(const ConfigNode *node) { return node != nullptr ? node->key.c_str() : nullptr; }
char *config_path(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  std::string path = node->key;
  for (node = node->parent; node != nullptr && node->parent != nullptr; node = node->parent)
    path.insert(0, node->key + ".");
  return strdup(path.c_str());
}
const char *config_dump(const ConfigNode *node) { return config_key(node); }

NetworkModel *network_load(const ConfigNode *) { return platform->model_loads ? &platform->model : nullptr; }
void network_free(NetworkModel *) {}
const NetworkNode *network_first(const NetworkNode *node) { return fake::first_child(node); }
const NetworkNode *network_next_child(const NetworkNode *node) { return fake::next_child(node); }
const NetworkNode *network_first_type(const NetworkNode *scope, uint32_t type) {
  return network_next_type(scope, scope, type);
}
const NetworkNode *network_next_type(const NetworkNode *scope, const NetworkNode *current, uint32_t type) {
  if (scope == nullptr || current == nullptr) return nullptr;
  do current = fake::next_in_order(scope, current);
  while (current != nullptr && current->type != type);
  return current;
}
const NetworkNode *network_find_parent(const NetworkNode *node, uint32_t type) {
  if (node == nullptr) return nullptr;
  do node = node->parent;
  while (node != nullptr && node->type != type);
  return node;
}
const NetworkNode *network_find(const NetworkNode *scope, uint32_t type, const ConfigNode *config) {
  const NetworkNode *node = network_first_type(scope, type);
  while (node != nullptr && node->config != config) node = network_next_type(scope, node, type);
  return node;
}
const NetworkNode *network_find_device(const NetworkModel *model, const ConfigNode *config) {
  return network_find(model, NETWORK_NODE_DEVICE, config);
}
const NetworkNode *network_find_proto(const NetworkModel *model, const ConfigNode *config, const char *family) {
  const NetworkNode *interface = network_find(model, NETWORK_NODE_INTERFACE, config);
  const NetworkNode *part = fake::first_child(interface);
  if (part == nullptr) return interface;
  while (part != nullptr && part->name.compare(0, 4, family) != 0) part = fake::next_child(part);
  return part;
}
const ConfigNode *network_config(const NetworkNode *node) { return node != nullptr ? node->config : nullptr; }
const char *network_name(const NetworkNode *node) { return node != nullptr ? node->name.c_str() : nullptr; }
const char *network_key(const NetworkNode *node) { return node != nullptr ? node->key.c_str() : nullptr; }
const char *network_interface_name(const NetworkNode *node) { return network_name(node); }
uint32_t network_type(const NetworkNode *node) { return node != nullptr ? node->type : UINT32_MAX; }
uint32_t network_interface_type(const NetworkNode *node) { return node != nullptr ? node->kind : UINT32_MAX; }
uint32_t network_device_type(const NetworkNode *node) { return network_interface_type(node); }

int runt_init() { platform->calls.emplace_back("init"); return platform->store_opens ? 0 : 1; }
void runt_deinit() { platform->calls.emplace_back("deinit"); }
char *runt_get_string(const char *key) { return fake::fact(key); }
char *runt_get_string_pathf(const char *format, ...) { FORMATTED(key, format); return fake::fact(key); }
int32_t runt_get_int32(const char *key, int32_t fallback) {
  OwnedText value(fake::fact(key));
  return value != nullptr ? fake::number(value.get()) : fallback;
}
int32_t runt_get_int_pathf(int32_t fallback, const char *format, ...) {
  FORMATTED(key, format);
  return runt_get_int32(key.c_str(), fallback);
}
bool runt_get_bool(const char *key, bool fallback) {
  OwnedText value(fake::fact(key));
  return value != nullptr ? strcmp(value.get(), "true") == 0 : fallback;
}
char **runt_keys(const char *key) {
  const std::string prefix = std::string(key) + ".";
  OwnedList names;
  for (const auto &[path, value] : platform->facts) {
    const std::string name = path.substr(std::min(path.size(), prefix.size()), path.find('.', prefix.size()) - prefix.size());
    if (path.compare(0, prefix.size(), prefix) == 0 && !sl_find(names.get(), name.c_str())) append(names, name.c_str());
  }
  return names.release();
}
char **runt_keys_pathf(const char *format, ...) { FORMATTED(key, format); return runt_keys(key.c_str()); }
RuntEntry **runt_get_entries(const char *, int, int, int, int) { return nullptr; }
void runt_entries_free(RuntEntry **) {}
int runt_edit_start() { return fake::edit("start"); }
int runt_delete(const char *key) {
  std::erase_if(platform->facts, [prefix = std::string(key) + "."](const auto &row) {
    return (row.first + ".").compare(0, prefix.size(), prefix) == 0;
  });
  return fake::edit(std::string("delete ") + key);
}
int runt_set_string_pathf(const char *value, const char *format, ...) {
  FORMATTED(key, format);
  return fake::edit(key + "=" + value);
}
int runt_edit_commit() { return fake::edit("commit"); }
