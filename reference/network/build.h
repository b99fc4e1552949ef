// Data and functions for building the model.
#ifndef TESSERA_REFERENCE_NETWORK_BUILD_H
#define TESSERA_REFERENCE_NETWORK_BUILD_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/characters.h"
#include "config/report.h"
#include "network/model.h"

inline constexpr uint32_t none = UINT32_MAX;

// A queue linked through the elements of a vector: the indexes of its first and last element.
struct Queue {
  uint32_t first = none;
  uint32_t last = none;
};

// A node that carries interfaces: a device, radio or modem.
struct Carrier {
  const ConfigNode *config;
  size_t id;  // config_node_id of that node
  const char *key;
  const char *name;      // null for a VLAN until its base is known
  const char *prefix;    // of the interface that comes with a tunnel device; null for other devices
  Queue below;           // its interfaces; for a radio, its devices
  uint32_t next = none;  // the next device of the same radio
  NetworkNodeType type;
  NetworkDeviceType device_type;
  bool in_model = true;
  bool in_radio = false;
  bool visiting = false;  // used by name_vlan
};

// The protocol parts of an interface: none, by the type of the part, or parts of a passthrough interface.
enum class PartRule { without, by_type, passthrough };

// A type of entry of network.interface.
struct InterfaceKind {
  const char *type;
  NetworkInterfaceType interface_type;
  PartRule parts;
};

// An interface that has no node yet.
struct QueuedInterface {
  const ConfigNode *config;
  const InterfaceKind *kind;
  uint32_t next;  // in the queue of its carrier
};

// The carriers of one source: indexes from `begin` up to, but without, `end`. Their IDs increase, and the ranges of IDs
// of two stretches do not overlap.
struct Stretch {
  size_t begin;
  size_t end;
};

struct Builder {
  const ConfigNode *root;
  ModelStore &store;
  std::vector<Carrier> carriers;
  std::vector<Stretch> stretches;  // one for each source that has carriers
  std::vector<QueuedInterface> interfaces;
  Queue unplaced;       // interfaces without a device or modem
  int32_t tunnels = 0;  // number of IPsec tunnels so far
  uint32_t last_of_type[node_type_count] = {};
};

// Appends the element with that index to the queue.
template <typename Element>
void enqueue(Queue &queue, std::vector<Element> &elements, uint32_t index) {
  if (queue.first == none)
    queue.first = index;
  else
    elements[queue.last].next = index;
  queue.last = index;
}

inline bool is_set(const char *string) {
  return string != nullptr && *string != '\0';
}

// The row of a table for that type; null when there is none.
template <typename Rows>
auto find_row(const Rows &rows, const char *type) -> decltype(&rows[0]) {
  for (const auto &row : rows)
    if (type != nullptr && std::string_view(row.type) == type) return &row;
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

// Collects the devices, radios and modems in model order, gives names to the VLANs and puts devices into radios.
void collect_carriers(Builder &build);

// The carrier that was made from that configuration node; null when there is none or it has another type.
Carrier *find_carrier(Builder &build, const ConfigNode *config, NetworkNodeType type);

// True for a device that is in the model and has a system name, so that daemons can bind to it. False for null.
bool is_usable(const Carrier *device);

#endif
