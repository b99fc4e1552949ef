// Functions and data that the writers of the network file share. All writers write to the caller's open stream.
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

// The network model, and facts that every interface needs and that a run looks up only once.
struct NetworkRun {
  explicit NetworkRun(const ConfigNode *root);

  OwnedModel model;
  NhrpNetworks nhrp;
  std::map<size_t, const char *> passthrough_keys;  // keys of passthrough interfaces, by config_node_id of a source
  std::optional<std::string> hostname;              // output of /bin/hostname; unset until it is needed
  std::optional<std::string> hybrid_interface;      // "" for none; unset until it is read, and after it was removed
};
extern NetworkRun *network_run;  // null outside a run

// Writes one anonymous route section for a static or multicast route. `interface` may be null.
void uci_write_route(FILE *out, const ConfigNode *route, const ConfigNode *interface);

// Write the route sections of all enabled entries of "network.route.static", and of "service.multicast": for each entry
// there, one section for each of its interfaces.
void uci_write_static_routes(FILE *out, const ConfigNode *root);
void uci_write_multicast_routes(FILE *out, const ConfigNode *root);

// Writes the sections of one device.
void uci_write_devices(FILE *out, const NetworkNode *device);

// Writes the sections of one interface or of one of its protocol parts.
void uci_write_interface(FILE *out, const NetworkNode *node);

// Writes the sections of a passthrough interface on `device`, which may be null.
void uci_write_passthrough_interface(FILE *out, const NetworkNode *node, const NetworkNode *device);

// Writes the section header of an interface or part, with the interface manager's name.
void uci_write_interface_section(FILE *out, const NetworkNode *node);

// Writes `ifname` with the node's name; nothing for a null node or a device of a radio.
void uci_write_ifname(FILE *out, const NetworkNode *node);

// Writes `metric`, unless it is 0: the configured one, or the highest possible one for an IPsec tunnel whose health
// check is enabled and has not passed.
void uci_write_metric(FILE *out, const ConfigNode *config);

// Writes `passthrough` with the key of the first passthrough interface that has this interface as a source. False when
// there is none.
bool uci_write_passthrough(FILE *out, const NetworkNode *node);

// Write options that several kinds of interfaces share: the host name and `dhcp_hostname` (nothing without a host
// name); the MTU (nothing when it is not set); MAC address, MTU and `promisc`, each only when it is set.
void uci_write_hostname(FILE *out, const ConfigNode *config);
void uci_write_mtu(FILE *out, const ConfigNode *config);
void uci_write_link_options(FILE *out, const ConfigNode *config);

// The output of /bin/hostname, line end included; "" when it failed. Runs the program at most once in a run.
const std::string &hostname_output();

// Prints the node and all nodes below it to standard output, indented by `depth` levels.
void dump_network_node(const NetworkNode *node, int depth);

#endif
