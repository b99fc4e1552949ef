// Writers for interfaces and devices whose protocol needs more than the common options. Each writes its whole section
// to the caller's open stream, or nothing when it is disabled or lacks what it needs.
#ifndef TESSERA_NETWORK_PROTO_PROTO_H
#define TESSERA_NETWORK_PROTO_PROTO_H

#include <cstdio>

#include "platform/config.h"
#include "platform/network.h"

// Interfaces.
void modem_write_interface(FILE *out, const NetworkNode *node);
void nemo_write_interface(FILE *out, const NetworkNode *node);
void openvpn_write_interface(FILE *out, const NetworkNode *node);
void l2tp_write_interface(FILE *out, const NetworkNode *node);
void pppoe_write_interface(FILE *out, const NetworkNode *node);
void ppp_dialin_write_interface(FILE *out, const NetworkNode *node);
void uci_write_ipsec_interface(FILE *out, const NetworkNode *node);

// Devices.
void iptunnel_write_device(FILE *out, const NetworkNode *device);
void macsec_write_device(FILE *out, const NetworkNode *device);
void l2tpeth_write_device(FILE *out, const NetworkNode *device);
void wireguard_write_device(FILE *out, const NetworkNode *device);

// Writes one section for each modem that the runtime store lists as without an interface and that a cellular interface
// of the model names.
void modem_write_no_interface(FILE *out, const NetworkModel *model);

// Writes one section for each modem that the runtime store lists for an update, up to the first empty name.
void modem_write_update_interfaces(FILE *out);

// Writes the options of a PPP account into the open section of a link: user name, password, and the custom settings of
// the PPP daemon.
void ppp_write_account(FILE *out, const ConfigNode *account);

#endif
