// Building the network model from the configuration tree.
//
// Three steps: the places that interfaces lie below (devices, radios, modems) are collected in model order; then each
// interface entry is queued at its place, so that no search per device is needed; then all nodes are laid down in
// depth-first order.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "config/characters.h"
#include "config/report.h"
#include "network/model.h"
#include "network/rules.h"

namespace {

constexpr uint32_t none = UINT32_MAX;

// Indexes of the first and last element of a chain through a vector.
struct Queue {
  uint32_t first = none;
  uint32_t last = none;
};

// Something that interfaces lie below.
struct Place {
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
  char type[12];  // "" ends the table
  NetworkInterfaceType interface_type;
  PartRule parts;
};

constexpr InterfaceKind interface_kinds[] = {
    {"ethernet", NETWORK_INTERFACE_ETHERNET, PartRule::by_type},
    {"passthrough", NETWORK_INTERFACE_PASSTHROUGH, PartRule::passthrough},
    {"modem", NETWORK_INTERFACE_MODEM, PartRule::without},
    {"pppoe", NETWORK_INTERFACE_PPPOE, PartRule::without},
    {"hotspot", NETWORK_INTERFACE_HOTSPOT, PartRule::without},
    {"wisun", NETWORK_INTERFACE_WISUN, PartRule::without},
    {"dialin", NETWORK_INTERFACE_DIALIN, PartRule::without},
    {"", NETWORK_INTERFACE_ETHERNET, PartRule::without},
};

struct PartKind {
  char type[18];  // "" ends the table
  NetworkInterfaceType interface_type;
};

constexpr PartKind ipv4_kinds[] = {
    {"static", NETWORK_INTERFACE_STATIC},
    {"dhcp", NETWORK_INTERFACE_DHCP},
    {"hybrid", NETWORK_INTERFACE_HYBRID},
    {"", NETWORK_INTERFACE_STATIC},
};
constexpr PartKind ipv6_kinds[] = {
    {"dhcpv6", NETWORK_INTERFACE_DHCPV6},
    {"prefix_delegation", NETWORK_INTERFACE_PREFIX_DELEGATION},
    {"", NETWORK_INTERFACE_DHCPV6},
};

struct Family {
  const char *key;
  const char *prefix;
  const PartKind *kinds;
  NetworkInterfaceType passthrough;
};

constexpr Family families[] = {
    {"ipv4", "ipv4_interface_", ipv4_kinds, NETWORK_INTERFACE_PASSTHROUGH4},
    {"ipv6", "ipv6_interface_", ipv6_kinds, NETWORK_INTERFACE_PASSTHROUGH6},
};

struct Pending {
  const ConfigNode *config;
  const InterfaceKind *kind;
  uint32_t next;
};

// The places of one source, from `begin` to before `end`. They are in the order of the document, so their numbers grow,
// and those of two runs do not mix.
struct Run {
  size_t begin;
  size_t end;
};

struct Builder {
  const ConfigNode *root;
  const ConfigNode *network;
  const ConfigNode *vpn;
  ModelStore &store;
  std::vector<Place> places;
  std::vector<Run> runs;  // one per source that has places
  std::vector<Pending> interfaces;
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

// The row of a table for that type; null when it has none.
template <typename Row>
const Row *find_row(const Row *row, const char *type) {
  if (type == nullptr) return nullptr;
  while (*row->type != '\0' && strcmp(row->type, type) != 0) ++row;
  return *row->type != '\0' ? row : nullptr;
}

bool set(const char *text) {
  return text != nullptr && *text != '\0';
}

std::string_view decimal(char (&buffer)[12], int32_t number) {
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, int64_t{number}).ptr};
}

// Step 1: places.

// Where the entries of a source are; a path of its own would cost each source another search from the root.
enum class Area { network, vpn };

struct Source {
  Area area;
  const char *path;  // within the area
  void (*add)(Builder &build, const ConfigNode *entry, const Source &source);
  NetworkNodeType type;
  NetworkDeviceType device_type;  // of devices
  const char *prefix;             // as in Place
};

