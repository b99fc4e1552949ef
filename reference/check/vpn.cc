// OpenVPN, mobile networks (NEMO), L2TP and PPP dial-in.
#include <cstring>
#include <string>
#include <string_view>

#include "check/check.h"
#include "check/findings.h"
#include "check/ipv4.h"
#include "check/values.h"
#include "config/characters.h"
#include "config/report.h"

namespace {

// A closing tag inside the value would end it, and OpenVPN would read the rest as options.
constexpr ValueRule without_tag(const char *path, const char *tag) {
  return rule(path, Test::without_string, tag);
}
constexpr char openvpn_word_ends[] = " \"'\\#;";
// The longest line, in bytes, that every build of OpenVPN accepts in the file with user name and password.
constexpr int32_t openvpn_account_line = 127;

constexpr ValueRule client_account_rules[] = {at_most("username", openvpn_account_line),
                                              at_most("password", openvpn_account_line)};
constexpr ValueRule client_file_rules[] = {rule("config_file", Test::filled)};
constexpr ValueRule client_rules[] = {rule("device_type", Test::filled),
                                      rule("device_type", Test::without, " "),
                                      as(Rule::openvpn_effect, one_of("device_type", "tun tap")),
                                      as(Rule::openvpn_effect, rule("server", Test::filled)),
                                      rule("server", Test::without, " "),
                                      as(Rule::openvpn_effect, rule("server", Test::without, openvpn_word_ends)),
                                      as(Rule::openvpn_effect, in_range("port")),
                                      line("remote {server} {port}", openvpn_line),
                                      rule("cacert", Test::filled),
                                      without_tag("cacert", "</ca>"),
                                      rule("cacert", Test::pem, "CERTIFICATE"),
                                      without_tag("public_cert", "</cert>"),
                                      optional(rule("public_cert", Test::pem, "CERTIFICATE")),
                                      without_tag("private_key", "</key>"),
                                      optional(rule("private_key", Test::pem, "PRIVATE KEY"))};
constexpr ValueRule client_pair_rules[] = {rule("public_cert", Test::filled), rule("private_key", Test::filled)};

void check_openvpn_client(const ConfigNode *client) {
  if (!config_get_bool(client, "enable")) return;
  const bool uploaded = config_get_bool(client, "use_file");
  check_rules(client, uploaded ? ValueRules(client_file_rules) : ValueRules(client_rules), Rule::openvpn_value);
  check_rules(client, client_account_rules, Rule::openvpn_effect);
  // The mapper writes both or neither.
  if (!uploaded && string_equals(client, "public_cert", "") != string_equals(client, "private_key", ""))
    check_rules(client, client_pair_rules, Rule::openvpn_effect);
}

constexpr ValueRule server_rules[] = {as(Rule::openvpn_effect, rule("device_type", Test::filled)),
                                      as(Rule::openvpn_effect, in_range("port")), rule("protocol", Test::strings)};
constexpr ValueRule protocol_rules[] = {
    one_of("", "udp udp4 udp6 tcp-server tcp4-server tcp6-server tcp tcp4 tcp6 tcp-client tcp4-client tcp6-client")};
constexpr ValueRule server_pool_rules[] = {
    as(Rule::openvpn_effect, rule("server_address", Test::ipv4_network)), range("server_first_ip", -1, 254),
    as(Rule::openvpn_effect, in_range("server_first_ip")), in_range("server_last_ip")};
// With tun, server_first_ip is the address of the other end.
constexpr ValueRule tun_pool_rules[] = {as(Rule::openvpn_effect, rule("server_address", Test::ipv4_network)),
                                        in_range("server_first_ip"), in_range("server_last_ip")};
constexpr ValueRule server_key_rules[] = {
    without_tag("cacert", "</ca>"),        rule("cacert", Test::pem, "CERTIFICATE"),
    without_tag("server_cert", "</cert>"), rule("server_cert", Test::pem, "CERTIFICATE"),
    without_tag("server_key", "</key>"),   rule("server_key", Test::pem, "PRIVATE KEY"),
    without_tag("diffie", "</dh>"),        rule("diffie", Test::pem, "DH PARAMETERS")};

// OpenVPN refuses the lines made from a malformed address, and accepts those of an address without a prefix length.
void check_server_address(const ConfigNode *server) {
  const std::string_view string = config_get_string(server, "server_address");
  if (!ipv4_address(string.substr(0, string.find('/'))).has_value()) {
    report(config_nearest(server, "server_address"), Rule::openvpn_value,
           {string.empty() ? "server_address is not set" : "'" + printable(string) + "' is not an IPv4 address",
            "write an address with a prefix length such as 10.8.0.1/24"});
    return;
  }
  const bool is_tun = string_equals(server, "device_type", "tun");
  check_rules(server, is_tun ? ValueRules(tun_pool_rules) : ValueRules(server_pool_rules), Rule::openvpn_value);
}

void check_openvpn_server(const ConfigNode *server) {
  if (!config_get_bool(server, "enable")) return;
  if (config_get_bool(server, "advanced_options.enable") && config_get_bool(server, "advanced_options.override"))
    return;
  check_rules(server, server_rules, Rule::openvpn_value);
  check_strings(server, "protocol", protocol_rules, Rule::openvpn_value);
  if (!config_get_bool(server, "autogenerate")) check_rules(server, server_key_rules, Rule::openvpn_value);
  if (string_equals(server, "device_type", "tap_bridge")) return;
  check_server_address(server);
  if (config_get_int(server, "server_last_ip") <= config_get_int(server, "server_first_ip"))
    report(config_nearest(server, "server_last_ip"), Rule::openvpn_value,
           {"the address pool ends before it starts", "write a number above server_first_ip"});
}

constexpr ValueRule nemo_rules[] = {rule("home_address", Test::ipv4), rule("home_agent", Test::filled),
                                    rule("coaddress.type", Test::filled), rule("tun_local.type", Test::filled)};
constexpr ValueRule care_of_interface[] = {rule("coaddress.interface", Test::entry)};
constexpr ValueRule care_of_address[] = {rule("coaddress.address", Test::address)};
constexpr Variant care_of_variants[] = {{"interface", care_of_interface}, {"ip", care_of_address}};
constexpr ValueRule nemo_network_rules[] = {rule("", Test::entry)};
constexpr ValueRule tunnel_interface[] = {rule("tun_local.interface", Test::entry)};
constexpr Variant tunnel_variants[] = {{"interface", tunnel_interface}};

void check_nemo(const ConfigNode *nemo) {
  if (!config_get_bool(nemo, "enable")) return;
  check_rules(nemo, nemo_rules, Rule::uci_missing);
  check_variants(nemo, "coaddress.type", care_of_variants, Rule::uci_missing);
  check_variants(nemo, "tun_local.type", tunnel_variants, Rule::uci_missing);
  check_strings(nemo, "network", nemo_network_rules, Rule::uci_missing);
}

constexpr ValueRule lac_rules[] = {rule("lns", Test::filled), one_line("custom.config_file")};
constexpr ValueRule lns_rules[] = {one_line("custom.config_file")};

constexpr ValueRule dialin_rules[] = {rule("baudrate", Test::filled), rule("ppp_dialin.local_address", Test::ipv4),
                                      rule("ppp_dialin.remote_address", Test::ipv4),
                                      one_line("ppp_dialin.custom.config_file"), one_line("ppp_dialin.connect.script")};

void check_serial_port(const ConfigNode *port) {
  if (!config_get_bool(port, "enable") || !string_equals(port, "mode", "ppp_dialin")) return;
  if (config_object(port, "ppp_dialin") != nullptr)
    check_rules(port, dialin_rules, Rule::uci_missing);
  else
    report(port, Rule::serial_unused);
}

}  // namespace

void check_vpn(const ConfigNode *root) {
  for (const ConfigNode *client : entries_at(root, "vpn.openvpn.client")) check_openvpn_client(client);
  for (const ConfigNode *server : entries_at(root, "vpn.openvpn.server")) check_openvpn_server(server);
  for (const ConfigNode *nemo : entries_at(root, "vpn.nemo")) check_nemo(nemo);
  if (config_get_bool(root, "vpn.l2tp.enable")) {
    check_each(root, "vpn.l2tp.lac", lac_rules, Rule::uci_missing);
    check_each(root, "vpn.l2tp.lns", lns_rules, Rule::uci_missing);
  }
  for (const ConfigNode *port : entries_at(root, "serial")) check_serial_port(port);
}
