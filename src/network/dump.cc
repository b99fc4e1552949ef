#include <iterator>

#include "main/owned.h"
#include "main/print.h"
#include "network/network.h"

namespace {

const char separator[] = "----------\n";
const char unnamed[] = "???";

// Indexed by value.
const char node_types[][25] = {
    "NETWORK_NODE_ROOT",       "NETWORK_NODE_NAMESPACE", "NETWORK_NODE_DEVICE",
    "NETWORK_NODE_INTERFACE",  "NETWORK_NODE_PROTO",     "NETWORK_NODE_BRIDGE_PORT",
    "NETWORK_NODE_BOND_SLAVE", "NETWORK_NODE_RADIO",     "NETWORK_NODE_MODEM",
};
static_assert(std::size(node_types) == NETWORK_NODE_MODEM + 1);
const char interface_types[][36] = {
    "NETWORK_INTERFACE_ETHERNET",
    "NETWORK_INTERFACE_STATIC",
    "NETWORK_INTERFACE_HYBRID",
    "NETWORK_INTERFACE_DHCP",
    "NETWORK_INTERFACE_DHCPV6",
    "NETWORK_INTERFACE_PREFIX_DELEGATION",
    "NETWORK_INTERFACE_MODEM",
    "NETWORK_INTERFACE_DIALIN",
    "NETWORK_INTERFACE_NEMO",
    "NETWORK_INTERFACE_OPENVPN",
    "NETWORK_INTERFACE_IPSEC",
    "NETWORK_INTERFACE_PPPOE",
    "NETWORK_INTERFACE_PASSTHROUGH",
    "NETWORK_INTERFACE_PASSTHROUGH4",
    "NETWORK_INTERFACE_PASSTHROUGH6",
    "NETWORK_INTERFACE_HOTSPOT",
    "???",
    "NETWORK_INTERFACE_PPPOL2TP",
    "???",
    "NETWORK_INTERFACE_PPP_DIALIN",
    "NETWORK_INTERFACE_WISUN",
};
static_assert(std::size(interface_types) == NETWORK_INTERFACE_WISUN + 1);
const char device_types[][25] = {
    "NETWORK_DEVICE_LOOPBACK",
    "NETWORK_DEVICE_ETHERNET",
    "NETWORK_DEVICE_VNET",
    "NETWORK_DEVICE_WLAN",
    "NETWORK_DEVICE_VLAN",
    "NETWORK_DEVICE_BRIDGE",
    "NETWORK_DEVICE_BOND",
    "NETWORK_DEVICE_OPENVPN",
    "NETWORK_DEVICE_IPSEC",
    "NETWORK_DEVICE_IPTUNNEL",
    "NETWORK_DEVICE_VRRP",
    "NETWORK_DEVICE_L2TPETH",
    "???",
    "NETWORK_DEVICE_MACSEC",
    "NETWORK_DEVICE_WIREGUARD",
    "NETWORK_DEVICE_WISUN",
};
static_assert(std::size(device_types) == NETWORK_DEVICE_WISUN + 1);

template <size_t count, size_t size>
const char *type_name(const char (&names)[count][size], uint32_t type) {
  return type < count ? names[type] : unnamed;
}

void dump_line(int depth, std::initializer_list<const char *> pieces) {
  for (int i = 0; i < depth; i++) print(stdout, "| ");
  print(stdout, pieces);
}

void dump_type(const NetworkNode *node, int depth) {
  uint32_t type = network_type(node);
  dump_line(depth, {"type: ", type_name(node_types, type), "\n"});
  if (type == NETWORK_NODE_DEVICE)
    dump_line(depth, {"device type: ", type_name(device_types, network_device_type(node)), "\n"});
  if (type == NETWORK_NODE_INTERFACE || type == NETWORK_NODE_PROTO) {
    dump_line(depth, {"interface type: ", type_name(interface_types, network_interface_type(node)), "\n"});
    dump_line(depth, {"interface name: '", or_empty(network_interface_name(node)), "'\n"});
  }
}

}  // namespace

void dump_network_node(const NetworkNode *node, int depth) {
  dump_line(depth, {separator});
  dump_line(depth, {"key: '", or_empty(network_key(node)), "'\n"});
  dump_line(depth, {"name: '", or_empty(network_name(node)), "'\n"});
  dump_type(node, depth);
  if (const ConfigNode *config = network_config(node)) {
    OwnedText path(config_path(config));
    dump_line(depth, {"config: '", or_empty(path.get()), "'\n"});
  }
  const NetworkNode *child = network_first(node);
  if (child == nullptr) return;
  dump_line(depth, {"children:\n"});
  for (; child != nullptr; child = network_next_child(child)) dump_network_node(child, depth + 1);
  dump_line(depth + 1, {separator});
}