Place &add_place(Builder &build, const ConfigNode *entry, const Source &source) {
  const char *key = config_key(entry);
  return build.places.emplace_back(Place{.config = entry,
                                         .id = config_node_id(entry),
                                         .key = key,
                                         .name = key,
                                         .prefix = source.prefix,
                                         .below = {},
                                         .type = source.type,
                                         .device_type = source.device_type});
}

void add_plain(Builder &build, const ConfigNode *entry, const Source &source) {
  add_place(build, entry, source);
}

// Reports that an entry without a type of the table is left out.
template <typename Row>
void report_type(const ConfigNode *entry, const char *type, const char *what, const Row *row, const char *outcome) {
  std::string known;
  for (; *row->type != '\0'; ++row) known += std::string(" ") + row->type;
  if (set(type))
    config_report(config_lookup(entry, "type"), Grade::ignored, "unknown %s '%s', expected one of:%s; %s", what,
                  printable(type).c_str(), known.c_str(), outcome);
  else
    config_report(written(entry, "type"), Grade::ignored, "there is no %s, expected one of:%s; %s", what, known.c_str(),
                  outcome);
}

void add_hardware(Builder &build, const ConfigNode *entry, const Source &source) {
  struct Row {
    char type[13];
    NetworkDeviceType device_type;
  };
  static constexpr Row rows[] = {
      {"ethernet", NETWORK_DEVICE_ETHERNET}, {"usb_ethernet", NETWORK_DEVICE_ETHERNET},
      {"loopback", NETWORK_DEVICE_LOOPBACK}, {"vnet", NETWORK_DEVICE_VNET},
      {"", NETWORK_DEVICE_ETHERNET},
  };
  Place &place = add_place(build, entry, source);
  const char *type = config_get_string(entry, "type");
  const char *name = config_get_string(entry, "name");
  const Row *row = find_row(rows, type);
  if (row == nullptr) {
    report_type(entry, type, "device type", rows, "the device is left out");
    place.in_model = false;
  } else {
    place.device_type = row->device_type;
  }
  if (set(name))
    place.name = name;
  else if (row == &rows[1])
    place.name = "";  // the adapter is not plugged in
}

void add_vlan(Builder &build, const ConfigNode *entry, const Source &source) {
  add_place(build, entry, source).name = nullptr;
}

void add_l2tpeth_sessions(Builder &build, const ConfigNode *tunnel, const Source &source) {
  const ConfigNode *session = config_object_first(config_object(tunnel, "session"));
  for (; session != nullptr; session = config_object_next(session)) {
    Place &place = add_place(build, session, source);
    place.name = build.store.texts.join(config_key(tunnel), "_", place.key);
  }
}

void add_openvpn(Builder &build, const ConfigNode *entry, const Source &source) {
  add_place(build, entry, source).in_model = config_get_bool(entry, "enable");
}

void add_ipsec_tunnel(Builder &build, const ConfigNode *entry, const Source &source) {
  char number[12];
  add_place(build, entry, source).name = build.store.texts.join("ipsec", decimal(number, ++build.tunnels));
}

// In model order.
constexpr Source sources[] = {
    {Area::network, "device", add_hardware, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, nullptr},
    {Area::network, "radio", add_plain, NETWORK_NODE_RADIO, NETWORK_DEVICE_WLAN, nullptr},
    {Area::network, "wlan", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WLAN, nullptr},
    {Area::network, "vlan", add_vlan, NETWORK_NODE_DEVICE, NETWORK_DEVICE_VLAN, nullptr},
    {Area::network, "bridge", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_BRIDGE, nullptr},
    {Area::network, "bond", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_BOND, nullptr},
    {Area::network, "macsec", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_MACSEC, nullptr},
    {Area::network, "vrrp", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_VRRP, nullptr},
    {Area::network, "wisun", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WISUN, nullptr},
    {Area::vpn, "iptunnel", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_IPTUNNEL, nullptr},
    {Area::vpn, "l2tpeth", add_l2tpeth_sessions, NETWORK_NODE_DEVICE, NETWORK_DEVICE_L2TPETH, nullptr},
    {Area::vpn, "wireguard", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WIREGUARD, nullptr},
    {Area::vpn, "openvpn.client", add_openvpn, NETWORK_NODE_DEVICE, NETWORK_DEVICE_OPENVPN, "openvpn_client_"},
    {Area::vpn, "openvpn.server", add_openvpn, NETWORK_NODE_DEVICE, NETWORK_DEVICE_OPENVPN, "openvpn_server_"},
    {Area::vpn, "ipsec.tunnel", add_ipsec_tunnel, NETWORK_NODE_DEVICE, NETWORK_DEVICE_IPSEC, ""},
    {Area::network, "modem", add_plain, NETWORK_NODE_MODEM, NETWORK_DEVICE_ETHERNET, nullptr},
};

