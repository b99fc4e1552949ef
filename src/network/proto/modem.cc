// Writes the sections of cellular interfaces and their lists of access points.
#include "main/owned.h"
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/digest.h"
#include "network/proto/proto.h"
#include "output/files.h"
#include "output/quote.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

const OptionRow modem_rows[] = {
    {"modem_name", "device"},
    {"pin", "pin"},
    {"retry_seconds", "retry_seconds", OptionKind::integer},
    {"registration_timeout", "registration_timeout", OptionKind::integer},
    {"connection_timeout", "connection_timeout", OptionKind::integer},
    {"roaming", "roaming", OptionKind::boolean},
    {"backoff_enabled", "backoff_enabled", OptionKind::boolean},
    {"operator_mode", "operator_mode"},
    {"operator", "operator"},
    {"operator_technology", "operator_technology"},
    {"apn_push_timeout", "apn_push_timeout", OptionKind::integer},
    {"skip_cached_apns", "skip_cached_apns", OptionKind::boolean},
};

const OptionRow ipv4_rows[] = {
    {"metric4", "ipv4.metric", OptionKind::integer},
    {"mtu4", "ipv4.mtu", OptionKind::integer},
};

const OptionRow ipv6_rows[] = {
    {"metric6", "ipv6.metric", OptionKind::integer},
    {"mtu6", "ipv6.mtu", OptionKind::integer},
    {"ip6_method", "ipv6.modem_type"},
};

const OptionRow failover_rows[] = {
    {"sim_failover_retries", "sim_failover_retries", OptionKind::integer},
    {"sim_failover_alt", "sim_failover_alt"},
};

// The modem manager's number for a standard slice type; "" for any other type.
const char *slice_code(const char *type) {
  if (equals(type, "EMBB")) return "01";
  if (equals(type, "URLLC")) return "02";
  if (equals(type, "MIOT")) return "03";
  return "";
}

// The modem manager's code for the lists of access points to try.
int32_t selection_code(const char *selection) {
  if (equals(selection, "corvo_list_only")) return 4;
  if (equals(selection, "built_in_list_only")) return 1;
  if (equals(selection, "apn_list_only")) return 2;
  return 3;  // all lists
}

bool has_runtime_index(const char *key) {
  OwnedString index(runt_get_string_pathf("mm.map.interface_idx.%s", key));
  return is_set(index.get());
}

bool has_several_interfaces(const NetworkNode *modem) {
  const NetworkNode *first = network_first(modem);
  return first != nullptr && network_next_child(first) != nullptr;
}

void write_ip_options(FILE *out, const ConfigNode *interface, const ConfigNode *modem) {
  bool ipv4 = config_get_bool(interface, "ipv4.enable");
  bool ipv6 = config_get_bool(interface, "ipv6.enable");
  if (ipv4) {
    uci_write_options(out, interface, ipv4_rows);
    uci_write_option_string(out, "reqopts", "mtu");
    uci_write_option_string(out, "ip4_method", config_get_string(interface, "ipv4.modem_type"));
    const char *gateway = config_get_string(modem, "custom_gw.gateway");
    if (config_get_bool(modem, "custom_gw.enable") && is_set(gateway))
      uci_write_address(out, "custom_gateway", "custom_netmask", gateway);
  }
  if (ipv6) uci_write_options(out, interface, ipv6_rows);
  const char *version = ipv4 && ipv6 ? "auto" : ipv6 ? "ipv6" : "ipv4";
  uci_write_option_string(out, "ip_version", version);
}

// True when an attempt to connect ends as soon as the protocol is up. With a health check the attempt ends when the
// check passes, but without an address of either family there is nothing to check.
bool ends_try_when_up(const ConfigNode *interface) {
  bool has_address = config_get_bool(interface, "ipv4.enable") || config_get_bool(interface, "ipv6.enable");
  return !has_address || !config_get_bool(interface, "vigil.enable");
}

