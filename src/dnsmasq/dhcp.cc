// DHCP server sections, one per LAN interface.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "dnsmasq/dnsmasq.h"
#include "main/print.h"
#include "main/text.h"
#include "main/text_set.h"
#include "platform/config.h"
#include "platform/network.h"
#include "platform/runt.h"
#include "platform/tools.h"

namespace {

const int32_t minimum_lease_seconds = 120;

// Codes of the DHCP options that the daemon knows no name for, or that it is given by number.
const int option_router = 3;
const int option_tftp_server = 66;

// What holds for a whole model, found once although every interface asks.
struct ModelFacts {
  const NetworkModel *model;
  std::set<const NetworkNode *> passthrough_devices;
};
std::optional<ModelFacts> model_facts;
std::optional<bool> hybrid_lan_mode;

// True when the runtime store says that the hybrid interface serves the LAN at the moment.
bool is_hybrid_lan_mode() {
  if (!hybrid_lan_mode) {
    hybrid_lan_mode = false;
    if (runt_init() == 0) {
      hybrid_lan_mode = runt_get_bool("hybrid.lanmode", false);
      runt_deinit();
    }
  }
  return *hybrid_lan_mode;
}

const NetworkNode *device_of(const NetworkNode *node) {
  return network_find_parent(node, NETWORK_NODE_DEVICE);
}

void write_header(FILE *file, const char *name) {
  print(file, {"\n# network interface '", name, "' configurations\n"});
}

// The text up to the last `separator`; all of it when there is none.
std::string_view head_of(std::string_view text, char separator) {
  return text.substr(0, text.rfind(separator));
}

void write_text(FILE *file, std::string_view text) {
  fwrite_unlocked(text.data(), 1, text.size(), file);
}

void write_escaped(FILE *file, const char *text) {
  OwnedText escaped = dnsmasq_escape_quoted(text);
  print(file, escaped != nullptr ? escaped.get() : text);
}

void write_relays(FILE *file, const ConfigNode *config, std::string_view address) {
  for (const ConfigNode *relay = config_array_first(config_array(config, "dhcp_relay")); relay != nullptr;
       relay = config_array_next(relay)) {
    fprintf(file, "dhcp-relay=%.*s,%s\n", static_cast<int>(address.size()), address.data(), text_at(relay, "address"));
  }
}

// One bound of the lease range. A bound without a dot is only the last part of an address: the head of the other bound
// goes before it, or the interface's own network when neither holds a dot.
void write_bound(FILE *file, std::string_view bound, std::string_view other, std::string_view network) {
  if (bound.find('.') == bound.npos) {
    write_text(file, other.find('.') != other.npos ? head_of(other, '.') : network);
    print(file, ".");
  }
  write_text(file, bound);
}

void write_range(FILE *file, const char *name, const ConfigNode *server, std::string_view network) {
  std::string_view start = text_at(server, "lease_start");
  std::string_view end = text_at(server, "lease_end");
  int32_t seconds = config_get_duration(server, "lease_time");
  print(file, {"dhcp-range=", name, ","});
  write_bound(file, start, end, network);
  print(file, ",");
  write_bound(file, end, start, network);
  print(file, {",", Decimal(std::max(seconds, minimum_lease_seconds)), "s\n"});
}

// ",ADDRESS" of one server: the router itself, a configured one, or nothing.
void write_server(FILE *file, const ConfigNode *advanced, const char *key, const char *custom_key) {
  const char *choice = config_get_string(advanced, key);
  if (equals(choice, "auto")) {
    print(file, ",0.0.0.0");
  } else if (equals(choice, "custom")) {
    print(file, {",", text_at(advanced, custom_key)});
  }
}

// Options that name a primary and a secondary server.
struct ServerOptionRow {
  char option[18];  // "" ends the table
  char primary[13], primary_custom[20];
  char secondary[15], secondary_custom[22];
  char comment[12];
  bool may_be_left_out;  // when both servers are "none"
};

const ServerOptionRow server_options[] = {
    {"6", "primary_dns", "primary_dns_custom", "secondary_dns", "secondary_dns_custom", "dns server", false},
    {"option:ntp-server", "primary_ntp", "primary_ntp_custom", "secondary_ntp", "secondary_ntp_custom", "ntp server",
     true},
    {"44", "primary_wins", "primary_wins_custom", "secondary_wins", "secondary_wins_custom", "wins server", true},
    {"", "", "", "", "", "", false},
};

void write_server_options(FILE *file, const char *name, const ConfigNode *advanced) {
  for (const ServerOptionRow *row = server_options; *row->option != '\0'; row++) {
    if (row->may_be_left_out && equals(config_get_string(advanced, row->primary), "none") &&
        equals(config_get_string(advanced, row->secondary), "none"))
      continue;
    print(file, {"dhcp-option=net:", name, ",", row->option});
    write_server(file, advanced, row->primary, row->primary_custom);
    write_server(file, advanced, row->secondary, row->secondary_custom);
    print(file, {" # ", row->comment, "\n"});
  }
}

void write_gateway(FILE *file, const char *name, const ConfigNode *advanced) {
  print(file, {"dhcp-option=net:", name, ",", Decimal(option_router)});
  write_server(file, advanced, "gateway", "gateway_custom");
  print(file, " # gateway address\n");
}

void write_mtu(FILE *file, const char *name, const ConfigNode *advanced) {
  const char *choice = config_get_string(advanced, "mtu");
  if (equals(choice, "auto")) return;
  print(file, {"dhcp-option-force=net:", name, ",option:mtu"});
  if (equals(choice, "custom")) print(file, {",", Decimal(config_get_int(advanced, "mtu_custom"))});
  print(file, " # mtu value\n");
}

void write_hex_value(FILE *file, const char *digits) {
  print(file, ",");
  for (size_t i = 0; digits[i] != '\0'; i++) {
    if (i > 0 && i % 2 == 0) print(file, ":");
    fwrite_unlocked(digits + i, 1, 1, file);
  }
}

// Suffixes that tell the daemon the width of a number.
struct WidthRow {
  char datatype[6];  // "" ends the table
  char suffix[2];
};
const WidthRow number_widths[] = {{"1byte", "b"}, {"2byte", "s"}, {"4byte", "i"}, {"", ""}};

void write_number_value(FILE *file, int32_t value, const char *datatype) {
  fprintf(file, ",%d", value);
  for (const WidthRow *row = number_widths; *row->datatype != '\0'; row++)
    if (equals(datatype, row->datatype)) print(file, row->suffix);
}

void write_option_value(FILE *file, const ConfigNode *option) {
  const char *datatype = config_get_string(option, "datatype");
  if (equals(datatype, "ipv4")) {
    OwnedList addresses(config_get_string_list(option, "value_ipv4_list"));
    OwnedText joined(sl_join(addresses.get(), ","));
    fprintf(file, ",%s", or_empty(joined.get()));
  } else if (equals(datatype, "str")) {
    print(file, ",\"");
    write_escaped(file, text_at(option, "value_str"));
    print(file, "\"");
  } else if (equals(datatype, "hex")) {
    write_hex_value(file, text_at(option, "value_hex"));
  } else {
    write_number_value(file, config_get_int(option, "value_bytes"), datatype);
  }
}

void write_custom_options(FILE *file, const char *name, const ConfigNode *advanced) {
  for (const ConfigNode *option = config_array_first(config_array(advanced, "custom_option")); option != nullptr;
       option = config_array_next(option)) {
    if (!config_get_bool(option, "enable")) continue;
    fprintf(file, "dhcp-option%s=net:%s,%d", config_get_bool(option, "force") ? "-force" : "", name,
            config_get_int(option, "option"));
    write_option_value(file, option);
    const char *comment = config_get_string(option, "name");
    if (is_set(comment)) fprintf(file, " # %s", comment);
    print(file, "\n");
  }
}

void write_static_leases(FILE *file, const char *name, const ConfigNode *advanced) {
  const ConfigNode *leases = config_array(advanced, "static_lease");
  TextSet used(config_array_count(leases));
  std::string mac;
  const std::string line_end = std::string(",net:") + name + "\n";
  for (const ConfigNode *lease = config_array_first(leases); lease != nullptr; lease = config_array_next(lease)) {
    bool by_mac = equals(config_get_string(lease, "type"), "mac");
    const char *host = text_at(lease, "name");
    const char *ip = text_at(lease, "ip");
    const char *id = text_at(lease, by_mac ? "mac" : "device");
    if (by_mac && strchr(id, '-') != nullptr) {
      mac = id;
      std::replace(mac.begin(), mac.end(), '-', ':');
      id = mac.c_str();
    }
    if (!used.insert(ip)) {
      log_error("Duplicate static IP detected; IP address '%s' for '%s' ignored.", ip, is_set(host) ? host : id);
      continue;
    }
    print(file,
          {by_mac ? "dhcp-host=" : "dhcp-host=id:", id, is_set(host) ? "," : "", host, ",", ip, line_end.c_str()});
  }
}

void write_boot_server(FILE *file, const char *name, const ConfigNode *advanced) {
  const char *bootfile = text_at(advanced, "bootfile");
  const char *server = text_at(advanced, "tftp_server");
  OwnedText escaped_bootfile = dnsmasq_escape_quoted(bootfile);
  OwnedText escaped_server = dnsmasq_escape_quoted(server);
  if (escaped_bootfile != nullptr) bootfile = escaped_bootfile.get();
  if (escaped_server != nullptr) server = escaped_server.get();
  if (is_set(server)) {
    fprintf(file, "dhcp-option=net:%s,%d,%s # tftp server\n", name, option_tftp_server, server);
    fprintf(file, "dhcp-boot=net:%s,%s,,%s # bootp server\n", name, bootfile, server);
  } else if (is_set(bootfile)) {
    fprintf(file, "dhcp-boot=net:%s,%s # bootp server\n", name, bootfile);
  }
}

void write_server_section(FILE *file, const char *name, const ConfigNode *config, std::string_view network) {
  const ConfigNode *server = config_object(config, "dhcp_server");
  const ConfigNode *advanced = config_object(server, "advanced");
  write_header(file, name);
  write_range(file, name, server, network);
  const char *suffix = config_get_string(advanced, "domain_suffix");
  if (is_set(suffix)) {
    print(file, "domain=");
    write_escaped(file, suffix);
    fprintf(file, ",%s # domain name suffix\n", text_at(config, "address"));
  }
  write_gateway(file, name, advanced);
  write_mtu(file, name, advanced);
  write_server_options(file, name, advanced);
  write_custom_options(file, name, advanced);
  write_static_leases(file, name, advanced);
  write_boot_server(file, name, advanced);
  if (config_get_bool(advanced, "bootp_dynamic")) fprintf(file, "bootp-dynamic=%s\n", name);
}

// The prefix that the router was delegated: clients configure themselves, the server only answers their questions.
void write_delegated_prefix(FILE *file, const NetworkNode *node) {
  if (!config_get_bool(network_config(node), "dhcpv6_server.enable")) return;
  const NetworkNode *device = device_of(node);
  if (device == nullptr || dnsmasq_is_passthrough_source(device)) return;
  const char *name = or_empty(network_name(node));
  write_header(file, name);
  print(file, {"dhcp-range=", name, ",::,constructor:", or_empty(network_name(device)), ",ra-stateless\n"});
}

void write_exception(FILE *file, const NetworkNode *node) {
  const NetworkNode *device = device_of(node);
  if (device != nullptr) print(file, {"except-interface=", or_empty(network_name(device)), "\n"});
}

}  // namespace

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
      for (const NetworkNode *part = network_first_type(node, NETWORK_NODE_PROTO); part != nullptr;
           part = network_next_type(node, part, NETWORK_NODE_PROTO)) {
        dnsmasq_walk_interface(file, part);
      }
  }
}