void collect_places(Builder &build) {
  build.places.reserve(32);
  build.runs.reserve(std::size(sources));
  for (const Source &source : sources) {
    const size_t begin = build.places.size();
    const ConfigNode *entry =
        config_object_first(config_object(source.area == Area::network ? build.network : build.vpn, source.path));
    for (; entry != nullptr; entry = config_object_next(entry)) source.add(build, entry, source);
    if (build.places.size() > begin) build.runs.push_back({begin, build.places.size()});
  }
}

// The place made from that configuration node, when it is of that type; null otherwise.
Place *find_place(Builder &build, const ConfigNode *config, NetworkNodeType type) {
  if (config == nullptr) return nullptr;
  const size_t id = config_node_id(config);
  for (const Run &run : build.runs) {
    Place *begin = &build.places[run.begin];
    Place *end = begin + (run.end - run.begin);
    if (id < begin->id || id > end[-1].id) continue;
    Place *place = std::lower_bound(begin, end, id, [](const Place &each, size_t wanted) { return each.id < wanted; });
    return place->id == id && place->type == type ? place : nullptr;
  }
  return nullptr;
}

Place *base_of(Builder &build, const Place *vlan) {
  return find_place(build, config_get_ref(vlan->config, "device"), NETWORK_NODE_DEVICE);
}

void leave_out_vlan(Place *vlan, const char *reason) {
  config_report(written(vlan->config, "device"), Grade::ignored, "the VLAN is left out: %s", reason);
  vlan->name = "";
  vlan->in_model = false;
}

// Names the VLAN and those it stands on, or leaves them out. `chain` is scratch space.
void name_vlan(Builder &build, Place *vlan, std::vector<Place *> &chain) {
  Place *base = vlan;
  while (base != nullptr && base->name == nullptr && !base->visiting) {
    base->visiting = true;
    chain.push_back(base);
    base = base_of(build, base);
  }
  // Where a circle was entered; its members are at the end of the chain.
  const Place *circle = base != nullptr && base->visiting ? base : nullptr;
  for (; !chain.empty(); chain.pop_back()) {
    Place *place = chain.back();
    place->visiting = false;
    char id[12];
    if (base == nullptr)
      leave_out_vlan(place, "it has no base device");
    else if (circle != nullptr)
      leave_out_vlan(place, "its base device leads back to itself");
    else if (!base->in_model)
      leave_out_vlan(place, "its base device is left out");
    else
      place->name = build.store.texts.join(base->name, ".", decimal(id, config_get_int(place->config, "id")));
    if (place == circle) circle = nullptr;
    base = place;
  }
}

void name_vlans(Builder &build) {
  std::vector<Place *> chain;
  for (Place &place : build.places)
    if (place.name == nullptr) name_vlan(build, &place, chain);
}

void put_devices_in_radios(Builder &build) {
  for (uint32_t index = 0; index < build.places.size(); ++index) {
    Place &place = build.places[index];
    if (place.type != NETWORK_NODE_DEVICE || place.device_type != NETWORK_DEVICE_WLAN) continue;
    Place *radio = find_place(build, config_get_ref(place.config, "radio"), NETWORK_NODE_RADIO);
    if (radio == nullptr) continue;
    place.in_radio = true;
    enqueue(radio->below, build.places, index);
  }
}

// Step 2: interfaces.

// A device that daemons can bind to: it is in the model and the system has a name for it.
bool usable(const Place *device) {
  return device != nullptr && device->in_model && *device->name != '\0';
}