// Writes the slice type with two hexadecimal digits and the slice differentiator with six. More digits are cut off.
void write_slice(FILE *out, const ConfigNode *modem) {
  const char *type = string_at(modem, "sst");
  std::string code = slice_code(type);
  if (equals(type, "custom"))
    code = format("%02x", static_cast<unsigned>(config_get_int(modem, "custom_sst"))).substr(0, 2);
  uci_write_option_string(out, "sst", code.c_str());

  std::string differentiator;
  int32_t configured = config_get_int(modem, "sd");
  if (configured >= 1) differentiator = format("%06x", static_cast<unsigned>(configured)).substr(0, 6);
  uci_write_option_string(out, "sd", differentiator.c_str());
}

const char *carrier_to_match(const ConfigNode *access_point) {
  const char *carrier = config_get_string(access_point, "match_carrier");
  if (!is_set(carrier)) return "any";
  const char *other = config_get_string(access_point, "match_carrier_other");
  return equals(carrier, "other") && is_set(other) ? other : carrier;
}

// Writes one line of the service-providers file. The file's reader takes the last field as shell assignments.
void write_access_point(FILE *file, const ConfigNode *access_point) {
  fprintf(file, "*,*,,,%s,internet,dns='' ip_version='%s' auth='%s' username='%s' password='%s' attm2mglobal='%d' ",
          string_at(access_point, "apn"), string_at(access_point, "ip_version"), string_at(access_point, "auth"),
          shell_quote_single(string_at(access_point, "username")).c_str(),
          shell_quote_single(string_at(access_point, "password")).c_str(),
          config_get_bool(access_point, "attm2mglobal") ? 1 : 0);
  fprintf(file, "match_carrier='%s' match_plmn='%s'", shell_quote_single(carrier_to_match(access_point)).c_str(),
          string_at(access_point, "match_plmn"));
  int32_t context = config_get_int(access_point, "cid");
  if (context != 0) fprintf(file, " cid=%d", context);
  fprintf(file, "\n");
}

bool write_access_points(const char *path, const ConfigNode *modem) {
  OwnedStream file = open_output(path);
  if (file == nullptr) return false;
  for (const ConfigNode *access_point : elements(config_array(modem, "apn")))
    write_access_point(file.get(), access_point);
  return true;
}

void write_service_providers(FILE *out, const char *key, const ConfigNode *modem) {
  if (!is_path_component(key)) return;
  std::string path = format("/var/run/serviceproviders-%s.txt", key);
  if (!write_access_points(path.c_str(), modem)) return;
  uci_write_option_string(out, "service_providers", path.c_str());
  OwnedString output(_process_capture(-1, -1, 1, 0, 0, "md5sum", path.c_str(), nullptr));
  uci_write_md5sum(out, "service_providers_md5sum", output.get());
  uci_write_option_int(out, "service_providers_override", selection_code(string_at(modem, "apn_selection")));
}

}  // namespace

void modem_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *interface = network_config(node);
  const NetworkNode *modem_node = network_find_parent(node, NETWORK_NODE_MODEM);
  const char *key = or_empty(config_key(interface));
  if (modem_node == nullptr || !has_runtime_index(key)) return;
  const ConfigNode *modem = config_object(interface, "modem");

  uci_write_interface_section(out, node);
  uci_write_option_string(out, "proto", "mm");
  uci_write_options(out, modem, modem_rows);
  uci_write_option_bool(out, "multi_bearer", has_several_interfaces(modem_node));
  uci_write_option_int(out, "interface_number", runt_get_int_pathf(0, "mm.map.interface_number.%s", key));
  const ConfigNode *system = config_lookup(config_node_get_root(interface), "system");
  uci_write_option_string(out, "hostname", config_get_string(system, "name"));
  uci_write_option_bool(out, "dhcp_hostname", false);
  write_ip_options(out, interface, modem);
  uci_write_option_bool(out, "clear_try_on_proto_up", ends_try_when_up(interface));
  if (config_get_bool(modem, "sim_failover") &&
      equals(config_get_string(network_config(modem_node), "sim_slot"), "any"))
    uci_write_options(out, modem, failover_rows);
  write_slice(out, modem);
  write_service_providers(out, key, modem);
  uci_write_passthrough(out, node);
}
