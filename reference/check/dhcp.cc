// DHCP servers and relays.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "check/check.h"
#include "check/findings.h"
#include "check/ipv4.h"
#include "check/values.h"
#include "config/document.h"
#include "platform/ranges.h"

namespace {

// Who reserves an address. dnsmasq accepts each address only once, even on different interfaces.
struct Reservation {
  const ConfigNode *lease;
  const ConfigNode *server;
};

struct DhcpCheck {
  std::unordered_map<std::string_view, Reservation> reserved;                // by address
  std::unordered_map<const NetworkNode *, const NetworkNode *> passthrough;  // interfaces by their device
};

// The longest name of an interface and address of the router, in bytes. Lines of the DHCP server hold them too.
constexpr int32_t interface_name = 63;
constexpr int32_t router_address = 15;

constexpr int32_t longest_option = 255;

// The mapper escapes each double quote, but for dnsmasq it still opens quotes, which nothing closes.
constexpr ValueRule dhcp_rules[] = {
    as(Rule::dnsmasq_value, rule("advanced.domain_suffix", Test::without, ",")),
    as(Rule::dnsmasq_value, no_quote("advanced.domain_suffix")),
    as(Rule::dnsmasq_value, rule("advanced.domain_suffix", Test::domain)),
    rule("advanced.domain_suffix", Test::without, " \\"),
    as(Rule::dnsmasq_value, no_quote("advanced.bootfile")),
    rule("advanced.bootfile", Test::without, ",\\"),
    rule("advanced.bootfile", Test::without_string, " #"),
    as(Rule::dnsmasq_value, no_quote("advanced.tftp_server")),
    as(Rule::dnsmasq_value, at_most("advanced.tftp_server", longest_option)),
    rule("advanced.tftp_server", Test::without, " ,\\"),
    as(Rule::dnsmasq_value,
       line("domain={advanced.domain_suffix}, # domain name suffix", dnsmasq_line, router_address)),
    as(Rule::dnsmasq_value,
       line("dhcp-boot=net:,{advanced.bootfile},,{advanced.tftp_server} # bootp server", dnsmasq_line, interface_name)),
};
constexpr ValueRule bound_rules[] = {rule("lease_start", Test::filled), rule("lease_end", Test::filled)};
constexpr ValueRule custom_mtu_rules[] = {in_range("advanced.mtu_custom")};
constexpr Variant mtu_variants[] = {{"custom", custom_mtu_rules}};

// Servers announced to clients: the word that says where the address comes from, and the address for "custom".
struct AnnouncedRow {
  const char *source;
  const char *address;
};
constexpr AnnouncedRow announced[] = {{"advanced.gateway", "advanced.gateway_custom"},
                                      {"advanced.primary_dns", "advanced.primary_dns_custom"},
                                      {"advanced.secondary_dns", "advanced.secondary_dns_custom"},
                                      {"advanced.primary_ntp", "advanced.primary_ntp_custom"},
                                      {"advanced.secondary_ntp", "advanced.secondary_ntp_custom"},
                                      {"advanced.primary_wins", "advanced.primary_wins_custom"},
                                      {"advanced.secondary_wins", "advanced.secondary_wins_custom"}};

constexpr ValueRule relay_rules[] = {as(Rule::dnsmasq_value, rule("address", Test::closed)),
                                     as(Rule::dnsmasq_value, rule("address", Test::without, ",*")),
                                     rule("address", Test::ipv4)};

// Options whose values must be addresses for dnsmasq, and options for which it refuses a number without a size.
constexpr int address_options[] = {1,  3,  6,  7,  9,  16, 21, 28, 32, 33, 41, 42, 44,
                                   45, 48, 49, 50, 54, 65, 68, 69, 70, 71, 74, 150};
constexpr int sized_options[] = {43, 52, 53, 55, 56, 57, 61, 81, 82, 118};

constexpr ValueRule option_rules[] = {as(Rule::dnsmasq_value, range("option", 0, 254)), in_range("option")};
constexpr ValueRule option_ipv4[] = {
    rule("value_ipv4_list", Test::strings),
    as(Rule::dnsmasq_value,
       line("dhcp-option-force=net:,{option}{value_ipv4_list#1} # {name}", dnsmasq_line, interface_name))};
constexpr ValueRule option_addresses[] = {no_quote(""), rule("", Test::destination)};
constexpr ValueRule option_text[] = {
    as(Rule::dnsmasq_value, at_most("value_str", longest_option)),
    as(Rule::dnsmasq_value,
       line("dhcp-option-force=net:,{option},\"{value_str+\"\\}\" # {name}", dnsmasq_line, interface_name))};
// Two digits are one byte. An option holds up to 255 bytes, and the line has a separator before each.
constexpr ValueRule option_hex[] = {
    as(Rule::dnsmasq_value, rule("value_hex", Test::closed)), as(Rule::dnsmasq_value, at_most("value_hex", 510)),
    rule("value_hex", Test::hexadecimal),
    as(Rule::dnsmasq_value, line("dhcp-option-force=net:,{option} # {name}", dnsmasq_line, interface_name + 765))};
constexpr ValueRule option_byte[] = {range("value_bytes", 0, 255)};
constexpr ValueRule option_word[] = {range("value_bytes", 0, 65535)};
constexpr Variant option_variants[] = {
    {"str", option_text}, {"hex", option_hex}, {"1byte", option_byte}, {"2byte", option_word}};

constexpr ValueRule lease_rules[] = {
    as(Rule::dnsmasq_value, rule("ip", Test::closed)),
    as(Rule::dnsmasq_value, rule("ip", Test::reservation)),
    as(Rule::dnsmasq_value, rule("ip", Test::domain)),
    rule("ip", Test::ipv4),
    as(Rule::dnsmasq_value, rule("name", Test::closed)),
    as(Rule::dnsmasq_value, rule("name", Test::reservation)),
    as(Rule::dnsmasq_value, rule("name", Test::domain)),
    rule("name", Test::host_name),
    as(Rule::dnsmasq_value, line("dhcp-host=id:{device},{name},{ip},net:", dnsmasq_line, interface_name))};
constexpr ValueRule lease_by_mac[] = {as(Rule::dnsmasq_value, rule("mac", Test::closed)),
                                      as(Rule::dnsmasq_value, rule("mac", Test::mac_line)), rule("mac", Test::mac)};
constexpr ValueRule lease_by_device[] = {
    as(Rule::dnsmasq_value, rule("device", Test::closed)), as(Rule::dnsmasq_value, rule("device", Test::client)),
    rule("device", Test::filled), rule("device", Test::without, ",\""), rule("device", Test::without_string, " #")};

// A bound of the lease range as an address. A bound without dots is the last number of an address; the other numbers
// come from `sibling`, the other bound, or from the interface's own address.
std::string range_bound(std::string_view bound, std::string_view sibling, std::string_view own) {
  if (bound.find('.') != std::string_view::npos) return std::string(bound);
  const std::string_view base = sibling.find('.') != std::string_view::npos ? sibling : own;
  return std::string(base.substr(0, base.rfind('.') + 1)) + std::string(bound);
}

// The address of a part, without its prefix length.
std::string_view own_address(const ConfigNode *part) {
  const std::string_view address = config_get_string(part, "address");
  return address.substr(0, address.rfind('/'));
}

void check_in_subnet(const ConfigNode *place, const ConfigNode *part, uint32_t address, Rule broken) {
  const char *own = config_get_string(part, "address");
  const std::optional<Ipv4Network> subnet = ipv4_network(own);
  if (subnet.has_value() && strchr(own, '/') != nullptr && !subnet->holds(address))
    report(place, broken, {ipv4_string(address), ipv4_string(*subnet)});
}

void check_lease_range(const ConfigNode *part, const ConfigNode *server) {
  check_rules(server, bound_rules, Rule::dnsmasq_value);
  const std::string_view start = config_get_string(server, "lease_start");
  const std::string_view end = config_get_string(server, "lease_end");
  if (start.empty() || end.empty()) return;
  const std::string first = range_bound(start, end, own_address(part));
  const std::string last = range_bound(end, start, own_address(part));
  const std::optional<uint32_t> first_address = ipv4_address(first);
  const std::optional<uint32_t> last_address = ipv4_address(last);
  if (!first_address.has_value() || !last_address.has_value()) {
    report(server, Rule::dhcp_range, {printable(first), printable(last)});
  } else if (*first_address > *last_address) {
    report(server, Rule::dnsmasq_effect,
           {"the range ends before it starts: " + first + " to " + last, "write the lower address first"});
  } else {
    check_in_subnet(config_object_get(server, "lease_start"), part, *first_address, Rule::dhcp_range_outside);
    check_in_subnet(config_object_get(server, "lease_end"), part, *last_address, Rule::dhcp_range_outside);
  }
}

// Nobody leaves these keys out on purpose: without them the lines are still written, and give the clients no value.
void check_unset_options(const ConfigNode *server) {
  static constexpr char keys[] =
      "advanced.gateway advanced.mtu advanced.primary_dns advanced.secondary_dns advanced.primary_ntp "
      "advanced.secondary_ntp advanced.primary_wins advanced.secondary_wins";
  const std::string unset = unset_keys(server, keys, true);
  if (unset.empty()) return;
  const bool gateway = string_equals(server, "advanced.gateway", "");
  const bool dns =
      string_equals(server, "advanced.primary_dns", "") && string_equals(server, "advanced.secondary_dns", "");
  std::string outcome = "clients get empty options";
  if (gateway || dns)
    outcome = std::string("clients get ") + (gateway ? "no gateway" : "") + (gateway && dns ? " and " : "") +
              (dns ? "no DNS server" : "");
  report(config_nearest(server, "advanced"), Rule::dhcp_options_unset, {unset, outcome});
}

void check_announced(const ConfigNode *server) {
  for (const AnnouncedRow &row : announced) {
    const ValueRule address[] = {rule(row.address, Test::ipv4)};
    if (string_equals(server, row.source, "custom")) check_rules(server, address, Rule::dnsmasq_value);
  }
}

template <size_t n>
bool is_among(const int (&options)[n], int option) {
  return std::find(options, options + n, option) != options + n;
}

// With an unknown datatype, the mapper writes value_bytes and ignores the other values.
void check_unknown_datatype(const ConfigNode *option) {
  const int code = config_get_int(option, "option");
  const bool refused = is_among(address_options, code) || is_among(sized_options, code);
  const char *type = config_get_string(option, "datatype");
  report(config_nearest(option, "datatype"), refused ? Rule::dnsmasq_value : Rule::dhcp_option_form,
         {*type == '\0' ? "datatype is not set" : "'" + printable(type) + "' is not a datatype",
          "write ipv4, str, hex, 1byte, 2byte or 4byte"});
}

// dnsmasq needs a colon to recognize hexadecimal bytes, and a single byte has none.
void check_single_byte(const ConfigNode *option) {
  const std::string_view digits = config_get_string(option, "value_hex");
  if (digits.empty() || digits.size() > 2) return;
  const bool is_number = digits.find_first_not_of("0123456789") == std::string_view::npos;
  const bool refused = is_number && is_among(sized_options, config_get_int(option, "option"));
  report(
      config_object_get(option, "value_hex"), refused ? Rule::dnsmasq_value : Rule::dnsmasq_effect,
      {"a single byte is read as a decimal number or as letters", "give it the datatype 1byte, and write value_bytes"});
}

void check_custom_option(const ConfigNode *option) {
  static constexpr char datatypes[] = "ipv4 str hex 1byte 2byte 4byte";
  if (!config_get_bool(option, "enable")) return;
  check_rules(option, option_rules, Rule::dnsmasq_effect);
  const char *type = config_get_string(option, "datatype");
  const bool wants_addresses = is_among(address_options, config_get_int(option, "option"));
  if (!is_word_of(type, datatypes)) {
    check_unknown_datatype(option);
  } else if (strcmp(type, "ipv4") == 0) {
    const Rule broken = wants_addresses ? Rule::dnsmasq_value : Rule::dnsmasq_effect;
    check_rules(option, option_ipv4, broken);
    check_strings(option, "value_ipv4_list", option_addresses, broken);
  } else if (wants_addresses) {
    report(config_object_get(option, "datatype"), Rule::dnsmasq_value,
           {"the values of option " + std::to_string(config_get_int(option, "option")) + " are addresses",
            "give it the datatype ipv4"});
  } else {
    if (strcmp(type, "hex") == 0) check_single_byte(option);
    check_variants(option, "datatype", option_variants, Rule::dnsmasq_effect);
  }
}

void check_identifier(const ConfigNode *lease) {
  const char *type = config_get_string(lease, "type");
  if (*type == '\0') {
    const bool has_mac = *config_get_string(lease, "mac") != '\0';
    report_unset(lease, "type", Rule::dnsmasq_effect,
                 has_mac ? "write \"type\": \"mac\", as mac is set" : "write one of: mac device");
    if (*config_get_string(lease, "device") == '\0') return;
  }
  check_rules(lease, strcmp(type, "mac") == 0 ? ValueRules(lease_by_mac) : ValueRules(lease_by_device),
              Rule::dnsmasq_effect);
}

// Records the address of a reservation. False when the run leaves the reservation out.
bool claim_address(DhcpCheck &check, const ConfigNode *server, const ConfigNode *lease) {
  const char *address = config_get_string(lease, "ip");
  const auto [row, is_new] = check.reserved.emplace(address, Reservation{lease, server});
  if (is_new) return true;
  const bool same_server = row->second.server == server;
  report(config_nearest(lease, "ip"), same_server ? Rule::lease_twice : Rule::lease_elsewhere,
         {printable(address), path_of(row->second.lease)});
  return !same_server;
}

void check_static_lease(DhcpCheck &check, const ConfigNode *part, const ConfigNode *server, const ConfigNode *lease) {
  check_rules(lease, lease_rules, Rule::dnsmasq_effect);
  const char *string = config_get_string(lease, "ip");
  if (*string != '\0' && !claim_address(check, server, lease)) return;
  check_identifier(lease);
  const std::optional<uint32_t> address = ipv4_address(string);
  if (!address.has_value()) return;
  const ConfigNode *place = config_object_get(lease, "ip");
  if (address == ipv4_address(own_address(part)))
    report(place, Rule::lease_of_router, {string});
  else
    check_in_subnet(place, part, *address, Rule::lease_outside);
}

void check_server(DhcpCheck &check, const ConfigNode *part, const ConfigNode *server) {
  check_lease_range(part, server);
  if (const int32_t seconds = config_get_duration(server, "lease_time"); seconds < 120)
    report(config_nearest(server, "lease_time"), Rule::dhcp_lease_time, {std::to_string(seconds)});
  check_rules(server, dhcp_rules, Rule::dnsmasq_effect);
  check_variants(server, "advanced.mtu", mtu_variants, Rule::dnsmasq_effect);
  check_unset_options(server);
  check_announced(server);
  for (const ConfigNode *option : entries_at(server, "advanced.custom_option")) check_custom_option(option);
  for (const ConfigNode *lease : entries_at(server, "advanced.static_lease"))
    check_static_lease(check, part, server, lease);
}

void check_part(DhcpCheck &check, const NetworkNode *node) {
  const ConfigNode *part = network_config(node);
  const ConfigNode *server = config_object(part, "dhcp_server");
  const bool serves = config_get_bool(server, "enable");
  if (!serves && config_array_count(config_array(part, "dhcp_relay")) == 0) return;
  // Without a device, the mapper writes nothing.
  const NetworkNode *device = network_find_parent(node, NETWORK_NODE_DEVICE);
  if (device == nullptr) return;
  const auto taken = check.passthrough.find(device);
  if (taken != check.passthrough.end()) {
    report(serves ? server : config_array(part, "dhcp_relay"), Rule::dhcp_taken, {network_name(taken->second)});
  } else if (serves) {
    if (network_interface_type(node) == NETWORK_INTERFACE_HYBRID) report(server, Rule::dhcp_hybrid);
    check_server(check, part, server);
  } else {
    check_each(part, "dhcp_relay", relay_rules, Rule::dnsmasq_effect);
  }
}

bool has_server(const NetworkNode *node) {
  const uint32_t type = network_interface_type(node);
  return type == NETWORK_INTERFACE_STATIC || type == NETWORK_INTERFACE_HYBRID;
}

// Reports servers that the mapper ignores: on an interface that gets its own address by DHCP, and below ipv6.
void check_unused(const NetworkModel *model, const ConfigNode *interface) {
  if (!config_get_bool(interface, "enable")) return;
  for (const char *family : {"ipv4", "ipv6"}) {
    const ConfigNode *part = config_object(interface, family);
    if (!config_get_bool(part, "dhcp_server.enable")) continue;
    const NetworkNode *node = network_find_proto(model, interface, family);
    const char *type = network_type(node) == NETWORK_NODE_PROTO ? config_get_string(part, "type")
                                                                : config_get_string(interface, "type");
    if (strcmp(family, "ipv6") == 0)
      report(config_object(part, "dhcp_server"), Rule::dhcp_unused, {"below ipv6"});
    else if (node != nullptr && !has_server(node))
      report(config_object(part, "dhcp_server"), Rule::dhcp_unused, {"on an interface of type " + printable(type)});
  }
}

// Checks all servers on interfaces of one type. Hybrid interfaces come last: an address that they reserve too is a
// mistake only in LAN mode.
void check_servers(DhcpCheck &check, const NetworkModel *model, uint32_t interface_type) {
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_PROTO))
    if (network_interface_type(node) == interface_type) check_part(check, node);
}

}  // namespace

void check_dhcp(const NetworkModel *model, const ConfigNode *root, bool lan_mode) {
  DhcpCheck check;
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_INTERFACE))
    if (network_interface_type(node) == NETWORK_INTERFACE_PASSTHROUGH)
      check.passthrough.emplace(network_find_parent(node, NETWORK_NODE_DEVICE), node);
  check_servers(check, model, NETWORK_INTERFACE_STATIC);
  document_of(root).in_lan_mode = !lan_mode;
  check_servers(check, model, NETWORK_INTERFACE_HYBRID);
  document_of(root).in_lan_mode = false;
  for (const ConfigNode *interface : entries_at(root, "network.interface")) check_unused(model, interface);
}