void queue_interface(Builder &build, const ConfigNode *modems, const ConfigNode *entry) {
  const char *type = config_get_string(entry, "type");
  const InterfaceKind *kind = find_row(interface_kinds, type);
  // The writer of PPPoE interfaces has something to say about a disabled one too.
  const bool kept_disabled = kind != nullptr && kind->interface_type == NETWORK_INTERFACE_PPPOE;
  if (!kept_disabled && !config_get_bool(entry, "enable")) return;
  if (kind == nullptr) {
    report_type(entry, type, "interface type", interface_kinds, "the interface is left out");
    return;
  }
  Place *place;
  if (kind->interface_type == NETWORK_INTERFACE_MODEM) {
    const char *modem = config_get_string(entry, "modem.device");
    place = set(modem) ? find_place(build, config_object_get(modems, modem), NETWORK_NODE_MODEM) : nullptr;
  } else {
    place = find_place(build, config_get_ref(entry, "device"), NETWORK_NODE_DEVICE);
    if (!usable(place)) place = nullptr;
  }
  build.interfaces.push_back({entry, kind, none});
  enqueue(place != nullptr ? place->below : build.unplaced, build.interfaces,
          static_cast<uint32_t>(build.interfaces.size() - 1));
}

void queue_interfaces(Builder &build) {
  const ConfigNode *modems = config_object(build.network, "modem");
  const ConfigNode *entry = config_object_first(config_object(build.network, "interface"));
  for (; entry != nullptr; entry = config_object_next(entry)) queue_interface(build, modems, entry);
}

// Step 3: nodes.

struct NewNode {
  const ConfigNode *config;
  const char *key;
  const char *name;
  int type;
  int detail = 0;
  const char *prefix = nullptr;
};

// Appends a node below `parent` and returns its index; `close` ends it after its last descendant.
uint32_t open(Builder &build, uint32_t parent, const NewNode &node) {
  ModelStore &store = build.store;
  const auto index = static_cast<uint32_t>(store.nodes.size());
  uint32_t &last = build.last_of_type[node.type];
  if (last != 0)
    store.nodes[last].next_of_type = index - last;
  else
    store.first_of_type[node.type] = index;
  last = index;
  store.nodes.push_back({.config = node.config,
                         .key = node.key,
                         .name = node.name,
                         .prefix = node.prefix,
                         .interface_name = nullptr,
                         .up = index - parent,
                         .size = 1,
                         .next_of_type = 0,
                         .type = static_cast<uint8_t>(node.type),
                         .detail = static_cast<uint8_t>(node.detail)});
  return index;
}

void close(Builder &build, uint32_t index) {
  build.store.nodes[index].size = static_cast<uint32_t>(build.store.nodes.size()) - index;
}

void lay_part(Builder &build, uint32_t parent, const Pending &interface, const Family &family) {
  const ConfigNode *part = config_object_get(interface.config, family.key);
  if (!config_get_bool(part, "enable")) return;
  int detail = family.passthrough;
  if (interface.kind->parts == PartRule::by_type) {
    const char *type = config_get_string(part, "type");
    const PartKind *kind = find_row(family.kinds, type);
    if (kind == nullptr) {
      report_type(part, type, (std::string(family.key) + " type").c_str(), family.kinds, "it is left out");
      return;
    }
    detail = kind->interface_type;
  }
  open(build, parent, {part, family.key, build.store.nodes[parent].name, NETWORK_NODE_PROTO, detail, family.prefix});
}

void lay_interfaces(Builder &build, uint32_t parent, const Queue &queue) {
  for (uint32_t next = queue.first; next != none; next = build.interfaces[next].next) {
    const Pending &interface = build.interfaces[next];
    const char *key = config_key(interface.config);
    const uint32_t node =
        open(build, parent,
             {interface.config, key, key, NETWORK_NODE_INTERFACE, interface.kind->interface_type, "interface_"});
    if (interface.kind->parts != PartRule::without)
      for (const Family &family : families) lay_part(build, node, interface, family);
    close(build, node);
  }
}

// The dotted form of a path reference: "/network/device/eth1" gives "network.device.eth1".
const char *dotted(Builder &build, const char *reference) {
  char *text = build.store.texts.join(*reference == '/' ? reference + 1 : reference, {});
  for (char *next = strchr(text, '/'); next != nullptr; next = strchr(next, '/')) *next = '.';
  return text;
}

