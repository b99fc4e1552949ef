#include "ipsec/notation.h"

#include <cstring>

#include "main/print.h"

namespace {

// An identity kind whose value the configuration holds.
struct IdentityRow {
  char type[7];  // "" ends the table
  char key[13];
  char prefix[7];
};
const IdentityRow configured_identities[] = {
    {"raw", "id.raw_id", ""},
    {"ipv4", "id.ipv4_id", "ipv4"},
    {"ipv6", "id.ipv6_id", "ipv6"},
    {"rfc822", "id.rfc822_id", "rfc822"},
    {"fqdn", "id.fqdn_id", "fqdn"},
    {"keyid", "id.keyid_id", "keyid"},
    {"", "", ""},
};

// An identity kind whose value is a fact about this device.
struct FactRow {
  char type[14];  // "" ends the table
  char key[14];
};
const FactRow fact_identities[] = {
    {"mac_address", "system.mac"},
    {"serial_number", "system.serial"},
    {"", ""},
};

constexpr size_t quoted_item_size = 251;  // longest list item, quotes and terminator included

// The value as users may have written it for the daemon, "@[" VALUE "]", without that dress.
std::string bare_value(const char *value) {
  if (strncmp(value, "@[", 2) != 0) return value;
  std::string bare = value + 2;
  if (!bare.empty()) bare.pop_back();
  return bare;
}

std::string fact_identity(const char *key) {
  OwnedText value(runt_get_string(key));
  if (!is_set(value.get())) {
    log_error("Unable to determine %s", key);
    return {};
  }
  return std::string("keyid:") + value.get();
}

const char *hostname_key(bool is_ipv6) {
  return is_ipv6 ? "hostname6" : "hostname";
}

// The peer's host name of the family; null for a peer that has none.
const char *peer_hostname(const ConfigNode *peer, bool is_ipv6) {
  return config_string_get(config_object_get(peer, hostname_key(is_ipv6)));
}

// Adds to a list of quoted items, cut to what one item may hold.
void add_quoted(std::string &list, const char *item) {
  if (!list.empty()) list += ';';
  list.append(format("\"%s\"", item), 0, quoted_item_size - 1);
}

}  // namespace

std::string ipsec_identity(const ConfigNode *owner) {
  const char *type = text_at(owner, "id.type");
  if (equals(type, "any")) return "%any";
  for (const IdentityRow *row = configured_identities; *row->type != '\0'; row++) {
    if (strcmp(type, row->type) != 0) continue;
    std::string value = bare_value(text_at(owner, row->key));
    return *row->prefix == '\0' ? value : std::string(row->prefix) + ":" + value;
  }
  for (const FactRow *row = fact_identities; *row->type != '\0'; row++)
    if (strcmp(type, row->type) == 0) return fact_identity(row->key);
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
  const char *separator = "";  // a host name may be empty, so the text does not tell whether it is the first
  for (const ConfigNode *peer = config_array_first(peers); peer != nullptr; peer = config_array_next(peer)) {
    const char *name = peer_hostname(peer, is_ipv6);
    if (name == nullptr || peer_is_skipped(peer, count, skip_host, is_ipv6)) continue;
    hosts.append(separator).append(name);
    separator = ",";
  }
  return hosts;
}

OwnedText find_peer_ids(const ConfigNode *tunnel, const char *fallback, const char *skip_host) {
  bool is_ipv6 = equals(text_at(tunnel, "remote.ip_version"), "ipv6");
  const ConfigNode *peers = config_array(tunnel, "remote.peers");
  size_t count = config_array_count(peers);
  std::string items;
  bool own_identity_seen = false;
  for (const ConfigNode *peer = config_array_first(peers); peer != nullptr; peer = config_array_next(peer)) {
    if (peer_is_skipped(peer, count, skip_host, is_ipv6)) continue;
    const ConfigNode *peer_id = config_object_get(peer, "peer_id");
    bool identifies_itself = config_get_bool(peer_id, "enable");
    if (!identifies_itself && is_set(fallback)) {
      add_quoted(items, fallback);
      continue;
    }
    if (!identifies_itself && count == 1) continue;
    std::string identity = identifies_itself ? ipsec_identity(peer_id) : std::string();
    const char *item = identity.empty() ? or_empty(peer_hostname(peer, is_ipv6)) : identity.c_str();
    add_quoted(items, item);
    if (*item != '\0') own_identity_seen = true;
  }
  OwnedText list(own_identity_seen ? strdup(items.c_str()) : nullptr);
  if (own_identity_seen && list == nullptr) end_without_memory();
  log_debug("%s : %s", "find_peer_ids", list != nullptr ? list.get() : "null");
  return list;
}

std::vector<std::string> split_peer_ids(const char *list) {
  std::vector<std::string> items;
  const char *item = or_empty(list);
  while (*item != '\0') {
    const char *end = item + strcspn(item, ";");
    const char *next = *end == ';' ? end + 1 : end;
    while (item < end && (*item == ' ' || *item == '\t')) item++;
    if (item < end && *item == '"') {
      item++;
      const void *quote = memchr(item, '"', static_cast<size_t>(end - item));
      if (quote != nullptr) end = static_cast<const char *>(quote);
    }
    if (item < end) items.emplace_back(item, end);
    item = next;
  }
  return items;
}

std::string ipsec_traffic_selector(const ConfigNode *selector) {
  std::string protocol = text_at(selector, "protocol");
  if (protocol == "any") {
    protocol = "%any";
  } else if (protocol == "other") {
    protocol = Decimal(config_get_int(selector, "protocol_other"));
  }
  const char *port = text_at(selector, "port");
  return "[" + protocol + "/" + (equals(port, "any") ? "%any" : port) + "]";
}

bool tunnel_managed_by_nhrp(const ConfigNode *root, const char *tunnel_name) {
  if (tunnel_name == nullptr || !config_object_has_key(root, "network.route.service", "nhrp")) return false;
  const ConfigNode *network = config_array_first(config_array(root, "network.route.service.nhrp.network"));
  for (; network != nullptr; network = config_array_next(network)) {
    if (strstr(text_at(network, "ipsec"), tunnel_name) == nullptr) continue;
    log_debug("Tunnel %s is managed by NHRP", tunnel_name);
    return true;
  }
  return false;
}
