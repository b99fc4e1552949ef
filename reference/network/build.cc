// Builds the network model from the configuration tree.
//
// First it adds the carriers of interfaces (devices, radios and modems), then the ports and slaves of devices, then the
// interfaces and their parts. At the end it links all nodes in depth-first order.
#include "network/build.h"

#include <algorithm>
#include <memory>
#include <span>
#include <string>

#include "platform/ranges.h"

namespace {

// A type that an entry of network.interface, or a part of it, may have.
struct InterfaceKind {
  const char *type;
  NetworkInterfaceType interface_type;
};

constexpr InterfaceKind interface_kinds[] = {
    {"ethernet", NETWORK_INTERFACE_ETHERNET}, {"passthrough", NETWORK_INTERFACE_PASSTHROUGH},
    {"modem", NETWORK_INTERFACE_MODEM},       {"pppoe", NETWORK_INTERFACE_PPPOE},
    {"hotspot", NETWORK_INTERFACE_HOTSPOT},   {"wisun", NETWORK_INTERFACE_WISUN},
    {"dialin", NETWORK_INTERFACE_DIALIN},
};

constexpr InterfaceKind ipv4_kinds[] = {
    {"static", NETWORK_INTERFACE_STATIC},
    {"dhcp", NETWORK_INTERFACE_DHCP},
    {"hybrid", NETWORK_INTERFACE_HYBRID},
};
constexpr InterfaceKind ipv6_kinds[] = {
    {"dhcpv6", NETWORK_INTERFACE_DHCPV6},
    {"prefix_delegation", NETWORK_INTERFACE_PREFIX_DELEGATION},
};

struct Family {
  const char *key;
  const char *prefix;
  std::span<const InterfaceKind> kinds;
  NetworkInterfaceType passthrough;
};

constexpr Family families[] = {
    {"ipv4", "ipv4_interface_", ipv4_kinds, NETWORK_INTERFACE_PASSTHROUGH4},
    {"ipv6", "ipv6_interface_", ipv6_kinds, NETWORK_INTERFACE_PASSTHROUGH6},
};

// A new node, the last child of `parent`.
NetworkNode &add_node(Builder &build, NetworkNode &parent, uint32_t type, uint32_t detail, const ConfigNode *config) {
  NetworkNode &node = new_node(build.store, type, detail, config);
  append_child(parent, node);
  return node;
}

void add_interface(Builder &build, NetworkNode &parent, uint32_t type, const ConfigNode *config, const char *name,
                   const char *prefix) {
  NetworkNode &node = add_node(build, parent, NETWORK_NODE_INTERFACE, type, config);
  node.key = config_key(config);
  node.name = name;
  node.interface_name = keep(build.store, prefix, name);
}

// The dotted form of a path reference: "/network/device/eth1" gives "network.device.eth1".
const char *dotted(ModelStore &store, const char *reference) {
  std::string &path = store.strings.emplace_back(*reference == '/' ? reference + 1 : reference);
  std::replace(path.begin(), path.end(), '/', '.');
  return path.c_str();
}

void add_members(Builder &build, NetworkNode &device, uint32_t type) {
  const ConfigNode *references = config_array(device.config, "device");
  for (size_t i = 0; i < config_array_count(references); i++) {
    const ConfigNode *config = config_array_get_ref(references, i);
    const Carrier *member = find_carrier(build, config, NETWORK_NODE_DEVICE);
    if (!is_usable(member)) continue;
    NetworkNode &node = add_node(build, device, type, 0, config);
    node.key = dotted(build.store, config_array_get_string(references, i));
    node.name = member->node->name;
  }
}

// Adds the ports and slaves of devices, and the interfaces that come with tunnel devices.
void add_members_and_tunnels(Builder &build) {
  for (const Carrier &carrier : build.carriers) {
    NetworkNode &node = *carrier.node;
    if (!carrier.in_model || node.type != NETWORK_NODE_DEVICE) continue;
    if (node.detail == NETWORK_DEVICE_BRIDGE) add_members(build, node, NETWORK_NODE_BRIDGE_PORT);
    if (node.detail == NETWORK_DEVICE_BOND) add_members(build, node, NETWORK_NODE_BOND_SLAVE);
    if (carrier.prefix == nullptr) continue;
    const bool ipsec = node.detail == NETWORK_DEVICE_IPSEC;
    add_interface(build, node, ipsec ? NETWORK_INTERFACE_IPSEC : NETWORK_INTERFACE_OPENVPN, node.config, node.key,
                  carrier.prefix);
  }
}

// The parent of an interface of that type: its device or modem; the root when it has none.
NetworkNode &carrier_of(Builder &build, const ConfigNode *entry, NetworkInterfaceType type) {
  const Carrier *carrier;
  if (type == NETWORK_INTERFACE_MODEM) {
    const char *modem = config_get_string(entry, "modem.device");
    const ConfigNode *modems = config_object(build.root, "network.modem");
    carrier = is_set(modem) ? find_carrier(build, config_object_get(modems, modem), NETWORK_NODE_MODEM) : nullptr;
  } else {
    carrier = find_carrier(build, config_get_ref(entry, "device"), NETWORK_NODE_DEVICE);
    if (!is_usable(carrier)) carrier = nullptr;
  }
  return carrier != nullptr ? *carrier->node : build.store.nodes.front();
}

void add_interfaces(Builder &build) {
  for (const ConfigNode *entry : members(config_object(build.root, "network.interface"))) {
    const char *type = config_get_string(entry, "type");
    const InterfaceKind *kind = find_row(interface_kinds, type);
    // A disabled PPPoE interface gets a section too.
    const bool kept_disabled = kind != nullptr && kind->interface_type == NETWORK_INTERFACE_PPPOE;
    if (!kept_disabled && !config_get_bool(entry, "enable")) continue;
    if (kind == nullptr) {
      report_type(entry, type, "interface type", interface_kinds, "the interface is left out");
      continue;
    }
    add_interface(build, carrier_of(build, entry, kind->interface_type), kind->interface_type, entry, config_key(entry),
                  "interface_");
  }
}

void add_part(Builder &build, NetworkNode &interface, const Family &family) {
  const ConfigNode *part = config_object_get(interface.config, family.key);
  if (!config_get_bool(part, "enable")) return;
  uint32_t detail = family.passthrough;
  if (interface.detail == NETWORK_INTERFACE_ETHERNET) {
    const char *type = config_get_string(part, "type");
    const InterfaceKind *kind = find_row(family.kinds, type);
    if (kind == nullptr) {
      report_type(part, type, (std::string(family.key) + " type").c_str(), family.kinds, "it is left out");
      return;
    }
    detail = kind->interface_type;
  }
  NetworkNode &node = add_node(build, interface, NETWORK_NODE_PROTO, detail, part);
  node.key = family.key;
  node.name = interface.name;
  node.interface_name = keep(build.store, family.prefix, node.name);
}

// The parts of all interfaces below the node, in depth-first order.
void add_parts(Builder &build, NetworkNode &node) {
  for (NetworkNode *child = node.first_child; child != nullptr; child = child->next_sibling) add_parts(build, *child);
  const bool has_parts = node.detail == NETWORK_INTERFACE_ETHERNET || node.detail == NETWORK_INTERFACE_PASSTHROUGH;
  if (node.type != NETWORK_NODE_INTERFACE || !has_parts) return;
  for (const Family &family : families) add_part(build, node, family);
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

void add_loose_interfaces(Builder &build) {
  for (const LooseSource &source : loose_sources) {
    for (const ConfigNode *entry : members(config_object(build.root, source.path))) {
      const ConfigNode *config = source.member != nullptr ? config_object(entry, source.member) : entry;
      if (config != nullptr)
        add_interface(build, build.store.nodes.front(), source.type, config, config_key(entry), source.prefix);
    }
  }
}

// The last nodes that link_below has seen.
struct Links {
  NetworkNode *last;
  NetworkNode *last_of_type[node_type_count] = {};
};

// Links all nodes below the node in depth-first order.
void link_below(ModelStore &store, const NetworkNode &node, Links &links) {
  for (NetworkNode *child = node.first_child; child != nullptr; child = child->next_sibling) {
    links.last->next = child;
    links.last = child;
    NetworkNode *&last = links.last_of_type[child->type];
    (last != nullptr ? last->next_of_type : store.first_of_type[child->type]) = child;
    last = child;
    link_below(store, *child, links);
  }
}

}  // namespace

const char *keep(ModelStore &store, std::string_view first, std::string_view second, std::string_view third) {
  return store.strings.emplace_back(first).append(second).append(third).c_str();
}

NetworkNode &new_node(ModelStore &store, uint32_t type, uint32_t detail, const ConfigNode *config) {
  NetworkNode &node = store.nodes.emplace_back();
  node.type = type;
  node.detail = detail;
  node.config = config;
  return node;
}

void append_child(NetworkNode &parent, NetworkNode &child) {
  child.parent = &parent;
  (parent.last_child != nullptr ? parent.last_child->next_sibling : parent.first_child) = &child;
  parent.last_child = &child;
}

NetworkModel *network_load(const ConfigNode *root) {
  auto store = std::make_unique<ModelStore>();
  NetworkNode &model = new_node(*store, NETWORK_NODE_ROOT, 0, nullptr);
  model.store = store.get();
  Builder build{.root = root, .store = *store, .carriers = {}, .made_from = {}};
  place_carriers(build);
  add_members_and_tunnels(build);
  add_interfaces(build);
  add_parts(build, model);
  add_loose_interfaces(build);
  Links links{.last = &model};
  link_below(*store, model, links);
  store.release();
  return &model;
}
