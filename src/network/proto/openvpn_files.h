// The files that go with an OpenVPN interface. A file that cannot be opened is left out; none of the writers reports.
#ifndef TESSERA_NETWORK_PROTO_OPENVPN_FILES_H
#define TESSERA_NETWORK_PROTO_OPENVPN_FILES_H

#include <cstdint>
#include <string>

#include "platform/config.h"

// An IPv4 tunnel address as the lines of a server file need it.
struct TunnelAddress {
  std::string address;  // without prefix length
  std::string network;  // the address up to its last dot, that dot not included
  std::string netmask;  // in dotted form
};

// Takes ADDRESS/LENGTH. The length is limited to 0 to 32, and is 32 when none is written or it is no number.
TunnelAddress parse_tunnel_address(const char *network);

// User name and password for the client with this key.
void openvpn_write_userpass(const ConfigNode *config, const char *key);

// The client's configuration: generated, or an uploaded one made to fit.
void openvpn_write_client_file(const ConfigNode *config, const char *key);

// The server's configuration on `device`; false when it could not be opened.
bool openvpn_write_server_file(const ConfigNode *config, const char *key, const char *device);

// The template of a configuration for the clients of this server. `host` names this router.
void openvpn_write_template(const ConfigNode *config, const char *key, const char *host);

#endif
