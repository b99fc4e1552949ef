// Writers of interfaces and devices whose protocol needs more than the common options. Each writes its whole section,
// header included, or nothing at all.
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

// One section for each modem that the runtime store lists as without an interface and that a cellular interface of the
// model names as its device.
void modem_write_no_interface(FILE *out, const NetworkModel *model);

// One section for each modem that the runtime store lists as being updated, up to the first empty name.
void modem_write_update_interfaces(FILE *out);

// The options of a PPP account, part of the section of every link with an account of its own: user name, password and
// own settings of the PPP daemon.
void ppp_write_account(FILE *out, const ConfigNode *account);

#endif
