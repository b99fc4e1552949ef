// Writers for the files of an OpenVPN interface. A file that cannot be opened is left out without a message. `key` is
// the key of the client or server.
#ifndef TESSERA_NETWORK_PROTO_OPENVPN_FILES_H
#define TESSERA_NETWORK_PROTO_OPENVPN_FILES_H

#include <cstdint>
#include <string>

#include "platform/config.h"

// An IPv4 tunnel address in the forms that a server file needs.
struct TunnelAddress {
  std::string address;  // without prefix length
  std::string network;  // the address up to its last dot, without the dot
  std::string netmask;  // in dotted form
};

// Parses ADDRESS/LENGTH. The length is limited to the range 0 to 32; it is 32 when it is missing or not a number.
TunnelAddress parse_tunnel_address(const char *network);

// Writes the file with user name and password of a client; none without a user name.
void openvpn_write_userpass(const ConfigNode *config, const char *key);

// Writes the configuration of a client: generated from the settings, or the uploaded file adapted to the router.
void openvpn_write_client_file(const ConfigNode *config, const char *key);

// Writes the configuration of a server that uses `device`. False when the file could not be opened.
bool openvpn_write_server_file(const ConfigNode *config, const char *key, const char *device);

// Writes a configuration template for the clients of a server. `host` is the host name of the router; a name with "/"
// gives no file.
void openvpn_write_template(const ConfigNode *config, const char *key, const char *host);

#endif
