// Configuration objects in the notation of the IKE daemon: identities, peers, traffic selectors.
#ifndef TESSERA_IPSEC_NOTATION_H
#define TESSERA_IPSEC_NOTATION_H

#include <optional>
#include <string>
#include <vector>

#include "platform/config.h"

// The identity that the `id` object of `owner` (`local`, `remote` or a `peer_id`) describes; "" when there is none.
std::string ipsec_identity(const ConfigNode *owner);

// The host names of all peers but the skipped one (null: none is), joined with ","; "" without a usable peer.
std::string remote_host_list(const ConfigNode *tunnel, const char *skip_host, bool is_ipv6);

// True when the peer's host name of the family is exactly `host`.
bool peer_hostname_matches(const ConfigNode *peer, const char *host, bool is_ipv6);

// True when the peer, one of `peer_count`, is to be left out for now. `skip_host` may be null; a lone peer always
// stays.
bool peer_is_skipped(const ConfigNode *peer, size_t peer_count, const char *skip_host, bool is_ipv6);

// The quoted identities of the peers, joined with ";"; nothing when no peer has an identity of its own. `fallback`
// stands for peers without one and may be empty; `skip_host` may be null.
std::optional<std::string> find_peer_ids(const ConfigNode *tunnel, const std::string &fallback, const char *skip_host);

// The items of such a list, without their quotes.
std::vector<std::string> split_peer_ids(const std::string &list);

// "[PROTOCOL/PORT]" of a policy's `local` or `remote` object.
std::string ipsec_traffic_selector(const ConfigNode *selector);

// What the NHRP networks of a configuration say about tunnels. A network runs a tunnel when its `ipsec` string contains
// the tunnel's name anywhere, so all tails of these strings are kept, sorted. They are borrowed.
struct NhrpNetworks {
  explicit NhrpNetworks(const ConfigNode *root);

  size_t longest_name = 0;  // of all tunnels, in characters; tails are compared no further
  std::vector<const char *> tails;
};

// True when an NHRP network runs the tunnel of that name.
bool tunnel_managed_by_nhrp(const NhrpNetworks &networks, const char *tunnel_name);

#endif
