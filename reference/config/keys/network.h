// The section "network".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_H
#define TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_H

#include "config/keys/declare.h"
#include "config/keys/network_devices.h"
#include "config/keys/network_interface.h"
#include "config/keys/network_routes.h"

namespace keys {

constexpr Key network_advanced[] = {
    boolean("dhcp_persistent_lease",
            "Keep leases over a restart: dhcp-leasefile=/etc/config/dhcp.leases instead of /var/run/dhcp.leases."),
    boolean("sequential_dhcp_allocation", "Lease addresses one after the other: dhcp-sequential-ip."),
    string("ula_prefix", "Own IPv6 prefix, such as fd00:1234::/48: UCI option ula_prefix of globals."),
};
constexpr Key scep_crl[] = {
    boolean("enable", "Tunnels that use the client link its scep_crl.pem, and are skipped while it is missing."),
};
constexpr Key scep_client[] = {object("crl", "Revocation list.", scep_crl)};
constexpr Key network[] = {
    object("advanced", "Settings of the whole router.", network_advanced),
    object("route", "Routes.", route),
    map("scep_client", "Clients that fetch certificates into /etc/config/scep_client/KEY.", scep_client),
    of_devices(map("device", "Ports of the router.", network_device)),
    bare_map("radio", "Radios."),
    of_devices(map("wlan", "Wireless networks.", wlan)),
    of_devices(map("vlan", "VLANs.", vlan)),
    of_devices(map("bridge",
                   "Bridges: an anonymous section device for each, and link_bridge_KEY when no interface is on it.",
                   bridge)),
    of_devices(map("bond", "Bonds: an anonymous section device for each.", bond)),
    of_devices(map("macsec", "MACsec devices: the section KEY for each, with proto macsec.", macsec)),
    of_devices(map("vrrp", "VRRP devices; they get no section.", vrrp)),
    of_devices(bare_map("wisun", "Wi-SUN devices; they get no section.")),
    map("modem", "Cellular modems.", modem),
    map("interface", "Interfaces.", interface_keys),
};

}  // namespace keys

#endif
