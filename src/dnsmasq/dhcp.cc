// DHCP server sections, one per LAN interface.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "dnsmasq/dnsmasq.h"
#include "main/owned.h"
#include "main/string_set.h"
#include "main/strings.h"
#include "output/quote.h"
#include "platform/ranges.h"

namespace {

const int32_t minimum_lease_seconds = 120;

// Codes of DHCP options that are written by number.
const int option_router = 3;
const int option_tftp_server = 66;

// True when the runtime store says that the hybrid interface serves the LAN at the moment.
bool is_hybrid_lan_mode() {
  std::optional<bool> &lan_mode = dnsmasq_run->hybrid_lan_mode;
  if (!lan_mode) {
    lan_mode = runt_init() == 0 && runt_get_bool("hybrid.lanmode", false);
    runt_deinit();
  }
  return *lan_mode;
}

const NetworkNode *device_of(const NetworkNode *node) {
  return network_find_parent(node, NETWORK_NODE_DEVICE);
}

void write_header(FILE *file, const char *name) {
  fprintf(file, "\n# network interface '%s' configurations\n", name);
}

// The string up to the last `separator`, or all of it when there is none.
std::string_view head_of(std::string_view string, char separator) {
  return string.substr(0, string.rfind(separator));
}

void write_relays(FILE *file, const ConfigNode *config, const std::string &address) {
  for (const ConfigNode *relay : elements(config_array(config, "dhcp_relay")))
    fprintf(file, "dhcp-relay=%s,%s\n", address.c_str(), string_at(relay, "address"));
}

// One bound of the lease range, as an address. A bound without a dot is the last part of an address. The first parts
// come from the other bound, or from the interface's own network when neither bound has a dot.
std::string range_bound(std::string_view bound, std::string_view other, std::string_view network) {
  if (bound.find('.') != bound.npos) return std::string(bound);
  std::string whole(other.find('.') != other.npos ? head_of(other, '.') : network);
  return whole.append(".").append(bound);
}

void write_range(FILE *file, const char *name, const ConfigNode *server, std::string_view network) {
  const char *start = string_at(server, "lease_start");
  const char *end = string_at(server, "lease_end");
  int32_t seconds = config_get_duration(server, "lease_time");
  fprintf(file, "dhcp-range=%s,%s,%s,%ds\n", name, range_bound(start, end, network).c_str(),
          range_bound(end, start, network).c_str(), std::max(seconds, minimum_lease_seconds));
}

// ",ADDRESS" of one server: 0.0.0.0 for the router itself, or the configured address; "" for no server.
std::string server_address(const ConfigNode *advanced, const char *key, const char *custom_key) {
  const char *choice = config_get_string(advanced, key);
  if (equals(choice, "auto")) return ",0.0.0.0";
  if (equals(choice, "custom")) return std::string(",") + string_at(advanced, custom_key);
  return {};
}

// Options that name a primary and a secondary server.
struct ServerOptionRow {
  const char *option;
  const char *primary;
  const char *primary_custom;
  const char *secondary;
  const char *secondary_custom;
  const char *comment;
  bool may_be_left_out;  // no line when both servers are "none"
};

const ServerOptionRow server_options[] = {
    {"6", "primary_dns", "primary_dns_custom", "secondary_dns", "secondary_dns_custom", "dns server", false},
    {"option:ntp-server", "primary_ntp", "primary_ntp_custom", "secondary_ntp", "secondary_ntp_custom", "ntp server",
     true},
    {"44", "primary_wins", "primary_wins_custom", "secondary_wins", "secondary_wins_custom", "wins server", true},
};

void write_server_options(FILE *file, const char *name, const ConfigNode *advanced) {
  for (const ServerOptionRow &row : server_options) {
    if (row.may_be_left_out && equals(config_get_string(advanced, row.primary), "none") &&
        equals(config_get_string(advanced, row.secondary), "none"))
      continue;
    fprintf(file, "dhcp-option=net:%s,%s%s%s # %s\n", name, row.option,
            server_address(advanced, row.primary, row.primary_custom).c_str(),
            server_address(advanced, row.secondary, row.secondary_custom).c_str(), row.comment);
  }
}

void write_gateway(FILE *file, const char *name, const ConfigNode *advanced) {
  fprintf(file, "dhcp-option=net:%s,%d%s # gateway address\n", name, option_router,
          server_address(advanced, "gateway", "gateway_custom").c_str());
}

void write_mtu(FILE *file, const char *name, const ConfigNode *advanced) {
  const char *choice = config_get_string(advanced, "mtu");
  if (equals(choice, "auto")) return;
  fprintf(file, "dhcp-option-force=net:%s,option:mtu", name);
  if (equals(choice, "custom")) fprintf(file, ",%d", config_get_int(advanced, "mtu_custom"));
  fprintf(file, " # mtu value\n");
}

// The digits in pairs with ":" between them.
std::string hex_pairs(std::string_view digits) {
  std::string pairs;
  for (size_t i = 0; i < digits.size(); i++) {
    if (i > 0 && i % 2 == 0) pairs += ':';
    pairs += digits[i];
  }
  return pairs;
}

// The suffix that gives dnsmasq the width of a number.
const char *width_suffix(const char *datatype) {
  if (equals(datatype, "1byte")) return "b";
  if (equals(datatype, "2byte")) return "s";
  if (equals(datatype, "4byte")) return "i";
  return "";
}

std::string option_value(const ConfigNode *option) {
  const char *datatype = config_get_string(option, "datatype");
  if (equals(datatype, "ipv4")) {
    OwnedList addresses(config_get_string_list(option, "value_ipv4_list"));
    OwnedString joined(sl_join(addresses.get(), ","));
    return or_empty(joined.get());
  }
  if (equals(datatype, "str")) return "\"" + dnsmasq_escape_quoted(string_at(option, "value_str")) + "\"";
  if (equals(datatype, "hex")) return hex_pairs(string_at(option, "value_hex"));
  return format("%d%s", config_get_int(option, "value_bytes"), width_suffix(datatype));
}

void write_custom_options(FILE *file, const char *name, const ConfigNode *advanced) {
  for (const ConfigNode *option : elements(config_array(advanced, "custom_option"))) {
    if (!config_get_bool(option, "enable")) continue;
    fprintf(file, "dhcp-option%s=net:%s,%d,%s", config_get_bool(option, "force") ? "-force" : "", name,
            config_get_int(option, "option"), option_value(option).c_str());
    const char *comment = config_get_string(option, "name");
    if (is_set(comment)) fprintf(file, " # %s", comment);
    fprintf(file, "\n");
  }
}

void write_static_lease(FILE *file, const char *name, const ConfigNode *lease, StringSet &used) {
  bool by_mac = equals(config_get_string(lease, "type"), "mac");
  const char *owner = string_at(lease, by_mac ? "mac" : "device");
  OwnedString with_colons(by_mac && strchr(owner, '-') != nullptr ? replace_char(owner, '-', ':') : nullptr);
  if (with_colons != nullptr) owner = with_colons.get();
  const char *host = string_at(lease, "name");
  const char *ip = string_at(lease, "ip");
  if (!used.insert(ip)) {
    log_error("Duplicate static IP detected; IP address '%s' for '%s' ignored.", ip, is_set(host) ? host : owner);
  } else if (is_set(host)) {
    fprintf(file, "dhcp-host=%s%s,%s,%s,net:%s\n", by_mac ? "" : "id:", owner, host, ip, name);
  } else {
    fprintf(file, "dhcp-host=%s%s,%s,net:%s\n", by_mac ? "" : "id:", owner, ip, name);
  }
}

void write_static_leases(FILE *file, const char *name, const ConfigNode *advanced) {
  const ConfigNode *leases = config_array(advanced, "static_lease");
  StringSet used(config_array_count(leases));
  for (const ConfigNode *lease : elements(leases)) write_static_lease(file, name, lease, used);
}

void write_boot_server(FILE *file, const char *name, const ConfigNode *advanced) {
  std::string bootfile = dnsmasq_escape_quoted(string_at(advanced, "bootfile"));
  std::string server = dnsmasq_escape_quoted(string_at(advanced, "tftp_server"));
  if (!server.empty()) {
    fprintf(file, "dhcp-option=net:%s,%d,%s # tftp server\n", name, option_tftp_server, server.c_str());
    fprintf(file, "dhcp-boot=net:%s,%s,,%s # bootp server\n", name, bootfile.c_str(), server.c_str());
  } else if (!bootfile.empty()) {
    fprintf(file, "dhcp-boot=net:%s,%s # bootp server\n", name, bootfile.c_str());
  }
}

void write_server_section(FILE *file, const char *name, const ConfigNode *config, std::string_view network) {
  const ConfigNode *server = config_object(config, "dhcp_server");
  const ConfigNode *advanced = config_object(server, "advanced");
  write_header(file, name);
  write_range(file, name, server, network);
  const char *suffix = config_get_string(advanced, "domain_suffix");
  if (is_set(suffix)) {
    fprintf(file, "domain=%s,%s # domain name suffix\n", dnsmasq_escape_quoted(suffix).c_str(),
            string_at(config, "address"));
  }
  write_gateway(file, name, advanced);
  write_mtu(file, name, advanced);
  write_server_options(file, name, advanced);
  write_custom_options(file, name, advanced);
  write_static_leases(file, name, advanced);
  write_boot_server(file, name, advanced);
  if (config_get_bool(advanced, "bootp_dynamic")) fprintf(file, "bootp-dynamic=%s\n", name);
}

// Announces the prefix that was delegated to the router. Clients make their own addresses, and the server only answers
// their queries for other settings.
void write_delegated_prefix(FILE *file, const NetworkNode *node) {
  if (!config_get_bool(network_config(node), "dhcpv6_server.enable")) return;
  const NetworkNode *device = device_of(node);
  if (device == nullptr || dnsmasq_is_passthrough_source(device)) return;
  const char *name = or_empty(network_name(node));
  write_header(file, name);
  fprintf(file, "dhcp-range=%s,::,constructor:%s,ra-stateless\n", name, or_empty(network_name(device)));
}

void write_exception(FILE *file, const NetworkNode *node) {
  const NetworkNode *device = device_of(node);
  if (device != nullptr) fprintf(file, "except-interface=%s\n", or_empty(network_name(device)));
}

}  // namespace

