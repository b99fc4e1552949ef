// What the writers of one network run share.
#ifndef TESSERA_NETWORK_NETWORK_H
#define TESSERA_NETWORK_NETWORK_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>

#include "ipsec/notation.h"
#include "main/owned.h"
#include "platform/config.h"
#include "platform/network.h"

// The model of a run, through which writers look at other interfaces, and what the run finds out once, although every
// interface needs it.
struct NetworkRun {
  explicit NetworkRun(const ConfigNode *root);

  OwnedModel model;
  NhrpNetworks nhrp;
  std::map<size_t, const char *>
      passthrough_keys;                         // of the passthrough interface, by the id of a source's configuration
  std::optional<std::string> hostname;          // what /bin/hostname printed; unset before it is needed
  std::optional<std::string> hybrid_interface;  // its name, "" for none; unset before it is read and when it changes
};
extern NetworkRun *network_run;  // null outside a run

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

// The header of an interface or part, named as the interface manager knows it.
void uci_write_interface_section(FILE *out, const NetworkNode *node);

// `ifname` with the node's name; nothing for a null node or a device that belongs to a radio.
void uci_write_ifname(FILE *out, const NetworkNode *node);

// `metric`, unless it is 0; the worst metric there is for an IPsec tunnel whose watched link did not pass.
void uci_write_metric(FILE *out, const ConfigNode *config);

// `passthrough` with the key of the first passthrough interface that takes this interface as a source; true when
// there is one.
bool uci_write_passthrough(FILE *out, const NetworkNode *node);

// Option groups that several interfaces share.
void uci_write_hostname(FILE *out, const ConfigNode *config);
void uci_write_mtu(FILE *out, const ConfigNode *config);
void uci_write_link_options(FILE *out, const ConfigNode *config);

// What "/bin/hostname" printed, line end included; "" when it failed. It runs at most once in a run.
const std::string &hostname_output();

// Prints the node and all below it on standard output.
void dump_network_node(const NetworkNode *node, int depth);

#endif
