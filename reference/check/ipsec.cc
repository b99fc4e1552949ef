// IPsec tunnels.
#include <algorithm>
#include <cstring>
#include <string>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"
#include "config/report.h"
#include "platform/ranges.h"

namespace {

// An unclosed quote includes the lines that follow, and the starter refuses a value with "=".
constexpr ValueRule parses(const char *path) {
  return as(Rule::ipsec_value, rule(path, Test::starter));
}

constexpr ValueRule tunnel_rules[] = {
    as(Rule::ipsec_effect, optional(rule("ipsec_failover", Test::entry))),
    as(Rule::ipsec_effect, rule("mode", Test::filled)),
    one_of("mode", "tunnel transport transport_proxy passthrough drop"),
    as(Rule::ipsec_effect, rule("ike.version", Test::filled)),
    one_of("ike.version", "ikev1 ikev2 ike"),
    as(Rule::ipsec_effect, rule("local.type", Test::filled)),
    as(Rule::ipsec_effect, rule("remote.ip_version", Test::filled)),
    parses("remote.peer_selection"),
    as(Rule::ipsec_effect, rule("remote.peer_selection", Test::filled)),
    as(Rule::ipsec_effect, rule("remote.peer_selection", Test::without, IPSEC_WORD_ENDS)),
    one_of("auth.type", "secret asymmetric-secrets rsasig x509 scep"),
};
// The type is the name of the line with the phase 2 proposals.
constexpr ValueRule type_rules[] = {one_of("type", "esp ah")};
constexpr ValueRule lifetime_rules[] = {at_least("ike.phase1_lifetime", 1), at_least("ike.phase2_lifetime", 1)};
constexpr ValueRule local_interface_rules[] = {rule("local.interface", Test::entry)};
constexpr Variant local_variants[] = {{"interface", local_interface_rules}};

// Characters that end an element of a list of hosts, and of a list of algorithms.
constexpr char element_ends[] = IPSEC_WORD_ENDS ",;";
constexpr char algorithm_ends[] = IPSEC_WORD_ENDS ",!";

constexpr ValueRule ipv4_peer_rules[] = {parses("hostname"), rule("hostname", Test::filled),
                                         rule("hostname", Test::without, element_ends)};
constexpr ValueRule ipv6_peer_rules[] = {parses("hostname6"), rule("hostname6", Test::filled),
                                         rule("hostname6", Test::without, element_ends)};

constexpr ValueRule proposal_rules[] = {
    parses("cipher"),   rule("cipher", Test::filled),   rule("cipher", Test::without, algorithm_ends),
    parses("hash"),     rule("hash", Test::filled),     rule("hash", Test::without, algorithm_ends),
    parses("dh_group"), rule("dh_group", Test::filled), rule("dh_group", Test::without, algorithm_ends)};
constexpr ValueRule dpd_rules[] = {in_range("dpd.delay"), in_range("dpd.timeout")};
// The password is written in quotes, without escapes.
constexpr ValueRule xauth_rules[] = {
    parses("xauth_client.username"),
    as(Rule::ipsec_effect, rule("xauth_client.username", Test::filled)),
    as(Rule::ipsec_effect, rule("xauth_client.username", Test::without, IPSEC_WORD_ENDS)),
    as(Rule::ipsec_effect, rule("xauth_client.username", Test::not_first, "'")),
    as(Rule::ipsec_effect, rule("xauth_client.password", Test::filled)),
    as(Rule::ipsec_effect, no_quote("xauth_client.password"))};

// What a tunnel needs for each type of authentication.
constexpr char key_label[] = "PRIVATE KEY";
constexpr char certificate_label[] = "CERTIFICATE";
constexpr ValueRule secret_rules[] = {as(Rule::ipsec_effect, rule("auth.secret", Test::filled))};
constexpr ValueRule asymmetric_rules[] = {as(Rule::ipsec_effect, rule("auth.local_secret", Test::filled)),
                                          as(Rule::ipsec_effect, rule("auth.remote_secret", Test::filled))};
constexpr ValueRule rsasig_rules[] = {rule("auth.private_key", Test::pem, key_label),
                                      rule("auth.peer_public_key", Test::pem, "PUBLIC KEY")};
constexpr ValueRule x509_rules[] = {rule("auth.private_key", Test::pem, key_label),
                                    rule("auth.cert", Test::pem, certificate_label),
                                    as(Rule::ipsec_effect, rule("auth.peer_verify", Test::filled))};
constexpr ValueRule scep_rules[] = {as(Rule::ipsec_skipped, rule("auth.scep_client", Test::entry))};
constexpr Variant auth_variants[] = {{"secret", secret_rules},
                                     {"asymmetric-secrets", asymmetric_rules},
                                     {"rsasig", rsasig_rules},
                                     {"x509", x509_rules},
                                     {"scep", scep_rules}};
constexpr ValueRule peer_cert_rules[] = {rule("auth.peer_cert", Test::pem, certificate_label)};
constexpr ValueRule peer_ca_rules[] = {as(Rule::ipsec_effect, rule("auth.peer_ca", Test::filled)),
                                       pem_and_more("auth.peer_ca", certificate_label), parses("auth.peer_ca_dn"),
                                       as(Rule::ipsec_effect, rule("auth.peer_ca_dn", Test::quoted, "#\""))};
constexpr Variant peer_variants[] = {{"cert", peer_cert_rules}, {"ca", peer_ca_rules}};

constexpr char selector_ends[] = IPSEC_WORD_ENDS ",/[]";

constexpr ValueRule selector_rules[] = {parses("protocol"), rule("protocol", Test::without, selector_ends),
                                        parses("port"), rule("port", Test::without, selector_ends),
                                        rule("port", Test::ports)};
constexpr ValueRule protocol_number[] = {in_range("protocol_other")};
constexpr Variant protocol_variants[] = {{"other", protocol_number}};
constexpr ValueRule remote_network_rules[] = {parses("remote.network"),
                                              optional(rule("remote.network", Test::network))};
constexpr ValueRule policy_rules[] = {one_of("local.type", "address network custom request dynamic")};
constexpr ValueRule policy_address[] = {rule("local.address", Test::entry)};
constexpr ValueRule policy_network[] = {rule("local.network", Test::entry)};
constexpr ValueRule policy_custom[] = {rule("local.custom", Test::filled), parses("local.custom"),
                                       as(Rule::ipsec_effect, rule("local.custom", Test::network))};
constexpr Variant policy_variants[] = {
    {"address", policy_address}, {"network", policy_network}, {"custom", policy_custom}};

constexpr int32_t longest_peer_identity = 240;
constexpr const char *peer_identity_keys[] = {"id.raw_id",    "id.ipv4_id", "id.ipv6_id",
                                              "id.rfc822_id", "id.fqdn_id", "id.keyid_id"};

constexpr char typed_identities[] = "raw ipv4 ipv6 rfc822 fqdn keyid";

// Without a type, no identity is written, even if one is set.
void check_untyped_identity(const ConfigNode *id) {
  for (const ConfigNode *value : members(id)) {
    const std::string name = config_key(value);
    if (!name.ends_with("_id") || *config_string_get(value) == '\0') continue;
    const std::string type = name.substr(0, name.size() - strlen("_id"));
    report(value, Rule::ipsec_effect,
           {"the identity is not used, as " + path_of(id) + ".type is not set",
            "write \"type\": \"" + type + "\" next to it"});
  }
}

// An identity is written in quotes, without escapes. The file of shared secrets has it without quotes; with keys, the
// identity in that file has no effect.
void check_identity(const ConfigNode *owner, bool shared_secret) {
  const char *type = config_get_string(owner, "id.type");
  if (type == nullptr || *type == '\0') check_untyped_identity(config_object(owner, "id"));
  if (type == nullptr || !is_word_of(type, typed_identities)) return;
  const std::string key = std::string("id.") + type + "_id";
  // The mapper removes "@[" and the last character of such a value. That character may be the quote.
  const bool shortened = strncmp(config_get_string(owner, key.c_str()), "@[", 2) == 0;
  const ValueRule value_rules[] = {as(shortened ? Rule::ipsec_effect : Rule::ipsec_value, no_quote(key.c_str())),
                                   rule(key.c_str(), Test::filled),
                                   rule(key.c_str(), Test::without, shared_secret ? "\\ " : "\\"),
                                   rule(key.c_str(), Test::not_first, shared_secret ? "#'" : "")};
  check_rules(owner, value_rules, Rule::ipsec_effect);
}

// The identities of the peers form one list, and long elements are truncated.
void check_peer_identity(const ConfigNode *owner, bool shared_secret) {
  check_identity(owner, shared_secret);
  for (const char *key : peer_identity_keys) {
    const ValueRule list_rules[] = {rule(key, Test::without, ";"), at_most(key, longest_peer_identity)};
    check_rules(owner, list_rules, Rule::ipsec_effect);
  }
}

bool has_shared_secret(const ConfigNode *tunnel) {
  return string_equals(tunnel, "auth.type", "secret") || string_equals(tunnel, "auth.type", "asymmetric-secrets");
}

void check_peers(const ConfigNode *tunnel) {
  const ConfigNode *peers = config_array(tunnel, "remote.peers");
  const size_t count = config_array_count(peers);
  if (count == 0) report_unset(tunnel, "remote.peers", Rule::ipsec_effect, "list a peer, or any to accept every peer");
  const bool is_ipv6 = string_equals(tunnel, "remote.ip_version", "ipv6");
  check_each(tunnel, "remote.peers", is_ipv6 ? ipv6_peer_rules : ipv4_peer_rules, Rule::ipsec_effect);
  const bool shared_secret = has_shared_secret(tunnel);
  for (const ConfigNode *peer : elements(peers)) {
    const ConfigNode *host = config_object_get(peer, is_ipv6 ? "hostname6" : "hostname");
    if (const char *name = config_string_get(host); count > 1 && name != nullptr && strcasecmp(name, "any") == 0)
      report(host, Rule::ipsec_effect,
             {std::string("'") + name + "' among several peers is a host name",
              "make it the only peer to accept every peer"});
    if (config_get_bool(peer, "peer_id.enable")) check_peer_identity(config_object(peer, "peer_id"), shared_secret);
  }
}

// A tunnel needs lists of algorithms only when system.fips restricts them.
void check_proposals(const ConfigNode *tunnel, bool fips) {
  std::string empty;
  for (const char *key : {"ike.phase1_proposal", "ike.phase2_proposal"}) {
    check_each(tunnel, key, proposal_rules, Rule::ipsec_effect);
    if (config_array_count(config_array(tunnel, key)) > 0) continue;
    if (fips)
      report_unset(tunnel, key, Rule::ipsec_skipped, "list algorithms that system.fips allows");
    else
      empty = empty.empty() ? std::string(key) + " is" : "ike.phase1_proposal and ike.phase2_proposal are";
  }
  if (!empty.empty()) report(config_nearest(tunnel, "ike"), Rule::ipsec_proposals, {empty});
}

void check_lifetimes(const ConfigNode *tunnel) {
  check_rules(tunnel, lifetime_rules, Rule::ipsec_effect);
  const int32_t shorter =
      std::min(config_get_duration(tunnel, "ike.phase1_lifetime"), config_get_duration(tunnel, "ike.phase2_lifetime"));
  const int32_t margin = config_get_duration(tunnel, "ike.lifetime_margin");
  const ConfigNode *place = config_nearest(tunnel, "ike.lifetime_margin");
  if (shorter > 0 && margin == 0) report(place, Rule::ipsec_no_margin);
  if (shorter > 0 && margin >= shorter)
    report(place, Rule::ipsec_margin, {std::to_string(margin), std::to_string(shorter)});
}

void check_policy(const ConfigNode *policy) {
  check_rules(policy, policy_rules, Rule::ipsec_skipped);
  check_rules(policy, remote_network_rules, Rule::ipsec_effect);
  check_variants(policy, "local.type", policy_variants, Rule::ipsec_skipped);
  for (const char *side : {"local", "remote"}) {
    const ConfigNode *end = config_object(policy, side);
    check_rules(end, selector_rules, Rule::ipsec_effect);
    check_variants(end, "protocol", protocol_variants, Rule::ipsec_effect);
    const std::string keys = unset_keys(end, "protocol port", true);
    if (!keys.empty()) report(end != nullptr ? end : policy, Rule::ipsec_selector, {keys});
  }
}

void check_tunnel(const ConfigNode *tunnel, bool fips) {
  if (!config_get_bool(tunnel, "enable")) return;
  check_rules(tunnel, tunnel_rules, Rule::ipsec_value);
  if (config_array_count(config_array(tunnel, "ike.phase2_proposal")) > 0)
    check_rules(tunnel, type_rules, Rule::ipsec_value);
  check_variants(tunnel, "local.type", local_variants, Rule::ipsec_skipped);
  check_variants(tunnel, "auth.type", auth_variants, Rule::ipsec_value);
  if (string_equals(tunnel, "auth.type", "x509"))
    check_variants(tunnel, "auth.peer_verify", peer_variants, Rule::ipsec_value);
  if (config_get_bool(tunnel, "dpd.enable")) check_rules(tunnel, dpd_rules, Rule::ipsec_effect);
  if (config_get_bool(tunnel, "xauth_client.enable")) check_rules(tunnel, xauth_rules, Rule::ipsec_value);
  check_proposals(tunnel, fips);
  check_lifetimes(tunnel);
  check_identity(config_object(tunnel, "local"), has_shared_secret(tunnel));
  check_identity(config_object(tunnel, "remote"), has_shared_secret(tunnel));
  check_peers(tunnel);
  for (const ConfigNode *policy : entries_at(tunnel, "policy")) check_policy(policy);
}

}  // namespace

void check_ipsec(const ConfigNode *root) {
  const bool fips = config_get_bool(root, "system.fips");
  for (const ConfigNode *tunnel : entries_at(root, "vpn.ipsec.tunnel")) check_tunnel(tunnel, fips);
}
