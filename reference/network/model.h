// The network model in memory: a tree of nodes.
#ifndef TESSERA_REFERENCE_NETWORK_MODEL_H
#define TESSERA_REFERENCE_NETWORK_MODEL_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "platform/network.h"

inline constexpr size_t node_type_count = NETWORK_NODE_MODEM + 1;

struct ModelStore;

struct NetworkNode {
  uint32_t type = NETWORK_NODE_ROOT;
  uint32_t detail = 0;                 // interface type of an interface or part, device type of a device
  const ConfigNode *config = nullptr;  // null for the root

  // Strings of the configuration, or of the store.
  const char *key = "";
  const char *name = "";
  const char *interface_name = nullptr;  // of interfaces and parts; null for all others

  NetworkNode *parent = nullptr;  // null for the root
  NetworkNode *first_child = nullptr;
  NetworkNode *last_child = nullptr;
  NetworkNode *next_sibling = nullptr;
  NetworkNode *next = nullptr;          // in depth-first order of the whole model
  NetworkNode *next_of_type = nullptr;  // the next node of the same type, in that order

  ModelStore *store = nullptr;  // only in the root; null in all other nodes
};

// The memory of a model.
struct ModelStore {
  std::deque<std::string> strings;
  std::deque<NetworkNode> nodes;                     // the first is the root
  NetworkNode *first_of_type[node_type_count] = {};  // in depth-first order
  // The first node of a type that was made from a configuration node. Empty until a search needs it.
  std::map<std::pair<uint32_t, const ConfigNode *>, const NetworkNode *> made_from;
};

#endif
