// Functions and data that the parts of the DNS and DHCP mapper share.
#ifndef TESSERA_DNSMASQ_DNSMASQ_H
#define TESSERA_DNSMASQ_DNSMASQ_H

#include <cstdio>
#include <optional>
#include <set>

#include "platform/network.h"

// The model of this run; null outside a run.
extern NetworkModel *dnsmasq_network_model;

// Facts that every interface needs and that a run looks up only once.
struct DnsmasqRun {
  std::set<const NetworkNode *> passthrough_devices;  // devices of passthrough interfaces
  std::optional<bool> hybrid_lan_mode;                // unset until an interface needs it
};
extern DnsmasqRun *dnsmasq_run;  // null outside a run

// Returns the facts of this model; hybrid_lan_mode is unset.
DnsmasqRun begin_dnsmasq_run(const NetworkModel *model);

// Writes the lines of one interface or protocol part; for an interface of a kind without lines of its own, those of its
// parts.
void dnsmasq_walk_interface(FILE *file, const NetworkNode *node);

// Writes the DHCP server section of one interface or part, or its relay lines when the server is disabled. Writes
// nothing without a device or on a passthrough device.
void dnsmasq_write_dhcp_section(FILE *file, const NetworkNode *node);

// True when a passthrough interface is on `device`: it belongs to a client, so the router serves nothing there.
bool dnsmasq_is_passthrough_source(const NetworkNode *device);

#endif
