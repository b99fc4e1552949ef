// Data and functions for building the model.
#ifndef TESSERA_REFERENCE_NETWORK_BUILD_H
#define TESSERA_REFERENCE_NETWORK_BUILD_H

#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <string_view>

#include "config/characters.h"
#include "config/report.h"
#include "network/model.h"

// A node that carries interfaces: a device, radio or modem.
struct Carrier {
  NetworkNode *node = nullptr;
  const char *prefix = nullptr;  // of the interface that comes with a tunnel device; null for other devices
  bool in_model = true;          // false for a device that is left out
  bool named = true;             // false for a VLAN whose base is not known yet
  bool visiting = false;         // used by name_vlan
};

struct Builder {
  const ConfigNode *root;
  ModelStore &store;
  std::deque<Carrier> carriers;                       // in model order
  std::map<const ConfigNode *, Carrier *> made_from;  // by the configuration node
  int32_t tunnels = 0;                                // number of IPsec tunnels so far
};

inline bool is_set(const char *string) {
  return string != nullptr && *string != '\0';
}

// The row of a table for that type; null when there is none.
template <typename Rows>
auto find_row(const Rows &rows, const char *type) -> decltype(&rows[0]) {
  if (type == nullptr) return nullptr;
  for (const auto &row : rows) {
    if (strcmp(row.type, type) == 0) return &row;
  }
  return nullptr;
}

// Reports an entry whose type is not in the table. `what` names the type and `outcome` says what is left out.
template <typename Rows>
void report_type(const ConfigNode *entry, const char *type, const char *what, const Rows &rows, const char *outcome) {
  std::string known;
  for (const auto &row : rows) known += std::string(" ") + row.type;
  if (is_set(type))
    config_report(config_lookup(entry, "type"), Rule::unknown_word, "unknown %s '%s', expected one of:%s; %s", what,
                  printable(type).c_str(), known.c_str(), outcome);
  else
    config_report(config_nearest(entry, "type"), Rule::unknown_word, "the %s is not set, expected one of:%s; %s", what,
                  known.c_str(), outcome);
}

// The strings as one, which belongs to the store.
const char *keep(ModelStore &store, std::string_view first, std::string_view second, std::string_view third = {});

// A new node of the store. It has no place in the tree yet.
NetworkNode &new_node(ModelStore &store, uint32_t type, uint32_t detail, const ConfigNode *config);

// Makes the node the last child of `parent`.
void append_child(NetworkNode &parent, NetworkNode &child);

// Puts the devices, radios and modems into the model, and gives names to the VLANs.
void place_carriers(Builder &build);

// The carrier that was made from that configuration node; null when there is none or it has another type.
Carrier *find_carrier(Builder &build, const ConfigNode *config, NetworkNodeType type);

// True for a device that is in the model and has a system name, so that daemons can bind to it. False for null.
bool is_usable(const Carrier *device);

#endif
