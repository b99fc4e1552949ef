// Writes the sections of interfaces and their protocol parts.
#include <cstring>

#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

const NetworkNode *device_of(const NetworkNode *node) {
  return network_find_parent(node, NETWORK_NODE_DEVICE);
}

// For an interface on a VLAN, writes the section of the VLAN itself: the interface manager needs one more interface to
// create it.
void write_vlan(FILE *out, const NetworkNode *node) {
  const NetworkNode *device = device_of(node);
  if (device == nullptr || network_device_type(device) != NETWORK_DEVICE_VLAN) return;
  std::string base = or_empty(network_name(device));
  size_t dot = base.find('.');
  if (dot == std::string::npos) return;
  std::string id = base.substr(dot + 1);
  base.resize(dot);
  const char *name = or_empty(network_interface_name(node));
  int family = strncmp(name, "ipv6", 4) == 0 ? 6 : 4;
  uci_write_section(out, "interface", "vlan%d_%s_%s", family, base.c_str(), id.c_str());
  uci_write_option_string(out, "ifname", base.c_str());
  uci_write_option_string(out, "proto", "vlan");
  uci_write_option_string(out, "vid", id.c_str());
  uci_write_option_string(out, "name", name);
}

// Writes the static IPv6 address, without escapes: an IPv6 address has no character to escape.
void write_static_ipv6_address(FILE *out, const ConfigNode *config) {
  if (config_has_key(config, "static") && config_get_bool(config, "static.enable"))
    uci_write_list_entry(out, "ip6addr", config_get_string(config, "static.address"));
}

void write_static(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  uci_write_interface_section(out, node);
  bool passed_through = uci_write_passthrough(out, node);
  uci_write_option_string(out, "proto", passed_through ? "passthrough_static4" : "static");
  uci_write_ifname(out, device_of(node));
  uci_write_metric(out, config);
  const char *address = config_get_string(config, "address");
  if (is_set(address)) uci_write_address(out, "ipaddr", "netmask", address);
  const char *gateway = config_get_string(config, "gateway");
  if (is_set(gateway)) uci_write_option_string(out, "gateway", gateway);
  OwnedList servers(config_get_string_list(config, "dns"));
  uci_write_option_list(out, "dns", servers.get(), " ");
  uci_write_link_options(out, config);
  uci_write_option_bool(out, "force_link", config_get_bool(config, "force_link"));
}

// Writes the options that both kinds of DHCP clients share.
void write_dhcp_client(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  uci_write_interface_section(out, node);
  uci_write_ifname(out, device_of(node));
  uci_write_metric(out, config);
  uci_write_link_options(out, config);
  uci_write_hostname(out, config);
  uci_write_passthrough(out, node);
}

void write_dhcp(FILE *out, const NetworkNode *node) {
  write_dhcp_client(out, node);
  uci_write_option_string(out, "proto", "dhcp");
}

void write_dhcpv6(FILE *out, const NetworkNode *node) {
  write_dhcp_client(out, node);
  uci_write_option_string(out, "proto", "dhcpv6");
  uci_write_option_bool(out, "sourcerouting", false);
  write_static_ipv6_address(out, network_config(node));
}

void write_prefix_delegation(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  uci_write_interface_section(out, node);
  uci_write_ifname(out, device_of(node));
  uci_write_option_string(out, "proto", "static");
  uci_write_option_int(out, "ip6assign", config_get_int(config, "prefix_length"));
  const char *prefix_id = config_get_string(config, "prefix_id");
  if (is_set(prefix_id)) uci_write_option_string(out, "ip6hint", prefix_id);
  uci_write_link_options(out, config);
  uci_write_option_bool(out, "force_link", false);
  write_static_ipv6_address(out, config);
}

// An ethernet interface has no section of its own. Its MTU applies to each of its parts.
void write_ethernet(FILE *out, const NetworkNode *node) {
  for (const NetworkNode *part : nodes_of_type(node, NETWORK_NODE_PROTO)) {
    uci_write_interface(out, part);
    uci_write_mtu(out, network_config(node));
  }
}

void write_passthrough(FILE *out, const NetworkNode *node) {
  uci_write_passthrough_interface(out, node, device_of(node));
}

// Types without a row get no section.
struct InterfaceRow {
  NetworkInterfaceType type;
  void (*write)(FILE *out, const NetworkNode *node);
};
const InterfaceRow interface_table[] = {
    {NETWORK_INTERFACE_ETHERNET, write_ethernet},
    {NETWORK_INTERFACE_STATIC, write_static},
    {NETWORK_INTERFACE_DHCP, write_dhcp},
    {NETWORK_INTERFACE_DHCPV6, write_dhcpv6},
    {NETWORK_INTERFACE_PREFIX_DELEGATION, write_prefix_delegation},
    {NETWORK_INTERFACE_MODEM, modem_write_interface},
    {NETWORK_INTERFACE_NEMO, nemo_write_interface},
    {NETWORK_INTERFACE_OPENVPN, openvpn_write_interface},
    {NETWORK_INTERFACE_IPSEC, uci_write_ipsec_interface},
    {NETWORK_INTERFACE_PPPOE, pppoe_write_interface},
    {NETWORK_INTERFACE_PASSTHROUGH, write_passthrough},
    {NETWORK_INTERFACE_PPPOL2TP, l2tp_write_interface},
    {NETWORK_INTERFACE_PPP_DIALIN, ppp_dialin_write_interface},
};

bool lan_mode() {
  return runt_get_bool("hybrid.lanmode", true);
}

// The interface that changes between LAN and WAN use, as the runtime store names it; "" for none.
std::string read_hybrid_interface() {
  OwnedString device(runt_get_string("hybrid.device"));
  std::string_view path = or_empty(device.get());
  size_t dot = path.rfind('.');
  return dot != path.npos ? format("ipv4_interface_%s", path.data() + dot + 1) : "";
}

bool is_hybrid_interface(const NetworkNode *node) {
  std::optional<std::string> &hybrid = network_run->hybrid_interface;
  if (!hybrid) hybrid = read_hybrid_interface();
  return !hybrid->empty() && *hybrid == or_empty(network_interface_name(node));
}

// The type that an interface is written as: a hybrid interface is either a static LAN port or a DHCP client. During WAN
// use, an interface that the runtime store still names as hybrid is a DHCP client even if it is configured as static.
uint32_t effective_type(const NetworkNode *node) {
  uint32_t type = network_interface_type(node);
  if (type == NETWORK_INTERFACE_HYBRID) return lan_mode() ? NETWORK_INTERFACE_STATIC : NETWORK_INTERFACE_DHCP;
  if (!is_hybrid_interface(node)) return type;
  if (type == NETWORK_INTERFACE_STATIC && !lan_mode()) return NETWORK_INTERFACE_DHCP;
  // The interface is not hybrid any more, so the facts about it are out of date.
  runt_delete("hybrid");
  network_run->hybrid_interface.reset();
  return type;
}

}  // namespace

void uci_write_interface(FILE *out, const NetworkNode *node) {
  write_vlan(out, node);
  uint32_t type = effective_type(node);
  for (const InterfaceRow &row : interface_table)
    if (row.type == type) return row.write(out, node);
}
