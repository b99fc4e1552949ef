// What building the model needs while it goes on.
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

// Indexes of the first and last element of a chain through a vector.
struct Queue {
  uint32_t first = none;
  uint32_t last = none;
};

// A device, radio or modem: what interfaces lie below.
struct Carrier {
  const ConfigNode *config;
  size_t id;  // number of that node
  const char *key;
  const char *name;      // of a VLAN null until its base is known
  const char *prefix;    // for the interface that a tunnel device holds by itself; null for other devices
  Queue below;           // its interfaces; of a radio its devices
  uint32_t next = none;  // the next device of the same radio
  NetworkNodeType type;
  NetworkDeviceType device_type;
  bool in_model = true;
  bool in_radio = false;
  bool visiting = false;  // while the base devices of a VLAN are followed
};

enum class PartRule { without, by_type, passthrough };

// What an entry of network.interface becomes.
struct InterfaceKind {
  const char *type;
  NetworkInterfaceType interface_type;
  PartRule parts;
};

// An interface that has no node yet.
struct QueuedInterface {
  const ConfigNode *config;
  const InterfaceKind *kind;
  uint32_t next;
};

// The carriers of one source, from `begin` to before `end`. They are in the order of the document, so their numbers
// grow, and those of two sources do not mix.
struct Stretch {
  size_t begin;
  size_t end;
};

struct Builder {
  const ConfigNode *root;
  ModelStore &store;
  std::vector<Carrier> carriers;
  std::vector<Stretch> stretches;  // one per source that has carriers
  std::vector<QueuedInterface> interfaces;
  Queue unplaced;       // interfaces without a device or modem
  int32_t tunnels = 0;  // IPsec tunnels so far
  uint32_t last_of_type[kNodeTypes] = {};
};

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

// The row of a table for that type; null when it has none.
template <typename Rows>
auto find_row(const Rows &rows, const char *type) -> decltype(&rows[0]) {
  for (const auto &row : rows)
    if (type != nullptr && std::string_view(row.type) == type) return &row;
  return nullptr;
}

// Reports that an entry without a type of the table is left out.
template <typename Rows>
void report_type(const ConfigNode *entry, const char *type, const char *what, const Rows &rows, const char *outcome) {
  std::string known;
  for (const auto &row : rows) known += std::string(" ") + row.type;
  if (is_set(type))
    config_report(config_lookup(entry, "type"), Rule::unknown_word, "unknown %s '%s', expected one of:%s; %s", what,
                  printable(type).c_str(), known.c_str(), outcome);
  else
    config_report(config_nearest(entry, "type"), Rule::unknown_word, "there is no %s, expected one of:%s; %s", what,
                  known.c_str(), outcome);
}

// Collects the devices, radios and modems in model order, names the VLANs and puts devices in radios.
void collect_carriers(Builder &build);

// The carrier made from that configuration node, when it is of that type; null otherwise.
Carrier *find_carrier(Builder &build, const ConfigNode *config, NetworkNodeType type);

// True for a device that daemons can bind to: it is in the model and the system has a name for it.
bool is_usable(const Carrier *device);

#endif