DnsmasqRun begin_dnsmasq_run(const NetworkModel *model) {
  DnsmasqRun run;
  for (const NetworkNode *interface : nodes_of_type(model, NETWORK_NODE_INTERFACE))
    if (network_interface_type(interface) == NETWORK_INTERFACE_PASSTHROUGH)
      run.passthrough_devices.insert(device_of(interface));
  return run;
}

void dnsmasq_walk_interface(FILE *file, const NetworkNode *node) {
  switch (network_interface_type(node)) {
    case NETWORK_INTERFACE_STATIC:
      dnsmasq_write_dhcp_section(file, node);
      break;
    case NETWORK_INTERFACE_HYBRID:
      if (is_hybrid_lan_mode()) dnsmasq_write_dhcp_section(file, node);
      break;
    case NETWORK_INTERFACE_PREFIX_DELEGATION:
      write_delegated_prefix(file, node);
      break;
    case NETWORK_INTERFACE_PASSTHROUGH:
    case NETWORK_INTERFACE_HOTSPOT:
      write_exception(file, node);
      break;
    case NETWORK_INTERFACE_WISUN:
      break;
    default:
      for (const NetworkNode *part : nodes_of_type(node, NETWORK_NODE_PROTO)) dnsmasq_walk_interface(file, part);
  }
}

void dnsmasq_write_dhcp_section(FILE *file, const NetworkNode *node) {
  const NetworkNode *device = device_of(node);
  if (device == nullptr || dnsmasq_is_passthrough_source(device)) return;
  const ConfigNode *config = network_config(node);
  std::string address(head_of(string_at(config, "address"), '/'));
  if (!config_get_bool(config, "dhcp_server.enable")) {
    write_relays(file, config, address);
  } else if (address.find('.') != address.npos) {
    write_server_section(file, or_empty(network_name(node)), config, head_of(address, '.'));
  }
}

bool dnsmasq_is_passthrough_source(const NetworkNode *device) {
  return dnsmasq_run->passthrough_devices.contains(device);
}
