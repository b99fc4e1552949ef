// "vpn.l2tp". The member `lns` marks an entry as an access concentrator, so entries of the map `lns` do not have it.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_VPN_L2TP_H
#define TESSERA_REFERENCE_CONFIG_KEYS_VPN_L2TP_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key l2tp_entry[] = {
    integer("metric", "Metric of its routes, lower is preferred: UCI option metric."),
    string("username", "Name to log in with: UCI option username."),
    secret(string("password", "Password: UCI option password.")),
    object("custom", about_custom, custom),
    within(0, 65535, integer("port", "Port of the network server, for lac entries: UCI option port.")),
    string("local_address", "For lns entries: own address of the PPP link: UCI option local_ip."),
    string("remote_address", "For lns entries: address of the other end: UCI option remote_ip."),
    string("auth", "For lns entries: how the other end logs in: UCI option auth."),
    boolean("default_route", "For lns entries: use the link as default route: UCI option default_route."),
};
constexpr Key lac_only[] = {
    held(Fallback::empty, string("lns", "Host name or address of the network server: UCI option lns."))};
constexpr Key lns_only[] = {string("lac", "Access concentrators that may connect: UCI option lac.")};
constexpr auto lac = join(l2tp_entry, lac_only);
constexpr auto lns = join(l2tp_entry, lns_only);
constexpr Key l2tp[] = {
    boolean("enable", "Write the sections."),
    boolean("debug", "Log the exchange: UCI option debug."),
    map("lac", "Tunnels to a network server: the section l2tp_lac_KEY for each.", lac),
    map("lns", "Tunnels from access concentrators: the section l2tp_lns_KEY for each.", lns),
};

}  // namespace keys

#endif
