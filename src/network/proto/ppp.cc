// Writes the sections of PPP links: over ethernet, through L2TP tunnels, and dial-in over a serial port.
#include "main/owned.h"
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"

namespace {

const OptionRow account_rows[] = {
    {"username", "username"},
    {"password", "password"},
    {"custom_enable", "custom.enable", OptionKind::boolean},
    {"custom_override", "custom.override", OptionKind::boolean},
    {"custom_config_file", "custom.config_file"},
};

const OptionRow pppoe_rows[] = {
    {"username", "pppoe.username"},
    {"password", "pppoe.password"},
    {"debug", "pppoe.debug", OptionKind::boolean},
    {"ipv4", "ipv4.enable", OptionKind::boolean},
    {"mtu4", "ipv4.mtu", OptionKind::integer},
    {"metric4", "ipv4.metric", OptionKind::integer},
    {"ipv6", "ipv6.enable", OptionKind::boolean},
    {"mtu6", "ipv6.mtu", OptionKind::integer},
    {"metric6", "ipv6.metric", OptionKind::integer},
    {"custom_enable", "pppoe.custom.enable", OptionKind::boolean},
    {"custom_override", "pppoe.custom.override", OptionKind::boolean},
    {"custom_config_file", "pppoe.custom.config_file"},
};

const OptionRow concentrator_rows[] = {
    {"lns", "lns"},
    {"port", "port", OptionKind::integer},
};

const OptionRow server_rows[] = {
    {"lac", "lac"},
    {"local_ip", "local_address"},
    {"remote_ip", "remote_address"},
    {"auth", "auth"},
    {"default_route", "default_route", OptionKind::boolean},
};

const OptionRow port_rows[] = {
    {"baudrate", "baudrate"},
    {"flow", "flow"},
    {"idle_timeout", "idle_timeout", OptionKind::seconds},
};

const OptionRow dialin_rows[] = {
    {"local_ip", "local_address"},
    {"remote_ip", "remote_address"},
    {"auth", "auth"},
    {"username", "username"},
    {"password", "password"},
    {"metric", "metric", OptionKind::integer},
    {"default_route", "default_route", OptionKind::boolean},
    {"custom_enable", "custom.enable", OptionKind::boolean},
    {"custom_override", "custom.override", OptionKind::boolean},
    {"custom_config_file", "custom.config_file"},
    {"connect_enable", "connect.enable", OptionKind::boolean},
    {"connect_script", "connect.script"},
};

}  // namespace

void ppp_write_account(FILE *out, const ConfigNode *account) {
  uci_write_options(out, account, account_rows);
}

void pppoe_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  uci_write_interface_section(out, node);
  uci_write_ifname(out, network_find_parent(node, NETWORK_NODE_DEVICE));
  // A disabled interface gets a section without a protocol, so that its name stays known.
  if (!config_get_bool(config, "enable")) return;
  uci_write_option_string(out, "proto", "pppoe");
  uci_write_options(out, config, pppoe_rows);
}

void l2tp_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  const ConfigNode *service = config_node_parent(config_node_parent(config));
  if (!config_get_bool(service, "enable")) return;
  uci_write_interface_section(out, node);
  uci_write_ifname(out, node);
  uci_write_option_int(out, "config_cookie", runt_get_int32("vpn.l2tp.config_cookie", 0));
  uci_write_option_bool(out, "debug", config_get_bool(service, "debug"));
  uci_write_option_int(out, "metric", config_get_int(config, "metric"));
  ppp_write_account(out, config);
  // Only access concentrators have the key `lns`, which may be empty.
  bool is_concentrator = config_has_key(config, "lns");
  uci_write_option_string(out, "proto", is_concentrator ? "pppol2tp_lac" : "pppol2tp_lns");
  if (is_concentrator)
    uci_write_options(out, config, concentrator_rows);
  else
    uci_write_options(out, config, server_rows);
}

void ppp_dialin_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  const ConfigNode *port = config_node_parent(config);
  if (!config_get_bool(port, "enable") || !equals(config_get_string(port, "mode"), "ppp_dialin")) return;
  uci_write_interface_section(out, node);
  uci_write_option_string(out, "proto", "ppp_dialin");
  OwnedString device(runt_get_string_pathf("seriald.%s.device", or_empty(config_key(port))));
  if (device != nullptr) uci_write_option_string(out, "device", device.get());
  uci_write_options(out, port, port_rows);
  uci_write_options(out, config, dialin_rows);
}
