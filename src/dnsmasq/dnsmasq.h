// What the parts of the DNS and DHCP mapper share.
#ifndef TESSERA_DNSMASQ_DNSMASQ_H
#define TESSERA_DNSMASQ_DNSMASQ_H

#include <cstdio>

#include "main/owned.h"
#include "platform/network.h"

// The model of this run; null outside a run.
extern NetworkModel *dnsmasq_network_model;

// Writes what one interface or protocol part needs, and for a kind that is only a container, what its parts need.
void dnsmasq_walk_interface(FILE *file, const NetworkNode *node);

// Writes the DHCP server section of one interface or part, or its relay lines while the server is off.
void dnsmasq_write_dhcp_section(FILE *file, const NetworkNode *node);

// True when a passthrough interface runs on `device`: a client owns it, so the router serves nothing there.
bool dnsmasq_is_passthrough_source(const NetworkNode *device);

// Drops what the functions above remember of a model; called when the model goes.
void dnsmasq_forget_model();

// A copy with a backslash before every backslash and double quote; null when there is nothing to escape.
OwnedText dnsmasq_escape_quoted(const char *text);

#endif