void lay_members(Builder &build, uint32_t parent, const Place &place, int type) {
  const ConfigNode *members = config_array(place.config, "device");
  const size_t count = config_array_count(members);
  for (size_t index = 0; index < count; ++index) {
    const ConfigNode *config = config_array_get_ref(members, index);
    const Place *member = find_place(build, config, NETWORK_NODE_DEVICE);
    if (usable(member))
      open(build, parent, {config, dotted(build, config_array_get_string(members, index)), member->name, type});
  }
}

void lay_place(Builder &build, const Place &place) {
  const uint32_t parent = place.in_radio ? build.last_of_type[NETWORK_NODE_RADIO] : 0;
  const uint32_t node = open(build, parent, {place.config, place.key, place.name, place.type, place.device_type});
  if (place.type == NETWORK_NODE_RADIO) {
    for (uint32_t next = place.below.first; next != none; next = build.places[next].next)
      lay_place(build, build.places[next]);
  } else {
    if (place.device_type == NETWORK_DEVICE_BRIDGE) lay_members(build, node, place, NETWORK_NODE_BRIDGE_PORT);
    if (place.device_type == NETWORK_DEVICE_BOND) lay_members(build, node, place, NETWORK_NODE_BOND_SLAVE);
    if (place.prefix != nullptr) {
      const bool ipsec = place.device_type == NETWORK_DEVICE_IPSEC;
      open(build, node,
           {place.config, place.key, place.key, NETWORK_NODE_INTERFACE,
            ipsec ? NETWORK_INTERFACE_IPSEC : NETWORK_INTERFACE_OPENVPN, place.prefix});
    }
    lay_interfaces(build, node, place.below);
  }
  close(build, node);
}

// Interfaces that belong to no device, after those of network.interface.
struct LooseSource {
  char path[13];
  char member[11];  // what the interface is made from; "": the entry itself
  NetworkInterfaceType type;
  char prefix[10];
};

constexpr LooseSource loose_sources[] = {
    {"vpn.nemo", "", NETWORK_INTERFACE_NEMO, "nemo_"},
    {"vpn.l2tp.lac", "", NETWORK_INTERFACE_PPPOL2TP, "l2tp_lac_"},
    {"vpn.l2tp.lns", "", NETWORK_INTERFACE_PPPOL2TP, "l2tp_lns_"},
    {"serial", "ppp_dialin", NETWORK_INTERFACE_PPP_DIALIN, "ppp_"},
};

void lay_loose_interfaces(Builder &build, const LooseSource &source) {
  const ConfigNode *entry = config_object_first(config_object(build.root, source.path));
  for (; entry != nullptr; entry = config_object_next(entry)) {
    const ConfigNode *config = set(source.member) ? config_object(entry, source.member) : entry;
    if (config == nullptr) continue;
    open(build, 0, {config, config_key(config), config_key(entry), NETWORK_NODE_INTERFACE, source.type, source.prefix});
  }
}

void lay_nodes(Builder &build) {
  std::vector<NetworkNode> &nodes = build.store.nodes;
  nodes.reserve(1 + build.places.size() + 3 * build.interfaces.size());
  NetworkNode &root = nodes.emplace_back();
  root.store = &build.store;
  root.key = root.name = "";
  root.type = NETWORK_NODE_ROOT;
  for (const Place &place : build.places)
    if (place.in_model && !place.in_radio) lay_place(build, place);
  lay_interfaces(build, 0, build.unplaced);
  for (const LooseSource &source : loose_sources) lay_loose_interfaces(build, source);
  close(build, 0);
}

}  // namespace

NetworkModel *network_load(const ConfigNode *root) {
  auto store = std::make_unique<ModelStore>();
  Builder build{.root = root,
                .network = config_object(root, "network"),
                .vpn = config_object(root, "vpn"),
                .store = *store,
                .places = {},
                .runs = {},
                .interfaces = {},
                .unplaced = {}};
  collect_places(build);
  name_vlans(build);
  put_devices_in_radios(build);
  queue_interfaces(build);
  lay_nodes(build);
  return store.release()->nodes.data();
}
