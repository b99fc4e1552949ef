// Reads the network model: the operations of platform/network.h.
#include "network/model.h"

#include <algorithm>
#include <cstring>

char *StringArena::join(std::string_view first, std::string_view second, std::string_view third) {
  constexpr size_t block_size = 1024;
  const size_t length = first.size() + second.size() + third.size() + 1;
  if (length > left_) {
    left_ = std::max(length, block_size);
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(left_));
    next_ = blocks_.back().get();
  }
  char *const string = next_;
  for (const std::string_view piece : {first, second, third}) next_ = std::copy(piece.begin(), piece.end(), next_);
  *next_++ = '\0';
  left_ -= length;
  return string;
}

namespace {

ModelStore *store_of(const NetworkNode *node) {
  while (node->up != 0) node -= node->up;
  return node->store;
}

const NetworkNode *end_of(const NetworkNode *scope) {
  return scope + scope->size;
}

// The first node of that type in [node, end).
const NetworkNode *scan(const NetworkNode *node, const NetworkNode *end, uint32_t type) {
  while (node < end && node->type != type) ++node;
  return node < end ? node : nullptr;
}

bool has_interface_type(const NetworkNode *node) {
  return node->type == NETWORK_NODE_INTERFACE || node->type == NETWORK_NODE_PROTO;
}

// Fills the table of nodes by configuration node.
void fill_made_from(ModelStore &store) {
  store.made_from.resize(1);
  store.lowest_id = SIZE_MAX;
  for (size_t index = 1; index < store.nodes.size(); ++index)
    store.lowest_id = std::min(store.lowest_id, config_node_id(store.nodes[index].config));
  // Backwards, so that a device replaces the interface below it that is made from the same node.
  for (size_t index = store.nodes.size() - 1; index > 0; --index) {
    const NetworkNode &node = store.nodes[index];
    if (node.type == NETWORK_NODE_BRIDGE_PORT || node.type == NETWORK_NODE_BOND_SLAVE) continue;
    const size_t id = config_node_id(node.config) - store.lowest_id;
    if (id >= store.made_from.size()) store.made_from.resize(std::max(id + 1, store.made_from.size() * 2));
    store.made_from[id] = static_cast<uint32_t>(index);
  }
}

// The node of `type` that was made from `config`; null when there is none. Not for ports and slaves: several of them
// may be made from one node.
const NetworkNode *find_made_from(ModelStore &store, uint32_t type, const ConfigNode *config) {
  if (store.made_from.empty()) fill_made_from(store);
  const size_t id = config_node_id(config) - store.lowest_id;
  if (id >= store.made_from.size() || store.made_from[id] == 0) return nullptr;
  const NetworkNode *node = &store.nodes[store.made_from[id]];
  if (node->config != config) return nullptr;
  if (node->type != type && node->size > 1 && node[1].config == config) ++node;
  return node->type == type ? node : nullptr;
}

}  // namespace

void network_free(NetworkModel *model) {
  if (model != nullptr) delete model->store;
}

const NetworkNode *network_first(const NetworkNode *node) {
  return node != nullptr && node->size > 1 ? node + 1 : nullptr;
}

const NetworkNode *network_next_child(const NetworkNode *node) {
  if (node == nullptr || node->up == 0) return nullptr;
  const NetworkNode *next = end_of(node);
  return next < end_of(node - node->up) ? next : nullptr;
}

const NetworkNode *network_first_type(const NetworkNode *scope, uint32_t type) {
  if (scope == nullptr || type >= node_type_count) return nullptr;
  if (scope->up != 0) return scan(scope + 1, end_of(scope), type);
  const uint32_t first = scope->store->first_of_type[type];
  return first != 0 ? scope + first : nullptr;
}

const NetworkNode *network_next_type(const NetworkNode *scope, const NetworkNode *current, uint32_t type) {
  if (scope == nullptr || current == nullptr) return nullptr;
  if (current->type != type) return scan(current + 1, end_of(scope), type);
  if (current->next_of_type == 0) return nullptr;
  const NetworkNode *next = current + current->next_of_type;
  return next < end_of(scope) ? next : nullptr;
}

const NetworkNode *network_find_parent(const NetworkNode *node, uint32_t type) {
  while (node != nullptr && node->up != 0) {
    node -= node->up;
    if (node->type == type) return node;
  }
  return nullptr;
}

const NetworkNode *network_find(const NetworkNode *scope, uint32_t type, const ConfigNode *config) {
  if (config == nullptr) return nullptr;
  const NetworkNode *node = network_first_type(scope, type);
  if (node != nullptr && scope->up == 0 && type != NETWORK_NODE_BRIDGE_PORT && type != NETWORK_NODE_BOND_SLAVE)
    return find_made_from(*scope->store, type, config);
  while (node != nullptr && node->config != config) node = network_next_type(scope, node, type);
  return node;
}

const NetworkNode *network_find_device(const NetworkModel *model, const ConfigNode *config) {
  return network_find(model, NETWORK_NODE_DEVICE, config);
}

const NetworkNode *network_find_proto(const NetworkModel *model, const ConfigNode *config, const char *family) {
  if (family == nullptr || (strcmp(family, "ipv4") != 0 && strcmp(family, "ipv6") != 0)) return nullptr;
  const NetworkNode *interface = network_find(model, NETWORK_NODE_INTERFACE, config);
  if (interface == nullptr) return nullptr;
  if (interface->detail != NETWORK_INTERFACE_ETHERNET && interface->detail != NETWORK_INTERFACE_PASSTHROUGH)
    return interface;
  const NetworkNode *part = network_first(interface);
  while (part != nullptr && strcmp(part->key, family) != 0) part = network_next_child(part);
  return part;
}

const ConfigNode *network_config(const NetworkNode *node) {
  return node != nullptr && node->up != 0 ? node->config : nullptr;
}

const char *network_name(const NetworkNode *node) {
  return node != nullptr ? node->name : nullptr;
}

const char *network_key(const NetworkNode *node) {
  return node != nullptr ? node->key : nullptr;
}

const char *network_interface_name(const NetworkNode *node) {
  if (node == nullptr || !has_interface_type(node)) return nullptr;
  if (node->interface_name == nullptr) {
    ModelStore *store = store_of(node);
    const auto index = node - store->nodes.data();
    store->nodes[static_cast<size_t>(index)].interface_name = store->strings.join(node->prefix, node->name);
  }
  return node->interface_name;
}

uint32_t network_type(const NetworkNode *node) {
  return node != nullptr ? node->type : UINT32_MAX;
}

uint32_t network_interface_type(const NetworkNode *node) {
  return node != nullptr && has_interface_type(node) ? node->detail : UINT32_MAX;
}

uint32_t network_device_type(const NetworkNode *node) {
  return node != nullptr && node->type == NETWORK_NODE_DEVICE ? node->detail : UINT32_MAX;
}
