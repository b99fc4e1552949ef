// What the parts of the DNS and DHCP mapper share.
#ifndef TESSERA_DNSMASQ_DNSMASQ_H
#define TESSERA_DNSMASQ_DNSMASQ_H

#include <cstdio>
#include <optional>
#include <set>

#include "platform/network.h"

// The model of this run; null outside a run.
extern NetworkModel *dnsmasq_network_model;

// What a run finds out once, although every interface needs it.
struct DnsmasqRun {
  std::set<const NetworkNode *> passthrough_devices;  // devices that a passthrough interface runs on
  std::optional<bool> hybrid_lan_mode;                // unset before it is needed
};
extern DnsmasqRun *dnsmasq_run;  // null outside a run

// Finds out what depends on the model alone.
DnsmasqRun begin_dnsmasq_run(const NetworkModel *model);

// Writes what one interface or protocol part needs, and for a kind that is only a container, what its parts need.
void dnsmasq_walk_interface(FILE *file, const NetworkNode *node);

// Writes the DHCP server section of one interface or part, or its relay lines while the server is off.
void dnsmasq_write_dhcp_section(FILE *file, const NetworkNode *node);

// True when a passthrough interface runs on `device`: a client owns it, so the router serves nothing there.
bool dnsmasq_is_passthrough_source(const NetworkNode *device);

#endif
