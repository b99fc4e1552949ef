// Writes the sections of devices.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

const size_t mac_address_length = 17;

// Writes an interface whose only purpose is to keep a device up.
void write_link_interface(FILE *out, const char *section_prefix, const NetworkNode *device) {
  uci_write_section(out, "interface", "%s%s", section_prefix, or_empty(network_key(device)));
  uci_write_option_string(out, "proto", "link");
  uci_write_option_string(out, "ifname", network_name(device));
}

void uci_write_ethernet_link(FILE *out, const NetworkNode *device) {
  bool adapter_missing =
      equals(config_get_string(network_config(device), "type"), "usb_ethernet") && !is_set(network_name(device));
  if (!adapter_missing) write_link_interface(out, "link_eth_", device);
}

// The MAC address of a device, read from the kernel; "" when there is none.
std::string read_mac_address(const char *device_name) {
  if (!is_path_component(device_name)) return {};
  OwnedFile file(open(format("/sys/class/net/%s/address", device_name).c_str(), O_RDONLY | O_CLOEXEC));
  char address[mac_address_length + 1] = {};
  return read(file.fd(), address, mac_address_length) > 0 ? address : "";
}

struct Port {
  const char *key;   // dotted path of the member
  const char *name;  // of its device
};

bool precedes(const Port &first, const Port &second) {
  return strcmp(first.key, second.key) < 0;
}

// The ports sorted by key. With a large bridge, a linear search for each member would be slow.
std::vector<Port> sort_ports(const NetworkNode *bridge) {
  std::vector<Port> ports;
  for (const NetworkNode *port : nodes_of_type(bridge, NETWORK_NODE_BRIDGE_PORT))
    ports.push_back({or_empty(network_key(port)), or_empty(network_name(port))});
  std::sort(ports.begin(), ports.end(), precedes);
  return ports;
}

// The MAC address of the first member, in configured order, whose address can be read; "" when there is none.
std::string choose_mac_address(const NetworkNode *bridge) {
  std::vector<Port> ports = sort_ports(bridge);
  if (ports.empty()) return {};
  for (const char *reference : string_elements(config_array(network_config(bridge), "device"))) {
    if (!is_set(reference)) continue;
    OwnedString path(replace_char(reference + 1, '/', '.'));
    const Port wanted = {path.get(), nullptr};
    auto port = std::lower_bound(ports.begin(), ports.end(), wanted, precedes);
    if (port == ports.end() || !equals(port->key, wanted.key)) continue;
    std::string address = read_mac_address(port->name);
    if (!address.empty()) return address;
  }
  return {};
}

bool is_wireless_client(const ConfigNode *config) {
  return config_has_key(config, "type") && config_has_key(config, "mode") &&
         equals(config_get_string(config, "type"), "wlan") && equals(config_get_string(config, "mode"), "client");
}

// Adds the port to the members. A wireless client cannot be a member of a bridge, so this writes a tap interface for it
// and adds the tap device.
void write_bridge_port(FILE *out, const char *bridge_name, const NetworkNode *port, OwnedList &members) {
  const char *name = or_empty(network_name(port));
  if (!is_wireless_client(network_config(port))) {
    append(members, name);
    return;
  }
  std::string tap = format("tap-%s", name);
  uci_write_section(out, "interface", "tap_%s_%s", bridge_name, name);
  uci_write_option_string(out, "proto", "wlan_tap");
  uci_write_option_string(out, "ifname", name);
  uci_write_option_string(out, "tap", tap.c_str());
  append(members, tap.c_str());
}

void write_bridge_ports(FILE *out, const NetworkNode *bridge, OwnedList &members) {
  for (const NetworkNode *port : nodes_of_type(bridge, NETWORK_NODE_BRIDGE_PORT))
    write_bridge_port(out, or_empty(network_name(bridge)), port, members);
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
  if (!is_switch) write_bridge_ports(out, bridge, members);
  uci_write_section_anon(out, "device");
  uci_write_option_string(out, "name", name);
  uci_write_option_string(out, "type", "bridge");
  uci_write_option_bool(out, "bridge_empty", true);
  write_spanning_tree(out, config);
  if (is_switch) {
    uci_write_option_bool(out, "vlan_filtering", true);
  } else {
    uci_write_option_list(out, "ifname", members.get(), " ");
    std::string address = config_get_bool(config, "auto_mac_assignment") ? choose_mac_address(bridge) : "";
    if (!address.empty()) uci_write_option_string(out, "macaddr", address.c_str());
  }
  if (network_first_type(bridge, NETWORK_NODE_INTERFACE) == nullptr) write_link_interface(out, "link_bridge_", bridge);
}

// The kernel's name for a configured bond mode; null for a mode that is not supported.
const char *bond_mode(const char *configured) {
  if (equals(configured, "active-backup")) return "active-backup";
  if (equals(configured, "round-robin")) return "balance-rr";
  return nullptr;
}

OwnedList bond_members(const NetworkNode *bond) {
  OwnedList members;
  for (const NetworkNode *slave : nodes_of_type(bond, NETWORK_NODE_BOND_SLAVE))
    append(members, or_empty(network_name(slave)));
  return members;
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
  uci_write_section_anon(out, "device");
  uci_write_option_string(out, "name", network_name(bond));
  uci_write_option_string(out, "type", "bond");
  uci_write_option_string(out, "mode", mode);
  uci_write_option_list(out, "ifname", bond_members(bond).get(), " ");
  uci_write_option_bool(out, "bond_empty", true);
  if (primary != nullptr) uci_write_option_string(out, "primary", network_name(primary));
  int32_t interval = config_get_duration_ms(config, "link_poll_interval");
  if (interval != 0) uci_write_option_int(out, "link_poll_interval", interval);
}

// Types without a row get no section.
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
};

}  // namespace

void uci_write_devices(FILE *out, const NetworkNode *device) {
  uint32_t type = network_device_type(device);
  for (const DeviceRow &row : device_table)
    if (row.type == type) return row.write(out, device);
}
