// How interfaces, bridges, bonds and VLANs build on each other, and link options that several sections set.
#include <cstring>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"
#include "config/characters.h"
#include "platform/ranges.h"

namespace {

// Follows VLANs down to the device that is not a VLAN.
const NetworkNode *base_of(const NetworkModel *model, const NetworkNode *device) {
  while (network_device_type(device) == NETWORK_DEVICE_VLAN)
    device = network_find_device(model, config_get_ref(network_config(device), "device"));
  return device;
}

// True for the interface that comes with a tunnel device: it is enabled and disabled with the device.
bool is_own(const NetworkNode *interface, const NetworkNode *device) {
  return network_config(interface) == network_config(device);
}

constexpr const char *link_options[] = {"mtu", "mac", "promisc"};

// The options of an interface on a bridge are written into the section of the interface, but the device of the bridge
// is set up from the section of the bridge.
void check_bridge_options(const NetworkNode *interface) {
  const ConfigNode *config = network_config(interface);
  std::string keys;
  const ConfigNode *place = config;
  const auto add = [&](const ConfigNode *holder, const char *prefix, const char *key) {
    if (!config_has_key(holder, key)) return;
    if (keys.empty()) place = config_object_get(holder, key);
    keys.append(keys.empty() ? "" : ", ").append(prefix).append(key);
  };
  add(config, "", "mtu");
  for (const char *key : link_options) {
    add(config_object(config, "ipv4"), "ipv4.", key);
    add(config_object(config, "ipv6"), "ipv6.", key);
  }
  if (!keys.empty()) report(place, Rule::bridge_options, {keys});
}

// The value of a link option, for messages.
std::string shown(const ConfigNode *part, const char *key) {
  if (strcmp(key, "mac") == 0) return "'" + printable(config_get_string(part, key)) + "'";
  if (strcmp(key, "mtu") == 0) return std::to_string(config_get_int(part, key));
  return config_get_bool(part, key) ? "true" : "false";
}

void check_differing_options(const ConfigNode *interface) {
  const ConfigNode *ipv4 = config_object(interface, "ipv4");
  const ConfigNode *ipv6 = config_object(interface, "ipv6");
  if (!config_get_bool(ipv4, "enable") || !config_get_bool(ipv6, "enable")) return;
  for (const char *key : link_options) {
    if (!config_has_key(ipv4, key) || !config_has_key(ipv6, key)) continue;
    const std::string here = shown(ipv6, key);
    const std::string there = shown(ipv4, key);
    if (here != there)
      report(config_object_get(ipv6, key), Rule::link_options_differ, {key, here, there, path_of(ipv4)});
  }
}

// Both MTUs are written into the section of the part, that of the interface last.
void check_mtu_twice(const ConfigNode *interface) {
  if (!config_has_key(interface, "mtu")) return;
  for (const char *family : {"ipv4", "ipv6"}) {
    const ConfigNode *part = config_object(interface, family);
    if (!config_get_bool(part, "enable") || !config_has_key(part, "mtu")) continue;
    if (shown(part, "mtu") != shown(interface, "mtu"))
      report(config_object_get(part, "mtu"), Rule::mtu_twice, {shown(part, "mtu"), shown(interface, "mtu")});
  }
}

// True when no part of the interface is enabled. A part without `enable` does not count, as it has a finding already.
bool has_no_part(const ConfigNode *interface) {
  for (const char *family : {"ipv4", "ipv6"}) {
    const ConfigNode *part = config_object(interface, family);
    if (config_get_bool(part, "enable") || (part != nullptr && !config_has_key(part, "enable"))) return false;
  }
  return true;
}

void check_interface(const NetworkModel *model, const NetworkNode *interface) {
  const ConfigNode *config = network_config(interface);
  const NetworkNode *device = network_find_parent(interface, NETWORK_NODE_DEVICE);
  if (device == nullptr || is_own(interface, device)) return;
  const NetworkNode *base = base_of(model, device);
  if (base != nullptr && is_off_device(base))
    report(config_nearest(config, "device"), Rule::stands_on_disabled, {path_of(network_config(base))});
  if (network_interface_type(interface) != NETWORK_INTERFACE_ETHERNET) return;
  if (has_no_part(config)) report(config, Rule::no_part);
  check_mtu_twice(config);
  if (network_device_type(device) == NETWORK_DEVICE_BRIDGE)
    check_bridge_options(interface);
  else
    check_differing_options(config);
}

// The first interface of network.interface on that device; null when there is none.
const NetworkNode *interface_on(const NetworkNode *device) {
  for (const NetworkNode *interface : nodes_of_type(device, NETWORK_NODE_INTERFACE))
    if (!is_own(interface, device)) return interface;
  return nullptr;
}

void check_members(const NetworkModel *model, const NetworkNode *master, uint32_t member_type) {
  const ConfigNode *config = network_config(master);
  if (!config_get_bool(config, "enable") || string_equals(config, "mode", "switch")) return;
  for (const NetworkNode *member : nodes_of_type(master, member_type)) {
    const NetworkNode *interface = interface_on(network_find_device(model, network_config(member)));
    if (interface == nullptr) continue;
    const ConfigNode *owner = network_config(interface);
    report(config_nearest(owner, "device"), Rule::member_with_interface,
           {printable(network_name(member)), path_of(config), network_name(interface)});
  }
}

}  // namespace

bool is_off_device(const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  switch (network_device_type(device)) {
    case NETWORK_DEVICE_BRIDGE:
    case NETWORK_DEVICE_BOND:
    case NETWORK_DEVICE_IPTUNNEL:
    case NETWORK_DEVICE_MACSEC:
    case NETWORK_DEVICE_WIREGUARD:
    case NETWORK_DEVICE_IPSEC:
      return !config_get_bool(config, "enable");
    case NETWORK_DEVICE_L2TPETH:
      return !config_get_bool(config_node_parent(config_node_parent(config)), "enable");
    default:
      return false;
  }
}

void check_layers(const NetworkModel *model) {
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_INTERFACE)) check_interface(model, node);
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_DEVICE)) {
    if (network_device_type(node) == NETWORK_DEVICE_BRIDGE) check_members(model, node, NETWORK_NODE_BRIDGE_PORT);
    if (network_device_type(node) == NETWORK_DEVICE_BOND) check_members(model, node, NETWORK_NODE_BOND_SLAVE);
  }
}