void dnsmasq_write_dhcp_section(FILE *file, const NetworkNode *node) {
  const NetworkNode *device = device_of(node);
  if (device == nullptr || dnsmasq_is_passthrough_source(device)) return;
  const ConfigNode *config = network_config(node);
  std::string_view address = head_of(text_at(config, "address"), '/');
  if (!config_get_bool(config, "dhcp_server.enable")) {
    write_relays(file, config, address);
    return;
  }
  if (address.find('.') == address.npos) return;
  write_server_section(file, or_empty(network_name(node)), config, head_of(address, '.'));
}

bool dnsmasq_is_passthrough_source(const NetworkNode *device) {
  if (!model_facts || model_facts->model != dnsmasq_network_model) {
    model_facts.emplace();
    model_facts->model = dnsmasq_network_model;
    for (const NetworkNode *interface = network_first_type(dnsmasq_network_model, NETWORK_NODE_INTERFACE);
         interface != nullptr;
         interface = network_next_type(dnsmasq_network_model, interface, NETWORK_NODE_INTERFACE)) {
      if (network_interface_type(interface) == NETWORK_INTERFACE_PASSTHROUGH)
        model_facts->passthrough_devices.insert(device_of(interface));
    }
  }
  return model_facts->passthrough_devices.contains(device);
}

void dnsmasq_forget_model() {
  model_facts.reset();
  hybrid_lan_mode.reset();
}

OwnedText dnsmasq_escape_quoted(const char *text) {
  if (text[strcspn(text, "\\\"")] == '\0') return nullptr;
  std::string escaped;
  for (; *text != '\0'; text++) {
    if (*text == '\\' || *text == '"') escaped += '\\';
    escaped += *text;
  }
  char *copy;
  xasprintf(&copy, "%s", escaped.c_str());
  return OwnedText(copy);
}
