// The connection file of a tunnel: one section per traffic policy.
#include <algorithm>
#include <cstring>

#include "ipsec/notation.h"
#include "ipsec/proposals.h"
#include "ipsec/tunnel.h"
#include "main/print.h"

namespace {

constexpr double margin_share = 0.25;  // of the shorter lifetime, in place of a margin that is too long

// A configured word and what the daemon calls it.
struct WordRow {
  char word[14];  // "" ends the table
  char value[21];
};
const WordRow fragmentation_words[] = {{"always", "force"}, {"never", "no"}, {"accept", "accept"}, {"", ""}};
const WordRow sequence_words[] = {{"round_robin", "roundrobin"}, {"weighted", "weighted_roundrobin"}, {"", ""}};

// The daemon's word; `unknown` for a word that is not in the table.
const char *daemon_word(const WordRow *row, const char *word, const char *unknown) {
  for (; *row->word != '\0'; row++)
    if (strcmp(row->word, word) == 0) return row->value;
  return unknown;
}

// In whole seconds.
struct Lifetimes {
  int32_t phase1;
  int32_t phase2;
  int32_t margin;
};

// One section in the making.
struct Section {
  FILE *out;
  const ConfigNode *config;
  const TunnelContext &tunnel;
  const char *device;
  const Lifetimes &lifetimes;
  size_t number;
  size_t count;
  const ConfigNode *policy;  // null for a tunnel without policies
  std::string local_subnet;  // empty without a policy
};

bool auth_is(const Section &section, const char *type) {
  return strcmp(section.tunnel.auth_type, type) == 0;
}

bool policy_requests_address(const Section &section) {
  return equals(text_at(section.policy, "local.type"), "request");
}

Lifetimes read_lifetimes(const ConfigNode *config) {
  Lifetimes lifetimes = {config_get_duration(config, "ike.phase1_lifetime"),
                         config_get_duration(config, "ike.phase2_lifetime"),
                         config_get_duration(config, "ike.lifetime_margin")};
  int32_t shortest = std::min(lifetimes.phase1, lifetimes.phase2);
  if (lifetimes.margin >= shortest) {
    log_error("Lifetime margin greater than minimum lifetime. Setting margin to 0.25 * lifetime.");
    lifetimes.margin = static_cast<int32_t>(shortest * margin_share);
  }
  return lifetimes;
}

std::string weight_list(const ConfigNode *config, const TunnelContext &tunnel) {
  const ConfigNode *peers = config_array(config, "remote.peers");
  size_t count = config_array_count(peers);
  std::string list;
  for (const ConfigNode *peer = config_array_first(peers); peer != nullptr; peer = config_array_next(peer)) {
    if (peer_is_skipped(peer, count, tunnel.skip_host.get(), tunnel.is_ipv6)) continue;
    const ConfigNode *weight = config_object_get(peer, "weight");
    if (!list.empty()) list += ',';
    list += Decimal(weight != nullptr ? config_int_get(weight) : 1);
  }
  return list;
}

void write_kind(const Section &section) {
  const char *mode = text_at(section.config, "mode");
  print(section.out, {"\ttype=", mode, "\n"});
  print(section.out, {"\tkeyexchange=", text_at(section.config, "ike.version"), "\n"});
  print(section.out, {"\tfragmentation=",
                      daemon_word(fragmentation_words, text_at(section.config, "ike.fragmentation"), "yes"), "\n"});
  print(section.out, "\tkeyingtries=1\n");
  if (!equals(mode, "transport")) print(section.out, {"\tif_id=", Decimal(section.tunnel.index), "\n"});
}

void write_ends(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  print(section.out, {"\tleft=", tunnel.left.c_str(), "\n"});
  print(section.out, {"\tright=", tunnel.right.c_str(), "\n"});
  const char *selection = text_at(section.config, "remote.peer_selection");
  if (equals(selection, "weighted")) {
    std::string weights = weight_list(section.config, tunnel);
    if (!weights.empty()) fprintf(section.out, "\trighthostsweight=%s\n", weights.c_str());
  }
  print(section.out, {"\trighthostssequence=", daemon_word(sequence_words, selection, selection), "\n"});
}

void write_identities(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  if (!tunnel.local_id.empty()) print(section.out, {"\tleftid=\"", tunnel.local_id.c_str(), "\"\n"});
  OwnedText peers = find_peer_ids(section.config, tunnel.remote_id.c_str(), tunnel.skip_host.get());
  if (peers != nullptr) {
    print(section.out, {"\trightid=", peers.get(), "\n"});
  } else if (!tunnel.remote_id.empty()) {
    print(section.out, {"\trightid=\"", tunnel.remote_id.c_str(), "\"\n"});
  }
}

void write_certificates(const Section &section) {
  fprintf(section.out, "\tleftcert=\"%s.cert\"\n\tleftsendcert=always\n", section.tunnel.name);
  if (!auth_is(section, "scep") && equals(text_at(section.config, "auth.peer_verify"), "cert"))
    fprintf(section.out, "\trightcert=\"%s.peercert\"\n", section.tunnel.name);
  print(section.out, "\trightsendcert=always\n");
  if (!section.tunnel.rightca.empty()) fprintf(section.out, "\trightca=%s\n", section.tunnel.rightca.c_str());
}

void write_authentication(const Section &section) {
  if (config_get_bool(section.config, "xauth_client.enable")) {
    fprintf(section.out, "\txauth=client\n\tleftauth2=xauth\n\txauth_identity=%s\n",
            text_at(section.config, "xauth_client.username"));
  }
  bool shared_secret = auth_is(section, "secret") || auth_is(section, "asymmetric-secrets");
  print(section.out, shared_secret ? "\tleftauth=psk\n\trightauth=psk\n" : "\tleftauth=pubkey\n\trightauth=pubkey\n");
  if (auth_is(section, "rsasig"))
    fprintf(section.out, "\tleftsigkey=\"%s.pub\"\n\trightsigkey=\"%s.peerpub\"\n", section.tunnel.name,
            section.tunnel.name);
  if (auth_is(section, "x509") || auth_is(section, "scep")) write_certificates(section);
}

void write_exchange(const Section &section) {
  if (config_get_bool(section.config, "modecfg_client.enable")) print(section.out, "\tmodeconfig=pull\n");
  if (equals(text_at(section.config, "ike.mode"), "aggressive")) print(section.out, "\taggressive=yes\n");
  print(section.out, {"\tikelifetime=", Decimal(section.lifetimes.phase1), "s\n\tlifetime=",
                      Decimal(section.lifetimes.phase2), "s\n\tmargintime=", Decimal(section.lifetimes.margin), "s\n"});
}

// The strict proposals of one phase. Without any the daemon's own defaults hold, which FIPS 140 rules out.
Step write_proposals(const Section &section, int phase, const char *keyword) {
  std::string list = proposal_list(section.config, phase);
  if (!list.empty()) {
    print(section.out, {"\t", keyword, "=", list.c_str(), "!\n"});
  } else if (fips_mode) {
    log_error("tunnel %s's phase %d proposal is missing or not FIPS compliant. Skipping tunnel", section.tunnel.name,
              phase);
    return Step::skip;
  }
  return Step::go_on;
}

void write_dead_peer_detection(const Section &section) {
  if (!config_get_bool(section.config, "dpd.enable")) return;
  fprintf(section.out, "\tdpdaction=%s\n\tdpddelay=%d\n\tdpdtimeout=%d\n",
          section.tunnel.initiate ? "restart" : "clear", config_get_int(section.config, "dpd.delay"),
          config_get_int(section.config, "dpd.timeout"));
}

// The local subnet that the policy asks for; "" when it is not known now.
std::string find_local_subnet(const ConfigNode *policy, bool is_ipv6) {
  const char *family = is_ipv6 ? "ipv6" : "ipv4";
  const char *type = text_at(policy, "local.type");
  if (equals(type, "address")) {
    OwnedText address(
        runt_get_string_pathf("network.interface.%s.%s.address", text_at(policy, "local.address"), family));
    return address != nullptr ? format("%s/%d", address.get(), is_ipv6 ? 128 : 32) : "";
  }
  if (equals(type, "network")) {
    const char *interface = text_at(policy, "local.network");
    OwnedText address(runt_get_string_pathf("network.interface.%s.%s.address", interface, family));
    OwnedText netmask(runt_get_string_pathf("network.interface.%s.%s.netmask", interface, family));
    return address != nullptr && netmask != nullptr ? format("%s/%s", address.get(), netmask.get()) : "";
  }
  if (equals(type, "custom")) return text_at(policy, "local.custom");
  if (equals(type, "request") || equals(type, "dynamic")) return "%dynamic";
  return "";
}

Step write_subnets(Section &section) {
  if (section.policy == nullptr) return Step::go_on;
  const char *remote_subnet = text_at(section.policy, "remote.network");
  bool is_ipv6 = strchr(remote_subnet, ':') != nullptr;
  section.local_subnet = find_local_subnet(section.policy, is_ipv6);
  if (policy_requests_address(section)) fprintf(section.out, "\tleftsourceip=%s\n", is_ipv6 ? "%config6" : "%config4");
  if (section.local_subnet.empty()) {
    log_error("tunnel %s policy %zu's local network is not available. Skipping tunnel", section.tunnel.name,
              section.number);
    return Step::skip;
  }
  print(section.out, {"\tleftsubnet=", section.local_subnet.c_str(),
                      ipsec_traffic_selector(config_object(section.policy, "local")).c_str(), "\n"});
  print(section.out, {"\trightsubnet=", *remote_subnet != '\0' ? remote_subnet : "%dynamic",
                      ipsec_traffic_selector(config_object(section.policy, "remote")).c_str(), "\n"});
  return Step::go_on;
}

// What the daemon runs when the connection comes up or goes down.
void write_updown(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  print(section.out, "\tleftupdown=\"/bin/ipsec-updown.sh");
  if (!section.local_subnet.empty()) {
    if (config_get_bool(section.config, "modecfg_client.enable"))
      fprintf(section.out, " -l %s", section.local_subnet.c_str());
    if (policy_requests_address(section)) print(section.out, " -r");
  }
  int32_t management = config_get_int(section.config, "mgmt");
  if (management != 0) fprintf(section.out, " -m %d", management);
  if (!tunnel.passthrough_address.empty()) fprintf(section.out, " -i %s", tunnel.passthrough_address.c_str());
  print(section.out, {" -x ", section.device, " -n ", Decimal(static_cast<int64_t>(section.count)), "\"\n"});
}

Step write_section(Section &section) {
  print(section.out, {"conn ", section.tunnel.name, "_policy", Decimal(static_cast<int64_t>(section.number)), "\n"});
  write_kind(section);
  write_ends(section);
  write_identities(section);
  write_authentication(section);
  write_exchange(section);
  if (write_proposals(section, 1, "ike") == Step::skip) return Step::skip;
  if (write_proposals(section, 2, text_at(section.config, "type")) == Step::skip) return Step::skip;
  write_dead_peer_detection(section);
  if (write_subnets(section) == Step::skip) return Step::skip;
  if (config_get_bool(section.config, "force_udp_encap")) print(section.out, "\tforceencaps=yes\n");
  write_updown(section);
  print(section.out, "\tauto=add\n\n");
  return Step::go_on;
}

}  // namespace

Step write_connections(FILE *out, const ConfigNode *config, const TunnelContext &tunnel, const char *device) {
  Lifetimes lifetimes = read_lifetimes(config);
  if (tunnel_managed_by_nhrp(config_node_get_root(config), tunnel.name)) {
    log_debug("Tunnel %s is managed by NHRP, setting uniqueids", tunnel.name);
    print(out, "config setup\n\tuniqueids=never\n\n");
  }
  const ConfigNode *policies = config_array(config, "policy");
  size_t policy_count = config_array_count(policies);
  size_t count = std::max<size_t>(policy_count, 1);
  for (size_t number = 0; number < count; number++) {
    Section section = {out, config, tunnel, device, lifetimes, number, count, config_array_object(policies, number),
                       ""};
    if (write_section(section) == Step::skip) return Step::skip;
  }
  return Step::go_on;
}
