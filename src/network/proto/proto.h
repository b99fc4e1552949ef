// Writers of interfaces and devices whose protocol needs more than the common options. Each writes its whole section,
// header included, or nothing at all.
#ifndef TESSERA_NETWORK_PROTO_PROTO_H
#define TESSERA_NETWORK_PROTO_PROTO_H

#include <cstdio>

#include "platform/network.h"

// Interfaces.
void modem_write_interface(FILE *out, const NetworkNode *node);
void nemo_write_interface(FILE *out, const NetworkNode *node);
void openvpn_write_interface(FILE *out, const NetworkNode *node);
void l2tp_write_interface(FILE *out, const NetworkNode *node);
void ppp_dialin_write_interface(FILE *out, const NetworkNode *node);
void uci_write_ipsec_interface(FILE *out, const NetworkNode *node);

// Devices.
void iptunnel_write_device(FILE *out, const NetworkNode *device);
void macsec_write_device(FILE *out, const NetworkNode *device);
void l2tpeth_write_device(FILE *out, const NetworkNode *device);
void wireguard_write_device(FILE *out, const NetworkNode *device);

// Modem sections that come from the runtime store: modems without an interface, and modems being updated.
void modem_write_no_interface(FILE *out, const NetworkModel *model);
void modem_write_update_interfaces(FILE *out);

#endif
