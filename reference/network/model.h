// The network model in memory: all nodes in one array in depth-first order, so that a subtree is a range of it and
// parents, siblings and the next node of a type are found by distances within the array.
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
    ModelStore *store;  // of the root, which is made from no configuration node
  };
  const char *key;
  const char *name;
  const char *prefix;          // of an interface or part: what the interface manager's name has before `name`
  const char *interface_name;  // null until it is asked for
  uint32_t up;                 // distance to the parent; 0 for the root
  uint32_t size;               // nodes of the subtree, this one included
  uint32_t next_of_type;       // distance to the next node of the same type; 0 for the last one
  uint8_t type;
  uint8_t detail;  // interface type of an interface or part, device type of a device
};

// Strings that live as long as the model.
class StringArena {
 public:
  char *join(std::string_view first, std::string_view second, std::string_view third = {});

 private:
  std::vector<std::unique_ptr<char[]>> blocks_;
  char *next_ = nullptr;
  size_t left_ = 0;
};

constexpr size_t kNodeTypes = NETWORK_NODE_MODEM + 1;

struct ModelStore {
  std::vector<NetworkNode> nodes;           // the first is the root
  uint32_t first_of_type[kNodeTypes] = {};  // index; 0 for none
  StringArena strings;
  // Index of the device, interface, radio or modem made from a configuration node, by the number of that node less
  // the lowest; 0 for none. Of a device and the interface made from the same node it is the device. Empty until a
  // search needs it.
  std::vector<uint32_t> made_from;
  size_t lowest_id = 0;
};

#endif
