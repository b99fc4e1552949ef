// Settings without their `enable`, and options that are written empty because a key is missing.
#include <cstring>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"

namespace {

// True for an object that has members, but no `enable`.
bool lacks_switch(const ConfigNode *object) {
  return config_object_first(object) != nullptr && !config_has_key(object, "enable");
}

void check_switch(const ConfigNode *object) {
  if (lacks_switch(object)) report(object, Rule::never_enabled);
}

// Maps and arrays whose entries have an `enable`.
constexpr const char *switched[] = {
    "service.multicast",
    "network.route.static",
    "network.route.policy",
    "network.bridge",
    "network.bond",
    "network.macsec",
    "vpn.ipsec.tunnel",
    "vpn.openvpn.client",
    "vpn.openvpn.server",
    "vpn.iptunnel",
    "vpn.l2tpeth",
    "vpn.nemo",
    "serial",
};

// Skips what is below a disabled interface or part.
void check_interface(const ConfigNode *interface) {
  check_switch(interface);
  if (!config_get_bool(interface, "enable")) return;
  for (const char *family : {"ipv4", "ipv6"}) {
    const ConfigNode *part = config_object(interface, family);
    check_switch(part);
    if (config_get_bool(part, "enable")) check_switch(config_object(part, "dhcp_server"));
    if (config_get_bool(part, "dhcp_server.enable"))
      for (const ConfigNode *option : entries_at(part, "dhcp_server.advanced.custom_option")) check_switch(option);
  }
}

// Keys whose options are written empty when they are missing.
struct EmptyRow {
  const char *map;
  const char *type;  // only entries of this type; "" for all
  const char *keys;  // with spaces between them
};
constexpr EmptyRow empty_rows[] = {
    {"network.interface", "pppoe", "pppoe.username pppoe.password"},
    {"network.interface", "modem", "modem.operator_mode modem.operator_technology"},
    {"vpn.l2tp.lac", "", "username password"},
    {"vpn.l2tp.lns", "", "lac local_address remote_address auth username password"},
    {"vpn.nemo", "", "key spi"},
    {"serial", "", "flow ppp_dialin.auth ppp_dialin.username ppp_dialin.password"},
};

// L2TP has one switch for all entries.
bool is_on(const ConfigNode *root, const EmptyRow &row, const ConfigNode *entry) {
  if (*row.type != '\0' && !string_equals(entry, "type", row.type)) return false;
  if (strncmp(row.map, "vpn.l2tp", 8) == 0) return config_get_bool(root, "vpn.l2tp.enable");
  return config_get_bool(entry, "enable");
}

}  // namespace

void check_switches(const ConfigNode *root) {
  for (const char *path : switched)
    for (const ConfigNode *entry : entries_at(root, path)) check_switch(entry);
  for (const ConfigNode *interface : entries_at(root, "network.interface")) check_interface(interface);
  check_switch(config_object(root, "vpn.l2tp"));
}

void check_empty_options(const ConfigNode *root) {
  for (const EmptyRow &row : empty_rows) {
    for (const ConfigNode *entry : entries_at(root, row.map)) {
      if (!is_on(root, row, entry)) continue;
      const std::string keys = unset_keys(entry, row.keys, false);
      if (!keys.empty()) report(entry, Rule::empty_options, {keys});
    }
  }
}
