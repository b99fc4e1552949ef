// Identities, peers and traffic selectors in the notation of the IKE daemon.
#ifndef TESSERA_IPSEC_NOTATION_H
#define TESSERA_IPSEC_NOTATION_H

#include <optional>
#include <string>
#include <vector>

#include "platform/config.h"

// The identity that the `id` object of `owner` (`local`, `remote` or a `peer_id`) describes; "" when there is none.
std::string ipsec_identity(const ConfigNode *owner);

// The host names of all peers except `skip_host`, which may be null, joined with ","; "" when no peer is left.
std::string remote_host_list(const ConfigNode *tunnel, const char *skip_host, bool is_ipv6);

// True when the peer's host name for the family is exactly `host`. False when `host` is null or the peer has no host
// name.
bool peer_hostname_matches(const ConfigNode *peer, const char *host, bool is_ipv6);

// True when the peer, one of `peer_count`, must be left out because its host name is `skip_host`, which may be null. A
// single peer is never left out.
bool peer_is_skipped(const ConfigNode *peer, size_t peer_count, const char *skip_host, bool is_ipv6);

// The quoted identities of the peers, joined with ";"; empty when no peer has an identity of its own. Peers without one
// get `fallback`, which may be "". `skip_host` may be null.
std::optional<std::string> find_peer_ids(const ConfigNode *tunnel, const std::string &fallback, const char *skip_host);

// The items of such a list, without their quotes.
std::vector<std::string> split_peer_ids(const std::string &list);

// "[PROTOCOL/PORT]" of a policy's `local` or `remote` object.
std::string ipsec_traffic_selector(const ConfigNode *selector);

// The tunnels that NHRP networks run. A network runs each tunnel whose name occurs anywhere in its `ipsec` string. To
// find a name quickly, this holds all tails of these strings, sorted. The tails are borrowed from the tree of `root`.
struct NhrpNetworks {
  explicit NhrpNetworks(const ConfigNode *root);

  size_t longest_name = 0;  // of all tunnels, in bytes; only so much of a tail is compared
  std::vector<const char *> tails;
};

// True when an NHRP network runs the tunnel of that name.
bool tunnel_managed_by_nhrp(const NhrpNetworks &networks, const char *tunnel_name);

#endif
