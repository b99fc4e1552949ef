// Interfaces, their protocol parts, and the DHCP servers on them.
#include <arpa/inet.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "config/report.h"
#include "network/check.h"
#include "network/rules.h"

namespace {

// Leased addresses by text: the DHCP server takes each once only, whatever the interface.
using Leases = std::unordered_map<std::string_view, const ConfigNode *>;

constexpr char dnsmasq_separators[] = " ,#\"";

// What else than the values stands in a line of the DHCP server: the name of the interface, the address of the router.
constexpr int32_t interface_name = 63;
constexpr int32_t router_address = 15;

constexpr Rule link_rules[] = {optional(rule("mac", Test::mac)), optional(range("mtu", 68, 65535)), end_of_rules};
constexpr Rule static_rules[] = {rule("address", Test::ipv4_network), optional(rule("gateway", Test::ipv4)),
                                 end_of_rules};
constexpr Rule static_ipv6_rules[] = {rule("static.address", Test::ipv6_network), end_of_rules};
constexpr Rule delegation_rules[] = {range("prefix_length", 1, 128), optional(rule("prefix_id", Test::hexadecimal)),
                                     end_of_rules};

constexpr Rule bound_rules[] = {rule("lease_start", Test::filled), rule("lease_end", Test::filled), end_of_rules};
constexpr Rule dhcp_rules[] = {
    at_least("lease_time", 120),
    rule("advanced.domain_suffix", Test::without, " ,\"\\"),
    rule("advanced.bootfile", Test::without, ",\"\\"),
    rule("advanced.bootfile", Test::without_text, " #"),
    rule("advanced.tftp_server", Test::without, " ,\"\\"),
    line("domain={advanced.domain_suffix}, # domain name suffix", dnsmasq_line, router_address),
    line("dhcp-boot=net:,{advanced.bootfile},,{advanced.tftp_server} # bootp server", dnsmasq_line, interface_name),
    rule("advanced.mtu", Test::filled),
    end_of_rules,
};
constexpr Rule custom_mtu_rules[] = {range("advanced.mtu_custom", 68, 65535), end_of_rules};
constexpr Variant mtu_variants[] = {{"custom", custom_mtu_rules}, {nullptr, nullptr}};

// Servers announced to clients: the word that says where the address comes from, and the address for "custom".
struct AnnouncedRow {
  const char *source;  // null ends the table
  const char *address;
};
constexpr AnnouncedRow announced[] = {
    {"advanced.gateway", "advanced.gateway_custom"},
    {"advanced.primary_dns", "advanced.primary_dns_custom"},
    {"advanced.secondary_dns", "advanced.secondary_dns_custom"},
    {"advanced.primary_ntp", "advanced.primary_ntp_custom"},
    {"advanced.secondary_ntp", "advanced.secondary_ntp_custom"},
    {"advanced.primary_wins", "advanced.primary_wins_custom"},
    {"advanced.secondary_wins", "advanced.secondary_wins_custom"},
    {nullptr, nullptr},
};

constexpr Rule relay_rules[] = {rule("address", Test::ipv4), end_of_rules};

constexpr Rule option_rules[] = {range("option", 1, 254), rule("datatype", Test::filled), end_of_rules};
constexpr Rule option_ipv4[] = {
    rule("value_ipv4_list", Test::texts),
    line("dhcp-option-force=net:,{option}{value_ipv4_list#1} # {name}", dnsmasq_line, interface_name), end_of_rules};
constexpr Rule option_text[] = {
    line("dhcp-option-force=net:,{option},\"{value_str+\"\\}\" # {name}", dnsmasq_line, interface_name), end_of_rules};
// Two digits are a byte and an option holds up to 255 of them, with a colon before each.
constexpr Rule option_hex[] = {rule("value_hex", Test::hexadecimal), at_most("value_hex", 510),
                               line("dhcp-option-force=net:,{option} # {name}", dnsmasq_line, interface_name + 765),
                               end_of_rules};
constexpr Rule option_byte[] = {range("value_bytes", 0, 255), end_of_rules};
constexpr Rule option_word[] = {range("value_bytes", 0, 65535), end_of_rules};
constexpr Variant option_variants[] = {{"ipv4", option_ipv4},  {"str", option_text},   {"hex", option_hex},
                                       {"1byte", option_byte}, {"2byte", option_word}, {nullptr, nullptr}};

constexpr Rule lease_rules[] = {
    rule("type", Test::filled), rule("ip", Test::ipv4), rule("name", Test::without, dnsmasq_separators),
    line("dhcp-host=id:{device},{name},{ip},net:", dnsmasq_line, interface_name), end_of_rules};
constexpr Rule lease_by_mac[] = {rule("mac", Test::mac), end_of_rules};
constexpr Rule lease_by_device[] = {rule("device", Test::filled), rule("device", Test::without, ",\""),
                                    rule("device", Test::without_text, " #"), end_of_rules};

// A bound of the lease range: a whole address, or its end below the first parts of `sibling`, the other bound, or of
// the interface's own address.
std::string range_bound(std::string_view bound, std::string_view sibling, std::string_view own) {
  if (bound.find('.') != std::string_view::npos) return std::string(bound);
  const std::string_view base = sibling.find('.') != std::string_view::npos ? sibling : own;
  return std::string(base.substr(0, base.rfind('.') + 1)) + std::string(bound);
}

void check_lease_range(const ConfigNode *part, const ConfigNode *server) {
  const std::string_view start = config_get_string(server, "lease_start");
  const std::string_view end = config_get_string(server, "lease_end");
  std::string_view own = config_get_string(part, "address");
  own = own.substr(0, own.rfind('/'));
  if (start.empty() && end.empty())
    config_report(server, Grade::questionable, "lease_start and lease_end are not set");
  else
    check_rules(server, bound_rules);
  if (start.empty() || end.empty() || own.find('.') == std::string_view::npos) return;
  in_addr first;
  in_addr last;
  const std::string first_text = range_bound(start, end, own);
  const std::string last_text = range_bound(end, start, own);
  if (inet_pton(AF_INET, first_text.c_str(), &first) != 1 || inet_pton(AF_INET, last_text.c_str(), &last) != 1)
    config_report(server, Grade::questionable, "'%s' to '%s' is no range of addresses", first_text.c_str(),
                  last_text.c_str());
  else if (ntohl(first.s_addr) > ntohl(last.s_addr))
    config_report(server, Grade::questionable, "the lease range ends before it starts");
}

void check_announced(const ConfigNode *server) {
  for (const AnnouncedRow *row = announced; row->source != nullptr; ++row) {
    const Rule source[] = {rule(row->source, Test::filled), end_of_rules};
    const Rule address[] = {rule(row->address, Test::ipv4), end_of_rules};
    check_rules(server, source);
    if (text_equals(server, row->source, "custom")) check_rules(server, address);
  }
}

void check_custom_options(const ConfigNode *server) {
  for_each_element(config_array(server, "advanced.custom_option"), [](const ConfigNode *option) {
    if (!config_get_bool(option, "enable")) return;
    check_rules(option, option_rules);
    check_variants(option, "datatype", option_variants);
    if (text_equals(option, "datatype", "ipv4")) check_texts(option, "value_ipv4_list", optional(rule("", Test::ipv4)));
  });
}

void check_static_leases(Leases &leases, const ConfigNode *server) {
  for_each_element(config_array(server, "advanced.static_lease"), [&leases](const ConfigNode *lease) {
    check_rules(lease, lease_rules);
    check_rules(lease, text_equals(lease, "type", "mac") ? lease_by_mac : lease_by_device);
    const char *address = config_get_string(lease, "ip");
    if (*address == '\0') return;
    const auto [row, is_new] = leases.emplace(address, lease);
    if (is_new) return;
    const std::unique_ptr<char, decltype(&free)> other(config_path(row->second), free);
    config_report(lease, Grade::questionable, "the address '%s' is already leased by %s", address, other.get());
  });
}

void check_dhcp(Leases &leases, const ConfigNode *part) {
  if (!config_get_bool(part, "dhcp_server.enable")) {
    check_each(part, "dhcp_relay", relay_rules);
    return;
  }
  const ConfigNode *server = config_object(part, "dhcp_server");
  check_lease_range(part, server);
  check_rules(server, dhcp_rules);
  check_variants(server, "advanced.mtu", mtu_variants);
  check_announced(server);
  check_custom_options(server);
  check_static_leases(leases, server);
}

void check_part(Leases &leases, const NetworkNode *part) {
  const ConfigNode *config = network_config(part);
  check_rules(config, link_rules);
  switch (network_interface_type(part)) {
    case NETWORK_INTERFACE_STATIC:
    case NETWORK_INTERFACE_HYBRID:
      check_rules(config, static_rules);
      check_texts(config, "dns", rule("", Test::address));
      check_dhcp(leases, config);
      break;
    case NETWORK_INTERFACE_PREFIX_DELEGATION:
      check_rules(config, delegation_rules);
      [[fallthrough]];
    case NETWORK_INTERFACE_DHCPV6:
      if (config_get_bool(config, "static.enable")) check_rules(config, static_ipv6_rules);
      break;
    default:
      break;
  }
}

constexpr Rule passthrough_rules[] = {rule("passthrough.src", Test::texts),
                                      one_line("passthrough.pppoe_server.custom.config_file"), end_of_rules};
constexpr Rule pppoe_rules[] = {one_line("pppoe.custom.config_file"), end_of_rules};
constexpr Rule ancillary_rules[] = {rule("passthrough.ancillary.address", Test::ipv4_masked),
                                    rule("passthrough.ancillary.gw", Test::ipv4), end_of_rules};

constexpr Rule modem_rules[] = {
    rule("modem.device", Test::entry, "network.modem"),
    range("modem.sd", 0, 0xffffff),
    end_of_rules,
};
constexpr Rule custom_sst_rules[] = {range("modem.custom_sst", 0, 0xff), end_of_rules};
constexpr Variant sst_variants[] = {{"custom", custom_sst_rules}, {nullptr, nullptr}};
constexpr Rule custom_gateway_rules[] = {rule("modem.custom_gw.gateway", Test::filled), end_of_rules};
// The list of access points separates its columns by commas and quotes the words in them without escapes.
constexpr Rule apn_rules[] = {rule("apn", Test::without, ","), rule("ip_version", Test::without, "'"),
                              rule("auth", Test::without, "'"), rule("match_plmn", Test::without, "'"), end_of_rules};

void check_modem(const ConfigNode *config) {
  check_rules(config, modem_rules);
  check_variants(config, "modem.sst", sst_variants);
  if (config_get_bool(config, "modem.custom_gw.enable")) check_rules(config, custom_gateway_rules);
  check_each(config, "modem.apn", apn_rules);
}

void check_interface(const NetworkNode *interface) {
  const ConfigNode *config = network_config(interface);
  switch (network_interface_type(interface)) {
    case NETWORK_INTERFACE_MODEM:
      check_modem(config);
      return;
    case NETWORK_INTERFACE_PASSTHROUGH:
      check_rules(config, passthrough_rules);
      if (config_get_bool(config, "passthrough.ancillary.enable")) check_rules(config, ancillary_rules);
      break;
    case NETWORK_INTERFACE_PPPOE:
      if (!config_get_bool(config, "enable")) return;
      check_rules(config, pppoe_rules);
      break;
    case NETWORK_INTERFACE_ETHERNET:
    case NETWORK_INTERFACE_HOTSPOT:
    case NETWORK_INTERFACE_WISUN:
      break;
    default:
      return;
  }
  if (network_find_parent(interface, NETWORK_NODE_DEVICE) == nullptr)
    config_report(written(config, "device"), Grade::questionable,
                  "the interface lies on no device that the system has");
}

}  // namespace

void check_interfaces(const NetworkModel *model) {
  Leases leases;
  const NetworkNode *node = network_first_type(model, NETWORK_NODE_INTERFACE);
  for (; node != nullptr; node = network_next_type(model, node, NETWORK_NODE_INTERFACE)) check_interface(node);
  node = network_first_type(model, NETWORK_NODE_PROTO);
  for (; node != nullptr; node = network_next_type(model, node, NETWORK_NODE_PROTO)) check_part(leases, node);
}
