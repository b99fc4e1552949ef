// The steps that write one tunnel, and the data that they share.
#ifndef TESSERA_IPSEC_TUNNEL_H
#define TESSERA_IPSEC_TUNNEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "ipsec/notation.h"
#include "main/owned.h"
#include "platform/config.h"

// Data that every tunnel needs and that a run reads only once.
struct IpsecRun {
  explicit IpsecRun(const ConfigNode *root) : model(network_load(root)), nhrp(root) {}

  OwnedModel model;
  NhrpNetworks nhrp;
  std::map<std::string, std::optional<std::string>> default_route_interfaces;  // by family; filled as tunnels need them
};

// One tunnel. The `const char *` members are borrowed from the configuration tree. Missing strings are empty, except
// that a missing `skip_host` is null, because a peer may have an empty host name.
struct TunnelContext {
  const char *name = "";            // key of the tunnel, in every file name
  int32_t index = 0;                // position among all tunnels, from 1
  const char *family = "";          // address family of both ends as configured
  bool is_ipv6 = false;             // whether `family` is "ipv6"
  OwnedString skip_host;            // host name of the peer to leave out at present
  std::string left;                 // local address, or the wildcard of the family for a passthrough interface
  std::string passthrough_address;  // real address of the passthrough interface
  std::string right;                // remote hosts, or "%any"
  bool initiate = false;            // whether this end sets the tunnel up
  std::string local_id;             // identities of both ends
  std::string remote_id;
  std::string secret_local;  // selectors of secrets: the identity, else the address
  std::string secret_remote;
  const char *auth_type = "";  // how the ends authenticate
  std::string rightca;         // distinguished name of the CA that must have issued the peer's certificate
  std::string conf_path;       // of the connection file; "" before it is written
  bool credentials_ok = true;  // false when a key or certificate could not be written or linked
};

// True when tunnels may only use algorithms that FIPS 140 allows.
extern bool fips_mode;

// True when the tunnel is enabled, and the primary tunnel that it backs up, if any, is not up.
bool tunnel_is_wanted(const ConfigNode *config, const char *name);

// The following steps return false, after a message, when the tunnel is to be skipped.

// Resolves both ends of the tunnel and their identities, and stores them in `tunnel`, whose `name` and `index` are set.
// False when the local end is not usable at present.
bool resolve_endpoints(IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel);

// Writes the secrets file of the tunnel and puts its keys, certificates and revocation lists in place.
bool write_credentials(const ConfigNode *config, TunnelContext &tunnel);

// Finds the CA that must have issued the peer's certificate, if the configuration asks for a check by CA.
bool find_peer_ca(const ConfigNode *config, TunnelContext &tunnel);

// Writes the connection sections of the tunnel, one per policy, into the open file.
bool write_connections(FILE *out, const IpsecRun &run, const ConfigNode *config, const TunnelContext &tunnel);

#endif
