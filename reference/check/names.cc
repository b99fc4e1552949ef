// Names that must be unique: those of kernel devices and of sections in the UCI network file.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"
#include "config/characters.h"
#include "config/document.h"
#include "config/report.h"
#include "platform/ranges.h"

namespace {

using Owners = std::unordered_map<std::string, const ConfigNode *>;

struct Names {
  Rule twice;  // broken by two owners of one name
  Owners owners;
};

// The node to report for a device's name: the name itself, or the entry when the name comes from the entry's key.
const ConfigNode *name_of(const ConfigNode *owner) {
  return config_nearest(owner, "name");
}

// Gives the name to `owner`. Returns true for a new name; reports a name that another owner has.
bool claim(Names &names, const std::string &name, const ConfigNode *owner) {
  const auto [row, is_new] = names.owners.emplace(name, owner);
  if (is_new || row->second == owner) return is_new;
  report(name_of(owner), names.twice,
         {printable(name), row->second != nullptr ? path_of(row->second) : "the global settings"});
  return false;
}

void claim_device_name(Names &devices, const std::string &name, const ConfigNode *owner) {
  constexpr size_t longest = 15;
  if (name.size() > longest) {
    report(name_of(owner), Rule::device_name, {printable(name), "is longer than 15 characters"});
    return;
  }
  if (!claim(devices, name, owner)) return;
  if (name.find_first_of("/: \t") != std::string::npos || name == "." || name == "..")
    report(name_of(owner), Rule::device_name, {printable(name), "is refused by the kernel"});
  if (name.find_first_of("\"\\#,'") != std::string::npos)
    report(name_of(owner), Rule::device_name, {printable(name), "holds a character that not every daemon can read"});
}

// True below an entry whose name is refused: that name has a finding already.
bool is_below_refused(const ConfigNode *node) {
  for (; node->parent != nullptr; node = node->parent)
    if (node->parent->kind == Kind::map && !is_entry_name(node->name, strlen(node->name), node->parent->key->hyphen))
      return true;
  return false;
}

void claim_section(Names &sections, const std::string &name, const ConfigNode *owner) {
  if (!claim(sections, name, owner)) return;
  const auto is_letter = [](char byte) { return isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '_'; };
  const auto first = std::find_if_not(name.begin(), name.end(), is_letter);
  if (first == name.end() || is_below_refused(owner)) return;
  // In UTF-8, all bytes of a character but its first are 0x80 to 0xBF.
  const auto last = std::find_if_not(first + 1, name.end(), [](char byte) { return (byte & 0xC0) == 0x80; });
  report(owner, Rule::section_name, {printable(name), printable(std::string(first, last))});
}

bool is_wireless_client(const ConfigNode *member) {
  return string_equals(member, "type", "wlan") && string_equals(member, "mode", "client");
}

// The network mapper joins a wireless client to a bridge through a tap device.
void claim_taps(Names &devices, Names &sections, const NetworkNode *bridge) {
  if (string_equals(network_config(bridge), "mode", "switch")) return;
  for (const NetworkNode *port : nodes_of_type(bridge, NETWORK_NODE_BRIDGE_PORT)) {
    if (!is_wireless_client(network_config(port))) continue;
    const std::string name = network_name(port);
    claim_device_name(devices, "tap-" + name, network_config(port));
    claim_section(sections, "tap_" + std::string(network_name(bridge)) + "_" + name, network_config(port));
  }
}

void claim_device(Names &devices, Names &sections, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  const std::string name = network_name(device);
  if (name.empty() || is_off_device(device)) return;
  claim_device_name(devices, name, config);
  switch (network_device_type(device)) {
    case NETWORK_DEVICE_ETHERNET:
      claim_section(sections, std::string("link_eth_") + network_key(device), config);
      break;
    case NETWORK_DEVICE_BRIDGE:
      claim_taps(devices, sections, device);
      if (network_first_type(device, NETWORK_NODE_INTERFACE) == nullptr)
        claim_section(sections, std::string("link_bridge_") + network_key(device), config);
      break;
    case NETWORK_DEVICE_IPTUNNEL:
    case NETWORK_DEVICE_MACSEC:
    case NETWORK_DEVICE_L2TPETH:
    case NETWORK_DEVICE_WIREGUARD:
      claim_section(sections, name, config);
      break;
    default:
      break;
  }
}

// True for interfaces and parts that get a section of their own.
bool has_section(const NetworkNode *node) {
  switch (network_interface_type(node)) {
    case NETWORK_INTERFACE_ETHERNET:
    case NETWORK_INTERFACE_PASSTHROUGH:
    case NETWORK_INTERFACE_DIALIN:
    case NETWORK_INTERFACE_HOTSPOT:
    case NETWORK_INTERFACE_WISUN:
      return false;
    case NETWORK_INTERFACE_NEMO:
    case NETWORK_INTERFACE_IPSEC:
      return config_get_bool(network_config(node), "enable");
    default:
      return true;
  }
}

// An interface on a VLAN also gets a section that creates the VLAN. Two VLANs with the same device and ID share this
// section without harm, as its name holds all that is in it.
void claim_vlan(Owners &vlans, Names &sections, const NetworkNode *node) {
  const NetworkNode *device = network_find_parent(node, NETWORK_NODE_DEVICE);
  if (network_device_type(device) != NETWORK_DEVICE_VLAN) return;
  std::string name = network_name(device);
  name.replace(name.find('.'), 1, "_");
  name = (strncmp(network_interface_name(node), "ipv6", 4) == 0 ? "vlan6_" : "vlan4_") + name;
  claim_section(sections, name, vlans.emplace(name, network_config(device)).first->second);
}

void claim_interfaces(Names &sections, const NetworkModel *model, uint32_t type) {
  Owners vlans;
  for (const NetworkNode *node : nodes_of_type(model, type)) {
    const std::string name = network_interface_name(node);
    claim_vlan(vlans, sections, node);
    if (has_section(node)) claim_section(sections, name, network_config(node));
    if (network_interface_type(node) == NETWORK_INTERFACE_PASSTHROUGH4 &&
        config_get_bool(config_node_parent(network_config(node)), "passthrough.ancillary.enable"))
      claim_section(sections, "passthrough_ancillary_" + name, network_config(node));
  }
}

}  // namespace

void check_names(const NetworkModel *model) {
  Names devices{.twice = Rule::device_twice, .owners = {}};
  Names sections{.twice = Rule::section_twice, .owners = {}};
  claim(sections, "globals", nullptr);
  for (const NetworkNode *device : nodes_of_type(model, NETWORK_NODE_DEVICE)) claim_device(devices, sections, device);
  claim_interfaces(sections, model, NETWORK_NODE_INTERFACE);
  claim_interfaces(sections, model, NETWORK_NODE_PROTO);
}
