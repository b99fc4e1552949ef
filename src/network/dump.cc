// Prints the network model as an indented tree.
#include <cstdarg>
#include <iterator>
#include <span>

#include "main/owned.h"
#include "main/strings.h"
#include "network/network.h"
#include "platform/ranges.h"

namespace {

const char separator[] = "----------\n";

// Indexed by value.
const char *const node_types[] = {
    "NETWORK_NODE_ROOT",       "NETWORK_NODE_NAMESPACE", "NETWORK_NODE_DEVICE",
    "NETWORK_NODE_INTERFACE",  "NETWORK_NODE_PROTO",     "NETWORK_NODE_BRIDGE_PORT",
    "NETWORK_NODE_BOND_SLAVE", "NETWORK_NODE_RADIO",     "NETWORK_NODE_MODEM",
};
static_assert(std::size(node_types) == NETWORK_NODE_MODEM + 1);
const char *const interface_types[] = {
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
const char *const device_types[] = {
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

const char *type_name(std::span<const char *const> names, uint32_t type) {
  return type < names.size() ? names[type] : "???";
}

__attribute__((format(printf, 2, 3))) void dump_print_indented(int depth, const char *format, ...) {
  for (int i = 0; i < depth; i++) printf("| ");
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
}

void dump_type(const NetworkNode *node, int depth) {
  uint32_t type = network_type(node);
  dump_print_indented(depth, "type: %s\n", type_name(node_types, type));
  if (type == NETWORK_NODE_DEVICE)
    dump_print_indented(depth, "device type: %s\n", type_name(device_types, network_device_type(node)));
  if (type == NETWORK_NODE_INTERFACE || type == NETWORK_NODE_PROTO) {
    dump_print_indented(depth, "interface type: %s\n", type_name(interface_types, network_interface_type(node)));
    dump_print_indented(depth, "interface name: '%s'\n", or_empty(network_interface_name(node)));
  }
}

}  // namespace

void dump_network_node(const NetworkNode *node, int depth) {
  dump_print_indented(depth, separator);
  dump_print_indented(depth, "key: '%s'\n", or_empty(network_key(node)));
  dump_print_indented(depth, "name: '%s'\n", or_empty(network_name(node)));
  dump_type(node, depth);
  if (const ConfigNode *config = network_config(node)) {
    OwnedString path(config_path(config));
    dump_print_indented(depth, "config: '%s'\n", or_empty(path.get()));
  }
  if (network_first(node) == nullptr) return;
  dump_print_indented(depth, "children:\n");
  for (const NetworkNode *child : children(node)) dump_network_node(child, depth + 1);
  dump_print_indented(depth + 1, separator);
}
