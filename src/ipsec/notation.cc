#include "ipsec/notation.h"

#include <algorithm>
#include <cstring>

#include "main/owned.h"
#include "main/strings.h"
#include "output/quote.h"
#include "platform/ranges.h"

namespace {

// A type of identity whose value comes from the configuration.
struct IdentityRow {
  const char *type;
  const char *key;
  const char *prefix;
};
const IdentityRow configured_identities[] = {
    {"raw", "id.raw_id", ""},        {"ipv4", "id.ipv4_id", "ipv4:"},
    {"ipv6", "id.ipv6_id", "ipv6:"}, {"rfc822", "id.rfc822_id", "rfc822:"},
    {"fqdn", "id.fqdn_id", "fqdn:"}, {"keyid", "id.keyid_id", "keyid:"},
};

// A type of identity whose value is a fact about this device.
struct FactRow {
  const char *type;
  const char *key;
};
const FactRow fact_identities[] = {{"mac_address", "system.mac"}, {"serial_number", "system.serial"}};

// The value without "@[" and the last character, if it starts with "@[": users may have put it in "@[" and "]" for the
// daemon.
std::string bare_value(const char *value) {
  if (strncmp(value, "@[", 2) != 0) return value;
  std::string bare = value + 2;
  if (!bare.empty()) bare.pop_back();
  return bare;
}

std::string fact_identity(const char *key) {
  OwnedString value(runt_get_string(key));
  if (!is_set(value.get())) {
    log_error("Unable to determine %s", key);
    return {};
  }
  return std::string("keyid:") + value.get();
}

const char *hostname_key(bool is_ipv6) {
  return is_ipv6 ? "hostname6" : "hostname";
}

// The peer's host name for the family; null for a peer without one.
const char *peer_hostname(const ConfigNode *peer, bool is_ipv6) {
  return config_string_get(config_object_get(peer, hostname_key(is_ipv6)));
}

// The peers of one tunnel, and which of them to leave out.
struct Peers {
  const ConfigNode *array;
  size_t count;
  const char *skip_host;
  bool is_ipv6;
};

// One peer in a list of peer identities.
struct PeerItem {
  bool is_listed;        // false: the list has no item for this peer
  std::string identity;  // "" for a peer without any
  bool is_own;           // false for the fallback and for ""
};

PeerItem peer_item(const Peers &peers, const ConfigNode *peer, const std::string &fallback) {
  if (peer_is_skipped(peer, peers.count, peers.skip_host, peers.is_ipv6)) return {false, "", false};
  const ConfigNode *peer_id = config_object_get(peer, "peer_id");
  bool identifies_itself = config_get_bool(peer_id, "enable");
  if (!identifies_itself && !fallback.empty()) return {true, fallback, false};
  if (!identifies_itself && peers.count == 1) return {false, "", false};
  std::string identity = identifies_itself ? ipsec_identity(peer_id) : "";
  if (identity.empty()) identity = or_empty(peer_hostname(peer, peers.is_ipv6));
  return {true, identity, !identity.empty()};
}

// The item between two separators, without leading spaces and tabs and without quotes.
std::string unquoted_item(std::string_view item) {
  item.remove_prefix(std::min(item.find_first_not_of(" \t"), item.size()));
  if (!item.starts_with('"')) return std::string(item);
  item.remove_prefix(1);
  return std::string(item.substr(0, item.find('"')));
}

}  // namespace

std::string ipsec_identity(const ConfigNode *owner) {
  const char *type = string_at(owner, "id.type");
  if (equals(type, "any")) return "%any";
  for (const IdentityRow &row : configured_identities)
    if (equals(type, row.type)) return row.prefix + bare_value(string_at(owner, row.key));
  for (const FactRow &row : fact_identities)
    if (equals(type, row.type)) return fact_identity(row.key);
  return {};
}

bool peer_hostname_matches(const ConfigNode *peer, const char *host, bool is_ipv6) {
  const char *name = peer_hostname(peer, is_ipv6);
  return name != nullptr && host != nullptr && strcmp(name, host) == 0;
}

