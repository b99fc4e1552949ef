// The section "service".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_SERVICE_H
#define TESSERA_REFERENCE_CONFIG_KEYS_SERVICE_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key dns_server[] = {
    string("domain", "Ask the server only for this domain: server=/DOMAIN/ADDRESS; empty: for every name."),
    string("address", "Address, with #PORT for another port than 53."),
};
constexpr Key dns_host[] = {
    string("name", "Host name."),
    string("address", "Address of either family."),
};
constexpr Key dns[] = {
    boolean("cache_negative_responses", "Remember names that do not exist; false: no-negcache."),
    boolean("query_all_servers", "Ask all upstream servers at once: all-servers."),
    boolean("stop_dns_rebind", "Drop answers from upstream that hold private addresses: stop-dns-rebind."),
    boolean("rebind_localhost_ok",
            "Allow answers in 127.0.0.0/8 nevertheless: rebind-localhost-ok, only with stop_dns_rebind."),
    objects("server", "Upstream servers: a line server= for each.", dns_server),
    strings("allowlist",
            "The only domains that are answered: address=/#/, and server=/DOMAIN/# for each; empty: all domains."),
    objects("host", "Names that the router itself knows: host-record=NAME,ADDRESS for each.", dns_host),
};
constexpr Key multicast[] = {
    boolean("enable", "Write the routes."),
    string("dst", "Group address, or network with prefix length: UCI options target and netmask."),
    route_gateway,
    route_onlink,
    route_mtu,
    route_metric,
    references("interface",
               "Interfaces to send the groups to: a route section for each, with UCI option interface, and "
               "source when the address is static."),
};
constexpr Key service[] = {
    object("dns", "Name resolution, in dnsmasq.conf.", dns),
    map("multicast", "Multicast routes, in /var/run/uci/network.", multicast),
};

}  // namespace keys

#endif
