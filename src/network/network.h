// What the writers of one network run share.
#ifndef TESSERA_NETWORK_NETWORK_H
#define TESSERA_NETWORK_NETWORK_H

#include <cstdint>
#include <cstdio>

#include "platform/config.h"
#include "platform/network.h"

// The model of this run: writers look at other interfaces through it. Null outside a run.
extern NetworkModel *network_model;

// One anonymous route section for a static or multicast route; `interface` may be null.
void uci_write_route(FILE *out, const ConfigNode *route, const ConfigNode *interface);

// The route sections of all enabled entries of "network.route.static", and of "service.multicast" one for each
// interface that an entry lists.
void uci_write_static_routes(FILE *out, const ConfigNode *root);
void uci_write_multicast_routes(FILE *out, const ConfigNode *root);

// The sections of one device.
void uci_write_devices(FILE *out, const NetworkNode *device);

// The sections of one interface or one of its protocol parts.
void uci_write_interface(FILE *out, const NetworkNode *node);

// The sections of a passthrough interface on `device`, which may be null.
void uci_write_passthrough_interface(FILE *out, const NetworkNode *node, const NetworkNode *device);

// Option groups that several bodies share.
void uci_write_hostname(FILE *out, const ConfigNode *config);
void uci_write_mtu(FILE *out, const ConfigNode *config);
void uci_write_link_options(FILE *out, const ConfigNode *config);

// What "/bin/hostname" printed, line end included; null when it failed. Asked at most once in a run; the text belongs
// to the module.
const char *hostname_output();

// Prints the node and all below it on standard output.
void dump_network_node(const NetworkNode *node, int depth);

#endif
