// Interfaces and their protocol parts.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "check/check.h"
#include "check/findings.h"
#include "check/ipv4.h"
#include "check/values.h"
#include "config/characters.h"
#include "platform/ranges.h"

namespace {

constexpr ValueRule link_rules[] = {optional(rule("mac", Test::mac)), optional(in_range("mtu"))};
constexpr ValueRule name_server_rules[] = {rule("", Test::address)};
// The address is written without escapes.
constexpr ValueRule static_ipv6_rules[] = {as(Rule::uci_quotes, rule("static.address", Test::without, "\"\\")),
                                           rule("static.address", Test::ipv6_network)};
constexpr ValueRule delegation_rules[] = {in_range("prefix_length"), optional(rule("prefix_id", Test::hexadecimal))};

// An interface with a malformed address, mask or gateway stays down. Without an address, it comes up.
void check_address(const ConfigNode *part) {
  static constexpr ValueRule address_rules[] = {rule("address", Test::ipv4_network)};
  static constexpr ValueRule gateway_rules[] = {optional(rule("gateway", Test::ipv4))};
  // The mapper does not write what follows a second slash, and leaves out an empty mask.
  const std::string_view address = config_get_string(part, "address");
  const size_t slash = std::min(address.find('/'), address.size());
  std::string_view written = address.substr(0, address.find('/', std::min(slash + 1, address.size())));
  if (written.ends_with('/')) written.remove_suffix(1);
  const bool refused = !address.empty() && !ipv4_network(written).has_value();
  check_rules(part, address_rules, refused ? Rule::address : Rule::uci_missing);
  check_rules(part, gateway_rules, Rule::address);
}

void check_part(const NetworkNode *part) {
  const ConfigNode *config = network_config(part);
  check_rules(config, link_rules, Rule::uci_value);
  switch (network_interface_type(part)) {
    case NETWORK_INTERFACE_STATIC:
    case NETWORK_INTERFACE_HYBRID:
      check_address(config);
      check_strings(config, "dns", name_server_rules, Rule::uci_value);
      break;
    case NETWORK_INTERFACE_PREFIX_DELEGATION:
      check_rules(config, delegation_rules, Rule::uci_value);
      [[fallthrough]];
    case NETWORK_INTERFACE_DHCPV6:
      if (config_get_bool(config, "static.enable")) check_rules(config, static_ipv6_rules, Rule::uci_value);
      break;
    default:
      break;
  }
}

constexpr ValueRule passthrough_rules[] = {rule("passthrough.src", Test::strings),
                                           one_line("passthrough.pppoe_server.custom.config_file")};
constexpr ValueRule pppoe_rules[] = {one_line("pppoe.custom.config_file")};
constexpr ValueRule ancillary_rules[] = {rule("passthrough.ancillary.address", Test::ipv4_masked),
                                         as(Rule::address, optional(rule("passthrough.ancillary.gw", Test::ipv4))),
                                         rule("passthrough.ancillary.gw", Test::ipv4)};

constexpr ValueRule modem_rules[] = {
    rule("modem.device", Test::entry),
    in_range("modem.sd"),
};
constexpr ValueRule custom_sst_rules[] = {in_range("modem.custom_sst")};
constexpr Variant sst_variants[] = {{"custom", custom_sst_rules}};
constexpr ValueRule custom_gateway_rules[] = {rule("modem.custom_gw.gateway", Test::filled)};
// The list of access points has commas between its columns and quotes values without escapes.
constexpr ValueRule apn_rules[] = {rule("apn", Test::without, ","), rule("ip_version", Test::without, "'"),
                                   rule("auth", Test::without, "'"), rule("match_plmn", Test::without, "'")};

void check_modem(const ConfigNode *config) {
  check_rules(config, modem_rules, Rule::uci_missing);
  check_variants(config, "modem.sst", sst_variants, Rule::uci_value);
  if (config_get_bool(config, "modem.custom_gw.enable")) check_rules(config, custom_gateway_rules, Rule::uci_missing);
  check_each(config, "modem.apn", apn_rules, Rule::uci_value);
}

// True for an interface whose device name is written to dnsmasq.conf, where it has no quotes (except-interface=).
bool is_kept_from_dnsmasq(const NetworkNode *interface) {
  const uint32_t type = network_interface_type(interface);
  return type == NETWORK_INTERFACE_PASSTHROUGH || type == NETWORK_INTERFACE_HOTSPOT;
}

void check_device(const NetworkNode *interface) {
  const ConfigNode *place = config_nearest(network_config(interface), "device");
  const NetworkNode *device = network_find_parent(interface, NETWORK_NODE_DEVICE);
  if (device == nullptr)
    report(place, Rule::no_device);
  else if (is_kept_from_dnsmasq(interface) && strchr(network_name(device), '"') != nullptr)
    report(place, Rule::dnsmasq_value, {"the name of the device holds '\"'", "give the device another name"});
}

void check_interface(const NetworkNode *interface) {
  static constexpr ValueRule mtu_rules[] = {optional(in_range("mtu"))};
  const ConfigNode *config = network_config(interface);
  switch (network_interface_type(interface)) {
    case NETWORK_INTERFACE_MODEM:
      check_modem(config);
      return;
    case NETWORK_INTERFACE_PASSTHROUGH:
      check_rules(config, passthrough_rules, Rule::uci_missing);
      if (config_get_bool(config, "passthrough.ancillary.enable"))
        check_rules(config, ancillary_rules, Rule::uci_missing);
      break;
    case NETWORK_INTERFACE_PPPOE:
      if (!config_get_bool(config, "enable")) return;
      check_rules(config, pppoe_rules, Rule::uci_value);
      break;
    case NETWORK_INTERFACE_ETHERNET:
      check_rules(config, mtu_rules, Rule::uci_value);
      break;
    case NETWORK_INTERFACE_HOTSPOT:
    case NETWORK_INTERFACE_WISUN:
      break;
    default:
      return;
  }
  check_device(interface);
}

}  // namespace

void check_interfaces(const NetworkModel *model) {
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_INTERFACE)) check_interface(node);
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_PROTO)) check_part(node);
}
