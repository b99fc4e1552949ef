// What the steps of one tunnel share.
#ifndef TESSERA_IPSEC_TUNNEL_H
#define TESSERA_IPSEC_TUNNEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "ipsec/notation.h"
#include "main/owned.h"
#include "platform/config.h"

// What a run reads once, although every tunnel needs it.
struct IpsecRun {
  explicit IpsecRun(const ConfigNode *root) : model(network_load(root)), nhrp(root) {}

  OwnedModel model;
  NhrpNetworks nhrp;
  std::map<std::string, std::optional<std::string>> default_route_interfaces;  // by family, those asked for so far
};

// The tunnel at hand. Borrowed strings belong to the configuration tree; strings that may be missing are empty then,
// but for `skip_host`: a peer may well have an empty host name.
struct TunnelContext {
  const char *name = "";            // key of the tunnel, in every file name
  int32_t index = 0;                // position among all tunnels, from 1
  const char *family = "";          // address family of both ends as configured
  bool is_ipv6 = false;             // whether that is "ipv6"
  OwnedString skip_host;            // host name of the peer that is to be left out for now
  std::string left;                 // local address, or the wildcard of the family for a passthrough interface
  std::string passthrough_address;  // real address of the passthrough interface
  std::string right;                // remote hosts, or "%any"
  bool initiate = false;            // whether this end sets the tunnel up
  std::string local_id;             // identities of both ends
  std::string remote_id;
  std::string secret_local;  // selectors of secrets: the identity, else the address
  std::string secret_remote;
  const char *auth_type = "";  // how both ends prove who they are
  std::string rightca;         // distinguished name of the authority that the peer's certificate must come from
  std::string conf_path;       // connection file in the making
  bool credentials_ok = true;  // whether all keys and certificates are in place
};

// True when the proposals must keep to the algorithms that FIPS 140 allows.
extern bool fips_mode;

// Whether the configuration asks for this tunnel now: it is enabled, and no primary tunnel that it backs up is up.
bool tunnel_is_wanted(const ConfigNode *config, const char *name);

// The following steps return false, after a message, when the tunnel is to be skipped.

// Resolves both ends of the tunnel and their identities into `tunnel`, of which `name` and `index` are set. Skips a
// tunnel whose local end is not usable now.
bool resolve_endpoints(IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel);

// Writes the secrets file of the tunnel and puts its keys, certificates and revocation lists in place.
bool write_credentials(const ConfigNode *config, TunnelContext &tunnel);

// Finds out which authority the peer's certificate must come from, when that is asked for.
bool find_peer_ca(const ConfigNode *config, TunnelContext &tunnel);

// Writes the connection sections of the tunnel, one per policy, into the open file.
bool write_connections(FILE *out, const IpsecRun &run, const ConfigNode *config, const TunnelContext &tunnel);

#endif
