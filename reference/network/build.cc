// Builds the network model from the configuration tree, in three steps. Step 1 collects the carriers of interfaces
// (devices, radios and modems) in model order. Step 2 puts each interface into the queue of its carrier. Step 3 appends
// all nodes in depth-first order.
#include "network/build.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/ranges.h"

namespace {

constexpr InterfaceKind interface_kinds[] = {
    {"ethernet", NETWORK_INTERFACE_ETHERNET, PartRule::by_type},
    {"passthrough", NETWORK_INTERFACE_PASSTHROUGH, PartRule::passthrough},
    {"modem", NETWORK_INTERFACE_MODEM, PartRule::without},
    {"pppoe", NETWORK_INTERFACE_PPPOE, PartRule::without},
    {"hotspot", NETWORK_INTERFACE_HOTSPOT, PartRule::without},
    {"wisun", NETWORK_INTERFACE_WISUN, PartRule::without},
    {"dialin", NETWORK_INTERFACE_DIALIN, PartRule::without},
};

struct PartKind {
  const char *type;
  NetworkInterfaceType interface_type;
};

constexpr PartKind ipv4_kinds[] = {
    {"static", NETWORK_INTERFACE_STATIC},
    {"dhcp", NETWORK_INTERFACE_DHCP},
    {"hybrid", NETWORK_INTERFACE_HYBRID},
};
constexpr PartKind ipv6_kinds[] = {
    {"dhcpv6", NETWORK_INTERFACE_DHCPV6},
    {"prefix_delegation", NETWORK_INTERFACE_PREFIX_DELEGATION},
};

struct Family {
  const char *key;
  const char *prefix;
  std::span<const PartKind> kinds;
  NetworkInterfaceType passthrough;
};

constexpr Family families[] = {
    {"ipv4", "ipv4_interface_", ipv4_kinds, NETWORK_INTERFACE_PASSTHROUGH4},
    {"ipv6", "ipv6_interface_", ipv6_kinds, NETWORK_INTERFACE_PASSTHROUGH6},
};

void queue_interface(Builder &build, const ConfigNode *modems, const ConfigNode *entry) {
  const char *type = config_get_string(entry, "type");
  const InterfaceKind *kind = find_row(interface_kinds, type);
  // A disabled PPPoE interface gets a section too.
  const bool kept_disabled = kind != nullptr && kind->interface_type == NETWORK_INTERFACE_PPPOE;
  if (!kept_disabled && !config_get_bool(entry, "enable")) return;
  if (kind == nullptr) {
    report_type(entry, type, "interface type", interface_kinds, "the interface is left out");
    return;
  }
  Carrier *carrier;
  if (kind->interface_type == NETWORK_INTERFACE_MODEM) {
    const char *modem = config_get_string(entry, "modem.device");
    carrier = is_set(modem) ? find_carrier(build, config_object_get(modems, modem), NETWORK_NODE_MODEM) : nullptr;
  } else {
    carrier = find_carrier(build, config_get_ref(entry, "device"), NETWORK_NODE_DEVICE);
    if (!is_usable(carrier)) carrier = nullptr;
  }
  build.interfaces.push_back({entry, kind, none});
  enqueue(carrier != nullptr ? carrier->below : build.unplaced, build.interfaces,
          static_cast<uint32_t>(build.interfaces.size() - 1));
}

void queue_interfaces(Builder &build) {
  const ConfigNode *modems = config_object(build.root, "network.modem");
  for (const ConfigNode *entry : members(config_object(build.root, "network.interface")))
    queue_interface(build, modems, entry);
}

struct NewNode {
  const ConfigNode *config;
  const char *key;
  const char *name;
  int type;
  int detail = 0;
  const char *prefix = nullptr;
};

// Appends a node below `parent` and returns its index. `close` must follow its last descendant, if it has any.
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

void lay_part(Builder &build, uint32_t parent, const QueuedInterface &interface, const Family &family) {
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
    const QueuedInterface &interface = build.interfaces[next];
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
  char *string = build.store.strings.join(*reference == '/' ? reference + 1 : reference, {});
  for (char *next = strchr(string, '/'); next != nullptr; next = strchr(next, '/')) *next = '.';
  return string;
}

void lay_members(Builder &build, uint32_t parent, const Carrier &carrier, int type) {
  const ConfigNode *members = config_array(carrier.config, "device");
  const size_t count = config_array_count(members);
  for (size_t index = 0; index < count; ++index) {
    const ConfigNode *config = config_array_get_ref(members, index);
    const Carrier *member = find_carrier(build, config, NETWORK_NODE_DEVICE);
    if (is_usable(member))
      open(build, parent, {config, dotted(build, config_array_get_string(members, index)), member->name, type});
  }
}

void lay_carrier(Builder &build, const Carrier &carrier) {
  const uint32_t parent = carrier.in_radio ? build.last_of_type[NETWORK_NODE_RADIO] : 0;
  const uint32_t node =
      open(build, parent, {carrier.config, carrier.key, carrier.name, carrier.type, carrier.device_type});
  if (carrier.type == NETWORK_NODE_RADIO) {
    for (uint32_t next = carrier.below.first; next != none; next = build.carriers[next].next)
      lay_carrier(build, build.carriers[next]);
  } else {
    if (carrier.device_type == NETWORK_DEVICE_BRIDGE) lay_members(build, node, carrier, NETWORK_NODE_BRIDGE_PORT);
    if (carrier.device_type == NETWORK_DEVICE_BOND) lay_members(build, node, carrier, NETWORK_NODE_BOND_SLAVE);
    if (carrier.prefix != nullptr) {
      const bool ipsec = carrier.device_type == NETWORK_DEVICE_IPSEC;
      open(build, node,
           {carrier.config, carrier.key, carrier.key, NETWORK_NODE_INTERFACE,
            ipsec ? NETWORK_INTERFACE_IPSEC : NETWORK_INTERFACE_OPENVPN, carrier.prefix});
    }
    lay_interfaces(build, node, carrier.below);
  }
  close(build, node);
}

// A map whose entries become interfaces without a device. They follow those of network.interface.
struct LooseSource {
  const char *path;
  const char *member;  // of the entry, which the interface is made from; null: the entry itself
  NetworkInterfaceType type;
  const char *prefix;
};

constexpr LooseSource loose_sources[] = {
    {"vpn.nemo", nullptr, NETWORK_INTERFACE_NEMO, "nemo_"},
    {"vpn.l2tp.lac", nullptr, NETWORK_INTERFACE_PPPOL2TP, "l2tp_lac_"},
    {"vpn.l2tp.lns", nullptr, NETWORK_INTERFACE_PPPOL2TP, "l2tp_lns_"},
    {"serial", "ppp_dialin", NETWORK_INTERFACE_PPP_DIALIN, "ppp_"},
};

void lay_loose_interfaces(Builder &build, const LooseSource &source) {
  for (const ConfigNode *entry : members(config_object(build.root, source.path))) {
    const ConfigNode *config = source.member != nullptr ? config_object(entry, source.member) : entry;
    if (config == nullptr) continue;
    open(build, 0, {config, config_key(config), config_key(entry), NETWORK_NODE_INTERFACE, source.type, source.prefix});
  }
}

void lay_nodes(Builder &build) {
  std::vector<NetworkNode> &nodes = build.store.nodes;
  nodes.reserve(1 + build.carriers.size() + 3 * build.interfaces.size());
  NetworkNode &root = nodes.emplace_back();
  root.store = &build.store;
  root.key = root.name = "";
  root.type = NETWORK_NODE_ROOT;
  for (const Carrier &carrier : build.carriers)
    if (carrier.in_model && !carrier.in_radio) lay_carrier(build, carrier);
  lay_interfaces(build, 0, build.unplaced);
  for (const LooseSource &source : loose_sources) lay_loose_interfaces(build, source);
  close(build, 0);
}

}  // namespace

NetworkModel *network_load(const ConfigNode *root) {
  auto store = std::make_unique<ModelStore>();
  Builder build{.root = root, .store = *store, .carriers = {}, .stretches = {}, .interfaces = {}, .unplaced = {}};
  collect_carriers(build);
  queue_interfaces(build);
  lay_nodes(build);
  return store.release()->nodes.data();
}
