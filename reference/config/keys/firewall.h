// The section "firewall".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_FIREWALL_H
#define TESSERA_REFERENCE_CONFIG_KEYS_FIREWALL_H

#include "config/keys/declare.h"

namespace keys {

constexpr Key web_filter[] = {
    boolean("enable",
            "Ask the filter's resolvers: resolv-file=/var/run/web-filter-resolv.dnsmasq instead of "
            "/var/run/resolv.dnsmasq."),
    string_or(
        "service", "umbrella",
        "Filter service; umbrella writes umbrella=deviceid: with the 16 characters of /etc/config/web-filter-id."),
};
constexpr Key firewall[] = {object("web_filter", "Web filter by name resolution, in dnsmasq.conf.", web_filter)};

}  // namespace keys

#endif
