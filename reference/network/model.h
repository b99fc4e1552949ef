// The network model in memory: one array of all nodes in depth-first order. A subtree is a range of the array, and a
// node refers to its parent and to the next node of its type by their distance in the array.
#ifndef TESSERA_REFERENCE_NETWORK_MODEL_H
#define TESSERA_REFERENCE_NETWORK_MODEL_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/network.h"

struct ModelStore;

struct NetworkNode {
  union {
    const ConfigNode *config;
    ModelStore *store;  // in the root, which has no configuration node
  };
  const char *key;
  const char *name;
  const char *prefix;          // of an interface or part: precedes `name` in the interface manager's name
  const char *interface_name;  // the interface manager's name; null until it is needed
  uint32_t up;                 // distance to the parent; 0 for the root
  uint32_t size;               // nodes of the subtree, this one included
  uint32_t next_of_type;       // distance to the next node of the same type; 0 for the last one
  uint8_t type;
  uint8_t detail;  // interface type of an interface or part, device type of a device
};

// Strings that live as long as the model.
class StringArena {
 public:
  // A new string of the three parts.
  char *join(std::string_view first, std::string_view second, std::string_view third = {});

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  char *next_ = nullptr;
  size_t left_ = 0;
};

constexpr size_t node_type_count = NETWORK_NODE_MODEM + 1;

struct ModelStore {
  std::vector<NetworkNode> nodes;                // the first is the root
  uint32_t first_of_type[node_type_count] = {};  // index; 0 for none
  StringArena strings;
  // For each configuration node, the index of the device, interface, radio or modem made from it; 0 for none. If a
  // device and an interface are made from one node, this is the device. The place is config_node_id minus lowest_id.
  // Empty until a search needs it.
  std::vector<uint32_t> made_from;
  size_t lowest_id = 0;
};

#endif
