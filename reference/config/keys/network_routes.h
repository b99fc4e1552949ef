// "network.route".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_ROUTES_H
#define TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_ROUTES_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key policy_destination[] = {
    string_or("type", "domain", "What the route matches; only domain gives an ipset= line."),
    strings("domain", "Domains whose addresses are added to the sets: ipset=, and the same in hostnamesniffer.cfg."),
};
constexpr Key policy_route[] = {
    boolean("enable", "Write the lines."),
    word("ip_version", "any ipv4 ipv6",
         "Sets that addresses are added to: domain-policy-N, domain6-policy-N or both; N is the entry's position, from "
         "0."),
    object("dst", "What is routed.", policy_destination),
};
constexpr Key static_route[] = {
    boolean("enable", "Write the route."),
    string("dst", "IPv4 address, or network with prefix length: UCI options target and netmask; empty: neither."),
    reference("interface", "Outgoing interface: UCI option interface, and source when its IPv4 address is static."),
    route_gateway,
    route_onlink,
    route_mtu,
    route_metric,
};
constexpr Key nhrp_network[] = {
    naming(NamesOf::tunnels,
           string("ipsec",
                  "Tunnels that NHRP runs: every tunnel whose name is a part of this string has uniqueids=never in its "
                  "file and no interface section.")),
};
constexpr Key nhrp[] = {objects("network", "Networks of the next hop resolution protocol.", nhrp_network)};
constexpr Key route_service[] = {object("nhrp", "Next hop resolution protocol.", nhrp)};
constexpr Key route[] = {
    objects("policy", "Policy routes by domain, in dnsmasq.conf. The position of an entry numbers its sets.",
            policy_route),
    objects("static", "Static routes: an anonymous section route for each.", static_route),
    object("service", "Routing services.", route_service),
};

}  // namespace keys

#endif
