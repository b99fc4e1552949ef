// Writes the connection file of a tunnel: one section for each traffic policy.
#include <algorithm>
#include <span>

#include "ipsec/proposals.h"
#include "ipsec/tunnel.h"
#include "main/strings.h"
#include "platform/ranges.h"

namespace {

constexpr double margin_share = 0.25;  // of the shorter lifetime, replaces a margin that is too long

// A configured word and the daemon's word for it.
struct WordRow {
  const char *word;
  const char *value;
};
const WordRow fragmentation_words[] = {{"always", "force"}, {"never", "no"}, {"accept", "accept"}};
const WordRow sequence_words[] = {{"round_robin", "roundrobin"}, {"weighted", "weighted_roundrobin"}};

// The daemon's word; `unknown` for a word that is not in the table.
const char *daemon_word(std::span<const WordRow> rows, const char *word, const char *unknown) {
  for (const WordRow &row : rows)
    if (equals(word, row.word)) return row.value;
  return unknown;
}

// In whole seconds.
struct Lifetimes {
  int32_t phase1;
  int32_t phase2;
  int32_t margin;
};

// The data of one section, for its writers.
struct Section {
  FILE *out;
  const ConfigNode *config;
  const TunnelContext &tunnel;
  const char *device;  // the system's name of the tunnel's network device
  const Lifetimes &lifetimes;
  size_t number;
  size_t count;
  const ConfigNode *policy;       // null for a tunnel without policies
  std::string local_subnet = {};  // empty without a policy
};

bool auth_is(const Section &section, const char *type) {
  return equals(section.tunnel.auth_type, type);
}

bool policy_requests_address(const Section &section) {
  return equals(string_at(section.policy, "local.type"), "request");
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
  for (const ConfigNode *peer : elements(peers)) {
    if (peer_is_skipped(peer, count, tunnel.skip_host.get(), tunnel.is_ipv6)) continue;
    const ConfigNode *weight = config_object_get(peer, "weight");
    list += format("%s%d", list.empty() ? "" : ",", weight != nullptr ? config_int_get(weight) : 1);
  }
  return list;
}

void write_kind(const Section &section) {
  const char *mode = string_at(section.config, "mode");
  const char *fragmentation = string_at(section.config, "ike.fragmentation");
  fprintf(section.out, "\ttype=%s\n", mode);
  fprintf(section.out, "\tkeyexchange=%s\n", string_at(section.config, "ike.version"));
  fprintf(section.out, "\tfragmentation=%s\n", daemon_word(fragmentation_words, fragmentation, "yes"));
  fprintf(section.out, "\tkeyingtries=1\n");
  if (!equals(mode, "transport")) fprintf(section.out, "\tif_id=%d\n", section.tunnel.index);
}

void write_ends(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  fprintf(section.out, "\tleft=%s\n\tright=%s\n", tunnel.left.c_str(), tunnel.right.c_str());
  const char *selection = string_at(section.config, "remote.peer_selection");
  if (equals(selection, "weighted")) {
    std::string weights = weight_list(section.config, tunnel);
    if (!weights.empty()) fprintf(section.out, "\trighthostsweight=%s\n", weights.c_str());
  }
  fprintf(section.out, "\trighthostssequence=%s\n", daemon_word(sequence_words, selection, selection));
}

void write_identities(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  if (!tunnel.local_id.empty()) fprintf(section.out, "\tleftid=\"%s\"\n", tunnel.local_id.c_str());
  std::optional<std::string> peers = find_peer_ids(section.config, tunnel.remote_id, tunnel.skip_host.get());
  if (peers) {
    fprintf(section.out, "\trightid=%s\n", peers->c_str());
  } else if (!tunnel.remote_id.empty()) {
    fprintf(section.out, "\trightid=\"%s\"\n", tunnel.remote_id.c_str());
  }
}

void write_certificates(const Section &section) {
  fprintf(section.out, "\tleftcert=\"%s.cert\"\n\tleftsendcert=always\n", section.tunnel.name);
  if (!auth_is(section, "scep") && equals(string_at(section.config, "auth.peer_verify"), "cert"))
    fprintf(section.out, "\trightcert=\"%s.peercert\"\n", section.tunnel.name);
  fprintf(section.out, "\trightsendcert=always\n");
  if (!section.tunnel.rightca.empty()) fprintf(section.out, "\trightca=%s\n", section.tunnel.rightca.c_str());
}

void write_authentication(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  if (config_get_bool(section.config, "xauth_client.enable")) {
    fprintf(section.out, "\txauth=client\n\tleftauth2=xauth\n\txauth_identity=%s\n",
            string_at(section.config, "xauth_client.username"));
  }
  const char *method = auth_is(section, "secret") || auth_is(section, "asymmetric-secrets") ? "psk" : "pubkey";
  fprintf(section.out, "\tleftauth=%s\n\trightauth=%s\n", method, method);
  if (auth_is(section, "rsasig"))
    fprintf(section.out, "\tleftsigkey=\"%s.pub\"\n\trightsigkey=\"%s.peerpub\"\n", tunnel.name, tunnel.name);
  if (auth_is(section, "x509") || auth_is(section, "scep")) write_certificates(section);
}

void write_exchange(const Section &section) {
  if (config_get_bool(section.config, "modecfg_client.enable")) fprintf(section.out, "\tmodeconfig=pull\n");
  if (equals(string_at(section.config, "ike.mode"), "aggressive")) fprintf(section.out, "\taggressive=yes\n");
  fprintf(section.out, "\tikelifetime=%ds\n\tlifetime=%ds\n\tmargintime=%ds\n", section.lifetimes.phase1,
          section.lifetimes.phase2, section.lifetimes.margin);
}

// Writes the proposals of one phase; "!" forbids all others. Without proposals the daemon uses its defaults, which FIPS
// 140 does not allow. False, after a message, when the tunnel must be skipped.
bool write_proposals(const Section &section, int phase, const char *keyword) {
  std::string list = proposal_list(section.config, phase);
  if (!list.empty()) {
    fprintf(section.out, "\t%s=%s!\n", keyword, list.c_str());
    return true;
  }
  if (!fips_mode) return true;
  log_error("tunnel %s's phase %d proposal is missing or not FIPS compliant. Skipping tunnel", section.tunnel.name,
            phase);
  return false;
}

void write_dead_peer_detection(const Section &section) {
  if (!config_get_bool(section.config, "dpd.enable")) return;
  fprintf(section.out, "\tdpdaction=%s\n\tdpddelay=%d\n\tdpdtimeout=%d\n",
          section.tunnel.initiate ? "restart" : "clear", config_get_int(section.config, "dpd.delay"),
          config_get_int(section.config, "dpd.timeout"));
}

OwnedString interface_fact(const char *interface, const char *family, const char *fact) {
  return OwnedString(runt_get_string_pathf("network.interface.%s.%s.%s", interface, family, fact));
}

// The local subnet of the policy; "" when it is not known at present.
std::string find_local_subnet(const ConfigNode *policy, bool is_ipv6) {
  const char *family = is_ipv6 ? "ipv6" : "ipv4";
  const char *type = string_at(policy, "local.type");
  if (equals(type, "address")) {
    OwnedString address = interface_fact(string_at(policy, "local.address"), family, "address");
    return address != nullptr ? format("%s/%d", address.get(), is_ipv6 ? 128 : 32) : "";
  }
  if (equals(type, "network")) {
    const char *interface = string_at(policy, "local.network");
    OwnedString address = interface_fact(interface, family, "address");
    OwnedString netmask = interface_fact(interface, family, "netmask");
    return address != nullptr && netmask != nullptr ? format("%s/%s", address.get(), netmask.get()) : "";
  }
  if (equals(type, "custom")) return string_at(policy, "local.custom");
  if (equals(type, "request") || equals(type, "dynamic")) return "%dynamic";
  return "";
}

bool write_subnets(Section &section) {
  if (section.policy == nullptr) return true;
  const char *remote_subnet = string_at(section.policy, "remote.network");
  bool is_ipv6 = strchr(remote_subnet, ':') != nullptr;
  section.local_subnet = find_local_subnet(section.policy, is_ipv6);
  if (policy_requests_address(section)) fprintf(section.out, "\tleftsourceip=%s\n", is_ipv6 ? "%config6" : "%config4");
  if (section.local_subnet.empty()) {
    log_error("tunnel %s policy %zu's local network is not available. Skipping tunnel", section.tunnel.name,
              section.number);
    return false;
  }
  fprintf(section.out, "\tleftsubnet=%s%s\n", section.local_subnet.c_str(),
          ipsec_traffic_selector(config_object(section.policy, "local")).c_str());
  fprintf(section.out, "\trightsubnet=%s%s\n", is_set(remote_subnet) ? remote_subnet : "%dynamic",
          ipsec_traffic_selector(config_object(section.policy, "remote")).c_str());
  return true;
}

// Writes the command that the daemon runs when the connection comes up or goes down.
void write_updown(const Section &section) {
  const TunnelContext &tunnel = section.tunnel;
  fprintf(section.out, "\tleftupdown=\"/bin/ipsec-updown.sh");
  if (!section.local_subnet.empty()) {
    if (config_get_bool(section.config, "modecfg_client.enable"))
      fprintf(section.out, " -l %s", section.local_subnet.c_str());
    if (policy_requests_address(section)) fprintf(section.out, " -r");
  }
  int32_t management = config_get_int(section.config, "mgmt");
  if (management != 0) fprintf(section.out, " -m %d", management);
  if (!tunnel.passthrough_address.empty()) fprintf(section.out, " -i %s", tunnel.passthrough_address.c_str());
  fprintf(section.out, " -x %s -n %zu\"\n", section.device, section.count);
}

bool write_section(Section section) {
  fprintf(section.out, "conn %s_policy%zu\n", section.tunnel.name, section.number);
  write_kind(section);
  write_ends(section);
  write_identities(section);
  write_authentication(section);
  write_exchange(section);
  if (!write_proposals(section, 1, "ike")) return false;
  if (!write_proposals(section, 2, string_at(section.config, "type"))) return false;
  write_dead_peer_detection(section);
  if (!write_subnets(section)) return false;
  if (config_get_bool(section.config, "force_udp_encap")) fprintf(section.out, "\tforceencaps=yes\n");
  write_updown(section);
  fprintf(section.out, "\tauto=add\n\n");
  return true;
}

}  // namespace

bool write_connections(FILE *out, const IpsecRun &run, const ConfigNode *config, const TunnelContext &tunnel) {
  const Lifetimes lifetimes = read_lifetimes(config);
  if (tunnel_managed_by_nhrp(run.nhrp, tunnel.name)) {
    log_debug("Tunnel %s is managed by NHRP, setting uniqueids", tunnel.name);
    fprintf(out, "config setup\n\tuniqueids=never\n\n");
  }
  const char *device = or_empty(network_name(network_find_device(run.model.get(), config)));
  const ConfigNode *policies = config_array(config, "policy");
  size_t count = std::max<size_t>(config_array_count(policies), 1);
  for (size_t number = 0; number < count; number++) {
    const ConfigNode *policy = config_array_object(policies, number);
    if (!write_section({out, config, tunnel, device, lifetimes, number, count, policy})) return false;
  }
  return true;
}
