// "vpn.l2tp". `lns` makes an entry an access concentrator, so only those have that member.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_VPN_L2TP_H
#define TESSERA_REFERENCE_CONFIG_KEYS_VPN_L2TP_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key l2tp_entry[] = {
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric."),
    string("username", "Name to log in with: UCI option username."),
    secret(string("password", "Password: UCI option password.")),
    object("custom", about_custom, custom),
    within(0, 65535, integer("port", "port", "Port of the network server: UCI option port, of lac entries.")),
    string("local_address", "Of lns entries: own address of the PPP link: UCI option local_ip."),
    string("remote_address", "Of lns entries: address of the other end: UCI option remote_ip."),
    string("auth", "Of lns entries: how the other end logs in: UCI option auth."),
    boolean("default_route", "Of lns entries: send everything there: UCI option default_route."),
};
constexpr Key lac_only[] = {held(string("lns", "Host name or address of the network server: UCI option lns."), "")};
constexpr Key lns_only[] = {string("lac", "Access concentrators let in: UCI option lac.")};
constexpr auto lac = join(l2tp_entry, lac_only);
constexpr auto lns = join(l2tp_entry, lns_only);
constexpr Key l2tp[] = {
    boolean("enable", "Write the sections."),
    boolean("debug", "Log the exchange: UCI option debug."),
    map("lac", "Tunnels to a network server: the section l2tp_lac_KEY each.", lac),
    map("lns", "Tunnels from access concentrators: the section l2tp_lns_KEY each.", lns),
};

}  // namespace keys

#endif
