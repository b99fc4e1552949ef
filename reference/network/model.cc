// Reads the network model: the operations of platform/network.h.
#include "network/model.h"

#include <cstring>

#include "platform/ranges.h"

namespace {

bool has_interface_type(const NetworkNode *node) {
  return node->type == NETWORK_NODE_INTERFACE || node->type == NETWORK_NODE_PROTO;
}

// The node itself if it is below `scope` at any depth; null otherwise.
const NetworkNode *if_below(const NetworkNode *scope, const NetworkNode *node) {
  const NetworkNode *above = node != nullptr ? node->parent : nullptr;
  while (above != nullptr && above != scope) above = above->parent;
  return above != nullptr ? node : nullptr;
}

// The first node of that type from `node` on that is below `scope`, in depth-first order.
const NetworkNode *find_from(const NetworkNode *node, const NetworkNode *scope, uint32_t type) {
  while (if_below(scope, node) != nullptr && node->type != type) node = node->next;
  return if_below(scope, node);
}

const NetworkNode *find_made_from(const NetworkModel *model, uint32_t type, const ConfigNode *config) {
  auto &made_from = model->store->made_from;
  if (made_from.empty()) {
    for (const NetworkNode *node = model->next; node != nullptr; node = node->next)
      made_from.emplace(std::pair(node->type, node->config), node);
  }
  const auto found = made_from.find({type, config});
  return found != made_from.end() ? found->second : nullptr;
}

}  // namespace

void network_free(NetworkModel *model) {
  if (model != nullptr) delete model->store;
}

const NetworkNode *network_first(const NetworkNode *node) {
  return node != nullptr ? node->first_child : nullptr;
}

const NetworkNode *network_next_child(const NetworkNode *node) {
  return node != nullptr ? node->next_sibling : nullptr;
}

const NetworkNode *network_first_type(const NetworkNode *scope, uint32_t type) {
  if (scope == nullptr || type >= node_type_count) return nullptr;
  if (scope->store != nullptr) return scope->store->first_of_type[type];
  return find_from(scope->next, scope, type);
}

const NetworkNode *network_next_type(const NetworkNode *scope, const NetworkNode *current, uint32_t type) {
  if (scope == nullptr || current == nullptr) return nullptr;
  if (current->type == type) return if_below(scope, current->next_of_type);
  return find_from(current->next, scope, type);
}

const NetworkNode *network_find_parent(const NetworkNode *node, uint32_t type) {
  if (node == nullptr) return nullptr;
  const NetworkNode *above = node->parent;
  while (above != nullptr && above->type != type) above = above->parent;
  return above;
}

const NetworkNode *network_find(const NetworkNode *scope, uint32_t type, const ConfigNode *config) {
  if (scope == nullptr || config == nullptr) return nullptr;
  if (scope->store != nullptr) return find_made_from(scope, type, config);
  for (const NetworkNode *node : nodes_of_type(scope, type)) {
    if (node->config == config) return node;
  }
  return nullptr;
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
  for (const NetworkNode *part : children(interface)) {
    if (strcmp(part->key, family) == 0) return part;
  }
  return nullptr;
}

const ConfigNode *network_config(const NetworkNode *node) {
  return node != nullptr ? node->config : nullptr;
}

const char *network_name(const NetworkNode *node) {
  return node != nullptr ? node->name : nullptr;
}

const char *network_key(const NetworkNode *node) {
  return node != nullptr ? node->key : nullptr;
}

const char *network_interface_name(const NetworkNode *node) {
  return node != nullptr ? node->interface_name : nullptr;
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
