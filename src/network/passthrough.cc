// Writes the sections of passthrough interfaces, which give the addresses of another interface to a client.
#include <cstring>

#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

struct Family {
  char digit;
  const char *name;
};
const Family ipv4 = {'4', "ipv4"};
const Family ipv6 = {'6', "ipv6"};

// True for a source that is up and whose health check, if any, has not failed.
bool is_usable(const char *source, const Family &family) {
  OwnedString passed(runt_get_string_pathf("vigil.ipv%c_interface_%s.passed", family.digit, source));
  if (*or_empty(passed.get()) == 'n') return false;
  return runt_get_int_pathf(0, "network.interface.%s.ipv%c.up", source, family.digit) != 0;
}

// The first usable source in configured order, or null.
const char *choose_source(const ConfigNode *passthrough, const Family &family) {
  for (const char *source : string_elements(config_array(passthrough, "src")))
    if (is_usable(or_empty(source), family)) return or_empty(source);
  return nullptr;
}

const OptionRow pppoe_server_options[] = {
    {"service_name", "service_name"},
    {"ac_name", "ac_name"},
    {"auth", "auth"},
};

void write_pppoe_server(FILE *out, const ConfigNode *passthrough) {
  if (!config_has_key(passthrough, "type")) return;
  uci_write_option_string(out, "type", config_get_string(passthrough, "type"));
  const ConfigNode *server = config_object(passthrough, "pppoe_server");
  uci_write_options(out, server, pppoe_server_options);
  ppp_write_account(out, server);
}

void write_fact(FILE *out, const char *option, const char *source, const Family &family, const char *fact,
                const char *fallback) {
  OwnedString value(runt_get_string_pathf("network.interface.%s.%s.%s", source, family.name, fact));
  uci_write_option_string(out, option, value != nullptr ? value.get() : fallback);
}

void write_fact_list(FILE *out, const char *option, const char *source, const Family &family, const char *fact) {
  OwnedList names(runt_keys_pathf("network.interface.%s.%s.%s", source, family.name, fact));
  OwnedList values;
  for (const char *name : strings(names.get())) {
    OwnedString value(runt_get_string_pathf("network.interface.%s.%s.%s.%s", source, family.name, fact, name));
    if (value != nullptr) append(values, value.get());
  }
  uci_write_option_list(out, option, values.get(), " ");
}

// Writes the settings of the source, which the interface manager passes on to the client.
void write_source(FILE *out, const char *source, const Family &family) {
  uci_write_option(out, "passthrough_src", "interface_%s", source);
  write_fact(out, "ipaddr", source, family, "address", "");
  write_fact(out, "netmask", source, family, "netmask", "");
  write_fact(out, "gateway", source, family, "gateway", "");
  write_fact(out, "client_mtu", source, family, "mtu", "1500");
  write_fact_list(out, "dns_server", source, family, "dns");
  write_fact_list(out, "dns_domain", source, family, "dns_domain");
}

void write_ancillary(FILE *out, const ConfigNode *passthrough) {
  const char *address = string_at(passthrough, "ancillary.address");
  const char *slash = strchr(address, '/');
  uci_write_option_string(out, "ancillary_ipaddr", string_before(address, '/').c_str());
  uci_write_option_string(out, "ancillary_netmask", slash != nullptr ? slash + 1 : "");
  uci_write_option_string(out, "ancillary_gateway", config_get_string(passthrough, "ancillary.gw"));
  uci_write_option_bool(out, "ancillary_dns_redirect", config_get_bool(passthrough, "ancillary.dns"));
}

// Writes the section that adds the ancillary gateway address to the loopback device.
void write_ancillary_loopback(FILE *out, const NetworkNode *part, const ConfigNode *passthrough) {
  uci_write_section(out, "interface", "passthrough_ancillary_%s", or_empty(network_interface_name(part)));
  uci_write_option_string(out, "proto", "static");
  uci_write_option_string(out, "ifname", "lo");
  uci_write_option_string(out, "ipaddr", config_get_string(passthrough, "ancillary.gw"));
  uci_write_option_string(out, "netmask", "32");
}

void write_part(FILE *out, const NetworkNode *part, const NetworkNode *device, const ConfigNode *passthrough) {
  bool is_ipv6 = network_interface_type(part) == NETWORK_INTERFACE_PASSTHROUGH6;
  const Family &family = is_ipv6 ? ipv6 : ipv4;
  const char *source = choose_source(passthrough, family);
  bool has_ancillary = !is_ipv6 && config_get_bool(passthrough, "ancillary.enable");
  if (source != nullptr || has_ancillary) {
    uci_write_interface_section(out, part);
    uci_write_ifname(out, device);
    uci_write_mtu(out, network_config(part));
    uci_write_option(out, "proto", "passthrough%c", family.digit);
    write_pppoe_server(out, passthrough);
    if (source != nullptr) write_source(out, source, family);
    if (has_ancillary) write_ancillary(out, passthrough);
  }
  if (has_ancillary) write_ancillary_loopback(out, part, passthrough);
}

}  // namespace

void uci_write_passthrough_interface(FILE *out, const NetworkNode *node, const NetworkNode *device) {
  const ConfigNode *passthrough = config_object(network_config(node), "passthrough");
  for (const NetworkNode *part : nodes_of_type(node, NETWORK_NODE_PROTO)) write_part(out, part, device, passthrough);
}