bool peer_is_skipped(const ConfigNode *peer, size_t peer_count, const char *skip_host, bool is_ipv6) {
  return skip_host != nullptr && peer_count > 1 && peer_hostname_matches(peer, skip_host, is_ipv6);
}

std::string remote_host_list(const ConfigNode *tunnel, const char *skip_host, bool is_ipv6) {
  const ConfigNode *peers = config_array(tunnel, "remote.peers");
  size_t count = config_array_count(peers);
  std::string hosts;
  const char *separator = "";  // not derived from `hosts`, as the first host name may be empty
  for (const ConfigNode *peer : elements(peers)) {
    const char *name = peer_hostname(peer, is_ipv6);
    if (name == nullptr || peer_is_skipped(peer, count, skip_host, is_ipv6)) continue;
    hosts.append(separator).append(name);
    separator = ",";
  }
  return hosts;
}

std::optional<std::string> find_peer_ids(const ConfigNode *tunnel, const std::string &fallback, const char *skip_host) {
  const ConfigNode *array = config_array(tunnel, "remote.peers");
  bool is_ipv6 = equals(string_at(tunnel, "remote.ip_version"), "ipv6");
  const Peers peers = {array, config_array_count(array), skip_host, is_ipv6};
  std::string list;
  bool own_identity_seen = false;
  for (const ConfigNode *peer : elements(peers.array)) {
    PeerItem item = peer_item(peers, peer, fallback);
    if (!item.is_listed) continue;
    if (!list.empty()) list += ';';
    list += quoted_peer_id(item.identity.c_str());
    if (item.is_own) own_identity_seen = true;
  }
  log_debug("%s : %s", "find_peer_ids", own_identity_seen ? list.c_str() : "null");
  if (!own_identity_seen) return std::nullopt;
  return list;
}

std::vector<std::string> split_peer_ids(const std::string &list) {
  std::vector<std::string> items;
  for (size_t start = 0; start < list.size();) {
    size_t end = std::min(list.find(';', start), list.size());
    std::string item = unquoted_item(std::string_view(list).substr(start, end - start));
    if (!item.empty()) items.push_back(item);
    start = end + 1;
  }
  return items;
}

std::string ipsec_traffic_selector(const ConfigNode *selector) {
  std::string protocol = string_at(selector, "protocol");
  if (protocol == "any") {
    protocol = "%any";
  } else if (protocol == "other") {
    protocol = format("%d", config_get_int(selector, "protocol_other"));
  }
  const char *port = string_at(selector, "port");
  return "[" + protocol + "/" + (equals(port, "any") ? "%any" : port) + "]";
}

NhrpNetworks::NhrpNetworks(const ConfigNode *root) {
  if (!config_object_has_key(root, "network.route.service", "nhrp")) return;
  for (const ConfigNode *tunnel : members(config_object(root, "vpn.ipsec.tunnel")))
    longest_name = std::max(longest_name, strlen(or_empty(config_key(tunnel))));
  for (const ConfigNode *network : elements(config_array(root, "network.route.service.nhrp.network"))) {
    const char *tail = string_at(network, "ipsec");
    do tails.push_back(tail);
    while (*tail++ != '\0');
  }
  std::sort(tails.begin(), tails.end(),
            [this](const char *first, const char *second) { return strncmp(first, second, longest_name) < 0; });
}

bool tunnel_managed_by_nhrp(const NhrpNetworks &networks, const char *tunnel_name) {
  if (tunnel_name == nullptr) return false;
  // In sorted order, the tails that begin with the name come first among those that are not less than the name.
  auto tail = std::lower_bound(
      networks.tails.begin(), networks.tails.end(), tunnel_name,
      [&networks](const char *each, const char *name) { return strncmp(each, name, networks.longest_name) < 0; });
  if (tail == networks.tails.end() || strncmp(*tail, tunnel_name, strlen(tunnel_name)) != 0) return false;
  log_debug("Tunnel %s is managed by NHRP", tunnel_name);
  return true;
}
