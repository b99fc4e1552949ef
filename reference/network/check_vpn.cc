// IPsec tunnels, OpenVPN, L2TP, dial-in and mobile networks.
#include <cstring>
#include <string>

#include "config/report.h"
#include "network/check.h"
#include "network/rules.h"

namespace {

constexpr char interfaces[] = "network.interface";

// IPsec: rules of a tunnel, then those that go with a choice it makes.
constexpr Rule tunnel_rules[] = {
    optional(rule("ipsec_failover", Test::entry, "vpn.ipsec.tunnel")),
    rule("type", Test::filled),
    rule("type", Test::without, IPSEC_WORD_ENDS),
    rule("mode", Test::filled),
    rule("mode", Test::without, IPSEC_WORD_ENDS),
    rule("ike.version", Test::filled),
    rule("ike.version", Test::without, IPSEC_WORD_ENDS),
    at_least("ike.phase1_lifetime", 1),
    at_least("ike.phase2_lifetime", 1),
    rule("local.type", Test::filled),
    rule("remote.ip_version", Test::filled),
    rule("remote.peer_selection", Test::filled),
    rule("remote.peer_selection", Test::without, IPSEC_WORD_ENDS),
    rule("auth.type", Test::filled),
    end_of_rules,
};
constexpr Rule local_interface_rules[] = {rule("local.interface", Test::entry, interfaces), end_of_rules};
constexpr Variant local_variants[] = {{"interface", local_interface_rules}, {nullptr, nullptr}};

// Elements of lists: of hosts, and of algorithms, whose list "!" ends.
constexpr char element_ends[] = IPSEC_WORD_ENDS ",;";
constexpr char algorithm_ends[] = IPSEC_WORD_ENDS ",!";

constexpr Rule ipv4_peer_rules[] = {rule("hostname", Test::filled), rule("hostname", Test::without, element_ends),
                                    end_of_rules};
constexpr Rule ipv6_peer_rules[] = {rule("hostname6", Test::filled), rule("hostname6", Test::without, element_ends),
                                    end_of_rules};

constexpr Rule proposal_rules[] = {rule("cipher", Test::filled),
                                   rule("cipher", Test::without, algorithm_ends),
                                   rule("hash", Test::filled),
                                   rule("hash", Test::without, algorithm_ends),
                                   rule("dh_group", Test::filled),
                                   rule("dh_group", Test::without, algorithm_ends),
                                   end_of_rules};
constexpr Rule dpd_rules[] = {range("dpd.delay", 1, INT_MAX), range("dpd.timeout", 1, INT_MAX), end_of_rules};
// The password stands in quotes, without escapes.
constexpr Rule xauth_rules[] = {rule("xauth_client.username", Test::filled),
                                rule("xauth_client.username", Test::without, IPSEC_WORD_ENDS),
                                rule("xauth_client.username", Test::not_first, "'"),
                                rule("xauth_client.password", Test::filled),
                                secret(rule("xauth_client.password", Test::without, "\"")),
                                end_of_rules};

constexpr Rule secret_rules[] = {rule("auth.secret", Test::filled), end_of_rules};
constexpr Rule asymmetric_rules[] = {rule("auth.local_secret", Test::filled), rule("auth.remote_secret", Test::filled),
                                     end_of_rules};
constexpr Rule rsasig_rules[] = {rule("auth.private_key", Test::filled), rule("auth.peer_public_key", Test::filled),
                                 end_of_rules};
constexpr Rule x509_rules[] = {rule("auth.private_key", Test::filled), rule("auth.cert", Test::filled),
                               rule("auth.peer_verify", Test::filled), end_of_rules};
constexpr Rule scep_rules[] = {rule("auth.scep_client", Test::entry, "network.scep_client"), end_of_rules};
constexpr Variant auth_variants[] = {{"secret", secret_rules}, {"asymmetric-secrets", asymmetric_rules},
                                     {"rsasig", rsasig_rules}, {"x509", x509_rules},
                                     {"scep", scep_rules},     {nullptr, nullptr}};
constexpr Rule peer_cert_rules[] = {rule("auth.peer_cert", Test::filled), end_of_rules};
constexpr Rule peer_ca_rules[] = {rule("auth.peer_ca", Test::filled), rule("auth.peer_ca_dn", Test::quoted, "=#\""),
                                  end_of_rules};
constexpr Variant peer_variants[] = {{"cert", peer_cert_rules}, {"ca", peer_ca_rules}, {nullptr, nullptr}};

constexpr char selector_ends[] = IPSEC_WORD_ENDS ",/[]";

constexpr Rule policy_rules[] = {
    rule("local.type", Test::filled),
    rule("local.protocol", Test::filled),
    rule("local.port", Test::filled),
    rule("local.protocol", Test::without, selector_ends),
    rule("local.port", Test::without, selector_ends),
    optional(rule("remote.network", Test::network)),
    rule("remote.protocol", Test::filled),
    rule("remote.port", Test::filled),
    rule("remote.protocol", Test::without, selector_ends),
    rule("remote.port", Test::without, selector_ends),
    end_of_rules,
};
constexpr Rule policy_address[] = {rule("local.address", Test::entry, interfaces), end_of_rules};
constexpr Rule policy_network[] = {rule("local.network", Test::entry, interfaces), end_of_rules};
constexpr Rule policy_custom[] = {rule("local.custom", Test::network), end_of_rules};
constexpr Variant policy_variants[] = {
    {"address", policy_address}, {"network", policy_network}, {"custom", policy_custom}, {nullptr, nullptr}};

constexpr int32_t longest_peer_identity = 240;
constexpr const char *peer_identity_keys[] = {"id.raw_id",  "id.ipv4_id",  "id.ipv6_id", "id.rfc822_id",
                                              "id.fqdn_id", "id.keyid_id", nullptr};

constexpr char typed_identities[] = "raw ipv4 ipv6 rfc822 fqdn keyid";

// An identity stands in quotes, without escapes. The file of shared secrets has it without quotes; where keys
// authenticate, what is written there decides nothing.
void check_identity(const ConfigNode *owner, bool shared_secret) {
  const char *type = config_get_string(owner, "id.type");
  if (type == nullptr || !is_word_of(type, typed_identities)) return;
  const std::string key = std::string("id.") + type + "_id";
  const Rule value_rules[] = {rule(key.c_str(), Test::filled),
                              rule(key.c_str(), Test::without, shared_secret ? "\"\\ " : "\"\\"),
                              rule(key.c_str(), Test::not_first, shared_secret ? "#'" : "\""), end_of_rules};
  check_rules(owner, value_rules);
}

// The identities of the peers are one list, whose elements are cut to a length.
void check_peer_identity(const ConfigNode *owner, bool shared_secret) {
  check_identity(owner, shared_secret);
  for (const char *const *key = peer_identity_keys; *key != nullptr; ++key) {
    const Rule list_rules[] = {rule(*key, Test::without, ";"), at_most(*key, longest_peer_identity), end_of_rules};
    check_rules(owner, list_rules);
  }
}

bool has_shared_secret(const ConfigNode *tunnel) {
  return text_equals(tunnel, "auth.type", "secret") || text_equals(tunnel, "auth.type", "asymmetric-secrets");
}

void check_peers(const ConfigNode *tunnel) {
  const ConfigNode *peers = config_array(tunnel, "remote.peers");
  const size_t count = config_array_count(peers);
  if (count == 0) config_report(written(tunnel, "remote.peers"), Grade::questionable, "the tunnel has no remote peer");
  const bool is_ipv6 = text_equals(tunnel, "remote.ip_version", "ipv6");
  check_each(tunnel, "remote.peers", is_ipv6 ? ipv6_peer_rules : ipv4_peer_rules);
  const bool shared_secret = has_shared_secret(tunnel);
  for_each_element(peers, [count, is_ipv6, shared_secret](const ConfigNode *peer) {
    const ConfigNode *host = config_object_get(peer, is_ipv6 ? "hostname6" : "hostname");
    if (const char *name = config_string_get(host); count > 1 && name != nullptr && strcasecmp(name, "any") == 0)
      config_report(host, Grade::questionable, "'%s' among several peers is a host name", name);
    if (config_get_bool(peer, "peer_id.enable")) check_peer_identity(config_object(peer, "peer_id"), shared_secret);
  });
}

void check_tunnel(const ConfigNode *tunnel) {
  if (!config_get_bool(tunnel, "enable")) return;
  check_rules(tunnel, tunnel_rules);
  check_variants(tunnel, "local.type", local_variants);
  check_variants(tunnel, "auth.type", auth_variants);
  if (text_equals(tunnel, "auth.type", "x509")) check_variants(tunnel, "auth.peer_verify", peer_variants);
  if (config_get_bool(tunnel, "dpd.enable")) check_rules(tunnel, dpd_rules);
  if (config_get_bool(tunnel, "xauth_client.enable")) check_rules(tunnel, xauth_rules);
  check_each(tunnel, "ike.phase1_proposal", proposal_rules);
  check_each(tunnel, "ike.phase2_proposal", proposal_rules);
  check_identity(config_object(tunnel, "local"), has_shared_secret(tunnel));
  check_identity(config_object(tunnel, "remote"), has_shared_secret(tunnel));
  check_peers(tunnel);
  for_each_element(config_array(tunnel, "policy"), [](const ConfigNode *policy) {
    check_rules(policy, policy_rules);
    check_variants(policy, "local.type", policy_variants);
  });
}

// A tag in a text inside of such tags ends it: what follows would be options.
constexpr Rule inline_text(const char *path, const char *tag) {
  return secret(rule(path, Test::without_text, tag));
}
constexpr char openvpn_word_ends[] = " \"'\\#;";
// Lines of the file with the account; not every build of the daemon takes more.
constexpr int32_t openvpn_account_line = 127;

constexpr Rule client_account_rules[] = {at_most("username", openvpn_account_line),
                                         secret(at_most("password", openvpn_account_line)), end_of_rules};
constexpr Rule client_file_rules[] = {rule("config_file", Test::filled), end_of_rules};
constexpr Rule client_rules[] = {one_of("device_type", "tun tap"),
                                 rule("server", Test::filled),
                                 rule("server", Test::without, openvpn_word_ends),
                                 range("port", 1, 65535),
                                 line("remote {server} {port}", openvpn_line),
                                 rule("cacert", Test::filled),
                                 inline_text("cacert", "</ca>"),
                                 inline_text("public_cert", "</cert>"),
                                 inline_text("private_key", "</key>"),
                                 end_of_rules};
constexpr Rule client_pair_rules[] = {rule("public_cert", Test::filled), rule("private_key", Test::filled),
                                      end_of_rules};

void check_openvpn_client(const ConfigNode *client) {
  if (!config_get_bool(client, "enable")) return;
  const bool uploaded = config_get_bool(client, "use_file");
  check_rules(client, uploaded ? client_file_rules : client_rules);
  check_rules(client, client_account_rules);
  // One without the other is left out of the file.
  if (!uploaded && text_equals(client, "public_cert", "") != text_equals(client, "private_key", ""))
    check_rules(client, client_pair_rules);
}

constexpr Rule server_rules[] = {rule("device_type", Test::filled), range("port", 1, 65535),
                                 rule("protocol", Test::texts), end_of_rules};
constexpr Rule server_pool_rules[] = {rule("server_address", Test::ipv4_network), range("server_first_ip", 0, 254),
                                      range("server_last_ip", 1, 255), end_of_rules};
constexpr Rule server_key_rules[] = {
    rule("cacert", Test::filled),        rule("server_cert", Test::filled), rule("server_key", Test::filled),
    rule("diffie", Test::filled),        inline_text("cacert", "</ca>"),    inline_text("server_cert", "</cert>"),
    inline_text("server_key", "</key>"), inline_text("diffie", "</dh>"),    end_of_rules};

void check_openvpn_server(const ConfigNode *server) {
  if (!config_get_bool(server, "enable")) return;
  if (config_get_bool(server, "advanced_options.enable") && config_get_bool(server, "advanced_options.override"))
    return;
  check_rules(server, server_rules);
  check_texts(server, "protocol", rule("", Test::without, openvpn_word_ends));
  if (!config_get_bool(server, "autogenerate")) check_rules(server, server_key_rules);
  if (text_equals(server, "device_type", "tap_bridge")) return;
  check_rules(server, server_pool_rules);
  if (config_get_int(server, "server_last_ip") <= config_get_int(server, "server_first_ip"))
    config_report(written(server, "server_last_ip"), Grade::questionable, "the address pool ends before it starts");
}

constexpr Rule nemo_rules[] = {rule("home_address", Test::ipv4), rule("home_agent", Test::filled),
                               rule("coaddress.type", Test::filled), rule("tun_local.type", Test::filled),
                               end_of_rules};
constexpr Rule care_of_interface[] = {rule("coaddress.interface", Test::entry, interfaces), end_of_rules};
constexpr Rule care_of_address[] = {rule("coaddress.address", Test::address), end_of_rules};
constexpr Variant care_of_variants[] = {{"interface", care_of_interface}, {"ip", care_of_address}, {nullptr, nullptr}};
constexpr Rule tunnel_interface[] = {rule("tun_local.interface", Test::entry, interfaces), end_of_rules};
constexpr Variant tunnel_variants[] = {{"interface", tunnel_interface}, {nullptr, nullptr}};

void check_nemo(const ConfigNode *nemo) {
  if (!config_get_bool(nemo, "enable")) return;
  check_rules(nemo, nemo_rules);
  check_variants(nemo, "coaddress.type", care_of_variants);
  check_variants(nemo, "tun_local.type", tunnel_variants);
  check_texts(nemo, "network", rule("", Test::entry, interfaces));
}

constexpr Rule lac_rules[] = {rule("lns", Test::filled), one_line("custom.config_file"), end_of_rules};
constexpr Rule lns_rules[] = {one_line("custom.config_file"), end_of_rules};

constexpr Rule dialin_rules[] = {rule("baudrate", Test::filled),
                                 rule("ppp_dialin.local_address", Test::ipv4),
                                 rule("ppp_dialin.remote_address", Test::ipv4),
                                 one_line("ppp_dialin.custom.config_file"),
                                 one_line("ppp_dialin.connect.script"),
                                 end_of_rules};

void check_serial_port(const ConfigNode *port) {
  if (!config_get_bool(port, "enable") || !text_equals(port, "mode", "ppp_dialin")) return;
  if (config_object(port, "ppp_dialin") != nullptr)
    check_rules(port, dialin_rules);
  else
    config_report(port, Grade::questionable, "the port has no ppp_dialin settings, it gets no interface");
}

}  // namespace

void check_vpn(const ConfigNode *root) {
  for_each_member(config_object(root, "vpn.ipsec.tunnel"), check_tunnel);
  for_each_member(config_object(root, "vpn.openvpn.client"), check_openvpn_client);
  for_each_member(config_object(root, "vpn.openvpn.server"), check_openvpn_server);
  for_each_member(config_object(root, "vpn.nemo"), check_nemo);
  if (config_get_bool(root, "vpn.l2tp.enable")) {
    check_each(root, "vpn.l2tp.lac", lac_rules);
    check_each(root, "vpn.l2tp.lns", lns_rules);
  }
  for_each_member(config_object(root, "serial"), check_serial_port);
}
