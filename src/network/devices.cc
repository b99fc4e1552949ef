#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "main/text.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "network/uci.h"

namespace {

const size_t mac_text_length = 17;

// An interface that only keeps a device up.
void write_link_interface(FILE *out, const char *section_prefix, const NetworkNode *device) {
  uci_write_named_interface(out, section_prefix, network_key(device));
  uci_write_value(out, "proto", "link");
  uci_write_value(out, "ifname", network_name(device));
}

void uci_write_ethernet_link(FILE *out, const NetworkNode *device) {
  bool adapter_missing =
      equals(config_get_string(network_config(device), "type"), "usb_ethernet") && !is_set(network_name(device));
  if (!adapter_missing) write_link_interface(out, "link_eth_", device);
}

struct MacText {
  char text[mac_text_length + 1];  // "" when it is not known
};

// The kernel's MAC address of a device.
MacText read_mac_address(const char *device_name) {
  MacText address = {};
  if (!is_path_component(device_name)) return address;
  int fd = open(format("/sys/class/net/%s/address", device_name).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return address;
  ssize_t length = read(fd, address.text, mac_text_length);
  close(fd);
  address.text[std::max<ssize_t>(length, 0)] = '\0';
  return address;
}

template <typename Visit>
void for_each_port(const NetworkNode *bridge, Visit visit) {
  for (const NetworkNode *port = network_first_type(bridge, NETWORK_NODE_BRIDGE_PORT); port != nullptr;
       port = network_next_type(bridge, port, NETWORK_NODE_BRIDGE_PORT))
    visit(port);
}

struct Port {
  const char *key;
  const char *name;
};

bool comes_before(const Port &first, const Port &second) {
  return strcmp(first.key, second.key) < 0;
}

// The ports by the dotted path that each has as key, so that a large bridge does not walk all of them for each member.
std::vector<Port> sort_ports(const NetworkNode *bridge) {
  size_t count = 0;
  for_each_port(bridge, [&count](const NetworkNode *) { count++; });
  std::vector<Port> ports(count);
  Port *next = ports.data();
  for_each_port(bridge, [&next](const NetworkNode *port) {
    *next++ = {or_empty(network_key(port)), or_empty(network_name(port))};
  });
  std::sort(ports.begin(), ports.end(), comes_before);
  return ports;
}

// The address of the member that is configured first among those whose address can be read; empty without one.
MacText choose_mac_address(const NetworkNode *bridge) {
  if (network_first_type(bridge, NETWORK_NODE_BRIDGE_PORT) == nullptr) return {};
  std::vector<Port> ports = sort_ports(bridge);
  const ConfigNode *members = config_array(network_config(bridge), "device");
  size_t count = config_array_count(members);
  for (size_t i = 0; i < count; i++) {
    const char *reference = config_array_get_string(members, i);
    if (!is_set(reference)) continue;
    OwnedText path(replace_char(reference + 1, '/', '.'));
    const Port wanted = {path.get(), nullptr};
    auto port = std::lower_bound(ports.begin(), ports.end(), wanted, comes_before);
    if (port == ports.end() || !equals(port->key, wanted.key)) continue;
    MacText address = read_mac_address(port->name);
    if (is_set(address.text)) return address;
  }
  return {};
}

bool is_wireless_client(const ConfigNode *config) {
  return config_has_key(config, "type") && config_has_key(config, "mode") &&
         equals(config_get_string(config, "type"), "wlan") && equals(config_get_string(config, "mode"), "client");
}

// Adds the port to the members. A wireless client cannot be bridged itself: a tap interface takes its place.
void write_bridge_port(FILE *out, const char *bridge_name, const NetworkNode *port, OwnedList &members) {
  const char *name = or_empty(network_name(port));
  if (!is_wireless_client(network_config(port))) {
    append(members, name);
    return;
  }
  std::string tap = format("tap-%s", name);
  uci_write_section(out, "interface", "tap_%s_%s", bridge_name, name);
  uci_write_value(out, "proto", "wlan_tap");
  uci_write_value(out, "ifname", name);
  uci_write_value(out, "tap", tap.c_str());
  append(members, tap.c_str());
}

void write_spanning_tree(FILE *out, const ConfigNode *config) {
  bool enabled = config_get_bool(config, "stp.enable");
  uci_write_option_bool(out, "stp", enabled);
  if (enabled) uci_write_option_int(out, "forward_delay", config_get_int(config, "stp.forward_delay"));
}

void uci_write_bridge(FILE *out, const NetworkNode *bridge) {
  const ConfigNode *config = network_config(bridge);
  if (!config_get_bool(config, "enable")) return;
  const char *name = or_empty(network_name(bridge));
  bool is_switch = equals(config_get_string(config, "mode"), "switch");
  OwnedList members;
  if (!is_switch) for_each_port(bridge, [&](const NetworkNode *port) { write_bridge_port(out, name, port, members); });
  uci_write_section_anon(out, "device");
  uci_write_value(out, "name", name);
  uci_write_value(out, "type", "bridge");
  uci_write_option_bool(out, "bridge_empty", true);
  write_spanning_tree(out, config);
  if (is_switch) {
    uci_write_option_bool(out, "vlan_filtering", true);
  } else {
    uci_write_option_list(out, "ifname", members.get(), " ");
    MacText address = config_get_bool(config, "auto_mac_assignment") ? choose_mac_address(bridge) : MacText();
    if (is_set(address.text)) uci_write_value(out, "macaddr", address.text);
  }
  if (network_first_type(bridge, NETWORK_NODE_INTERFACE) == nullptr) write_link_interface(out, "link_bridge_", bridge);
}

// The kernel's name of a configured bond mode; null for one that is not supported.
const char *bond_mode(const char *configured) {
  if (equals(configured, "active-backup")) return "active-backup";
  if (equals(configured, "round-robin")) return "balance-rr";
  return nullptr;
}

void uci_write_bond(FILE *out, const NetworkNode *bond) {
  const ConfigNode *config = network_config(bond);
  if (!config_get_bool(config, "enable")) return;
  const char *mode = bond_mode(config_get_string(config, "mode"));
  if (mode == nullptr) return;
  const NetworkNode *primary = nullptr;
  if (equals(mode, "active-backup")) {
    const ConfigNode *first_member = config_get_ref(config, "device.0");
    if (first_member != nullptr) primary = network_find(bond, NETWORK_NODE_BOND_SLAVE, first_member);
    if (primary == nullptr) return;
  }
  OwnedList members;
  for (const NetworkNode *slave = network_first_type(bond, NETWORK_NODE_BOND_SLAVE); slave != nullptr;
       slave = network_next_type(bond, slave, NETWORK_NODE_BOND_SLAVE))
    append(members, or_empty(network_name(slave)));
  uci_write_section_anon(out, "device");
  uci_write_value(out, "name", network_name(bond));
  uci_write_value(out, "type", "bond");
  uci_write_value(out, "mode", mode);
  uci_write_option_list(out, "ifname", members.get(), " ");
  uci_write_option_bool(out, "bond_empty", true);
  if (primary != nullptr) uci_write_value(out, "primary", network_name(primary));
  int32_t interval = config_get_duration_ms(config, "link_poll_interval");
  if (interval != 0) uci_write_option_int(out, "link_poll_interval", interval);
}

// Kinds that have no row get no section.
struct DeviceRow {
  NetworkDeviceType type;
  void (*write)(FILE *out, const NetworkNode *device);
};
const DeviceRow device_table[] = {
    {NETWORK_DEVICE_ETHERNET, uci_write_ethernet_link},
    {NETWORK_DEVICE_BRIDGE, uci_write_bridge},
    {NETWORK_DEVICE_BOND, uci_write_bond},
    {NETWORK_DEVICE_IPTUNNEL, iptunnel_write_device},
    {NETWORK_DEVICE_L2TPETH, l2tpeth_write_device},
    {NETWORK_DEVICE_MACSEC, macsec_write_device},
    {NETWORK_DEVICE_WIREGUARD, wireguard_write_device},
    {NETWORK_DEVICE_LOOPBACK, nullptr},
};

}  // namespace

void uci_write_devices(FILE *out, const NetworkNode *device) {
  uint32_t type = network_device_type(device);
  for (const DeviceRow *row = device_table; row->write != nullptr; row++)
    if (row->type == type) return row->write(out, device);
}
