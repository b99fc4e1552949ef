// "network.interface".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_INTERFACE_H
#define TESSERA_REFERENCE_CONFIG_KEYS_NETWORK_INTERFACE_H

#include "config/keys/declare.h"
#include "config/keys/shared.h"

namespace keys {

constexpr Key custom_option[] = {
    boolean("enable", "Write the option."),
    word("datatype", "ipv4 str hex 1byte 2byte 4byte",
         "Type of the value, and which of the keys below holds it. Any other word: value_bytes without a size."),
    within(1, 254, integer("option", "Option code.")),
    boolean("force", "Send it even if the client does not ask for it: dhcp-option-force= instead of dhcp-option=."),
    strings("value_ipv4_list", "Addresses, for datatype ipv4."),
    string("value_str", "String, for datatype str."),
    string("value_hex", "Hexadecimal digits, for datatype hex."),
    integer("value_bytes", "Number, for datatype 1byte, 2byte and 4byte."),
    string("name", "Comment at the end of the line."),
};
constexpr Key static_lease[] = {
    string_or("type", "mac", "mac: mac names the client; anything else: device does."),
    string("mac", "Hardware address, with : or -: dhcp-host=MAC."),
    string("device", "Client identifier: dhcp-host=id:DEVICE."),
    string("name", "Host name for the client."),
    string("ip", "Address for the client; an entry with the address of an earlier entry is left out."),
};
constexpr char servers_of[] = "auto custom none";
constexpr Key dhcp_advanced[] = {
    string("domain_suffix", "Domain of the clients: domain=."),
    word("gateway", servers_of,
         "Router announced: option 3. auto: this one; custom: gateway_custom; none: no address."),
    string("gateway_custom", "Address for gateway custom."),
    word("mtu", servers_of, "MTU announced: option:mtu. auto: none; custom: mtu_custom; else an empty option."),
    within(68, 65535, integer("mtu_custom", "MTU for mtu custom, in bytes.")),
    word("primary_dns", servers_of, "Name server announced: option 6. auto: this router; custom: primary_dns_custom."),
    string("primary_dns_custom", "Address for primary_dns custom."),
    word("secondary_dns", servers_of, "Second name server in option 6, as primary_dns."),
    string("secondary_dns_custom", "Address for secondary_dns custom."),
    word("primary_ntp", servers_of,
         "Time server announced: option:ntp-server, unless both are none. auto: this router; custom: "
         "primary_ntp_custom."),
    string("primary_ntp_custom", "Address for primary_ntp custom."),
    word("secondary_ntp", servers_of, "Second time server, as primary_ntp."),
    string("secondary_ntp_custom", "Address for secondary_ntp custom."),
    word("primary_wins", servers_of,
         "WINS server announced: option 44, unless both are none. auto: this router; custom: primary_wins_custom."),
    string("primary_wins_custom", "Address for primary_wins custom."),
    word("secondary_wins", servers_of, "Second WINS server, as primary_wins."),
    string("secondary_wins_custom", "Address for secondary_wins custom."),
    string("bootfile", "File that clients boot: dhcp-boot=."),
    string("tftp_server", "Server that holds it: option 66 and dhcp-boot=."),
    boolean("bootp_dynamic", "Lease addresses to BOOTP clients too: bootp-dynamic=."),
    objects("custom_option", "Options of your own: dhcp-option= or dhcp-option-force= for each.", custom_option),
    objects("static_lease", "Addresses that belong to clients: dhcp-host= for each.", static_lease),
};
constexpr Key dhcp_server[] = {
    boolean("enable", "Lease addresses; false: requests go to dhcp_relay."),
    string("lease_start", "First address leased, or its last number: dhcp-range=."),
    string("lease_end", "Last address leased, or its last number: dhcp-range=."),
    duration("lease_time", "How long a lease lasts, at least 120 seconds: dhcp-range=."),
    object("advanced",
           "Options for clients: dhcp-option= where the number or name of an option is given; for mtu "
           "dhcp-option-force=.",
           dhcp_advanced),
};
constexpr Key dhcp_relay[] = {string("address", "Server to relay to: dhcp-relay=.")};
constexpr Key static_address[] = {
    boolean("enable", "Use it."),
    string("address", "Address and prefix length: UCI list ip6addr, written without escapes."),
};
constexpr Key dhcpv6_server[] = {
    boolean("enable", "Announce the delegated prefix: dhcp-range= with constructor: and ra-stateless."),
};
constexpr Key part[] = {
    boolean("enable",
            "Use the family: the section ipv4_interface_KEY or ipv6_interface_KEY of an ethernet or passthrough "
            "interface, UCI option ip_version of a cellular one, ipv4 or ipv6 of a PPPoE one."),
    word("type", "static dhcp hybrid dhcpv6 prefix_delegation",
         "For ethernet interfaces: where addresses come from. ipv4: static, dhcp, or hybrid, which follows the runtime "
         "fact hybrid.lanmode; ipv6: dhcpv6 or prefix_delegation."),
    string("address", "IPv4 address and prefix length: UCI options ipaddr and netmask."),
    string("gateway", "Default gateway, for type static: UCI option gateway."),
    strings("dns", "Name servers, for type static: UCI option dns."),
    integer("metric",
            "Metric of its routes, lower is preferred: UCI option metric, 0: not written; metric4 or "
            "metric6 of cellular and PPPoE interfaces."),
    within(68, 65535,
           integer("mtu",
                   "Largest packet, in bytes: UCI options mtu and reqopts when the key is present; mtu4 or mtu6 of "
                   "cellular and PPPoE interfaces.")),
    string("mac", "Hardware address instead of the device's: UCI option macaddr."),
    boolean("promisc", "Receive frames for any address: UCI option promisc when the key is present."),
    boolean("force_link", "Keep a static address without a link: UCI option force_link."),
    boolean("dhcp_hostname", "Send the host name to the DHCP server: UCI option dhcp_hostname."),
    string("modem_type", "How a cellular interface learns its address: UCI option ip4_method or ip6_method."),
    within(1, 128,
           integer("prefix_length",
                   "Prefix length of the network that is taken from a delegated prefix: UCI option ip6assign.")),
    string("prefix_id", "Which network of that prefix, hexadecimal: UCI option ip6hint."),
    object("static", "Static IPv6 address besides learned ones.", static_address),
    object("dhcp_server", "DHCP server for IPv4, for type static and hybrid, in dnsmasq.conf.", dhcp_server),
    objects("dhcp_relay", "Other DHCP servers to relay to while dhcp_server is disabled.", dhcp_relay),
    object("dhcpv6_server", "Address announcements for IPv6, for type prefix_delegation, in dnsmasq.conf.",
           dhcpv6_server),
};
constexpr Key pppoe[] = {
    string("username", "Name to log in with: UCI option username."),
    secret(string("password", "Password: UCI option password.")),
    boolean("debug", "Log the exchange: UCI option debug."),
    object("custom", about_custom, custom),
};
constexpr Key custom_gateway[] = {
    boolean("enable", "Use it."),
    string("gateway", "Address, with a prefix length or mask: UCI options custom_gateway and custom_netmask."),
};
constexpr Key apn[] = {
    string("apn", "Name of the access point."),
    string("username", "Name to log in with: username=."),
    secret(string("password", "Password: password=.")),
    string_or("match_carrier", "any other",
              "Carrier that it is for: match_carrier=; empty: any; other: match_carrier_other, if that is set."),
    string("match_carrier_other", "Carrier for match_carrier other."),
    string("match_plmn", "Network number that it is for: match_plmn=."),
    string("auth", "How to log in: auth=."),
    string("ip_version", "Families to ask for: ip_version=."),
    integer("cid", "Number of the modem's context: cid=, 0: not written."),
    boolean("attm2mglobal", "Use the carrier's network for machines: attm2mglobal=."),
};
constexpr Key interface_modem[] = {
    naming(NamesOf::modems, string("device", "Key of the modem in network.modem: UCI option modem_name.")),
    secret(string("pin", "PIN of the SIM: UCI option pin.")),
    string("operator_mode", "How the carrier is chosen: UCI option operator_mode."),
    string("operator", "Carrier to use: UCI option operator."),
    string("operator_technology", "Radio technology to use: UCI option operator_technology."),
    string_or(
        "apn_selection", "apn_list_only built_in_list_only corvo_list_only",
        "Where access points come from: UCI option service_providers_override, 2, 1 or 4; with any other string 3, all "
        "lists."),
    boolean("roaming", "Use foreign networks: UCI option roaming."),
    boolean("backoff_enabled", "Wait longer after each failure: UCI option backoff_enabled."),
    boolean("skip_cached_apns", "Do not try the last access point first: UCI option skip_cached_apns."),
    integer("retry_seconds", "Seconds between attempts: UCI option retry_seconds."),
    integer("registration_timeout", "Seconds for finding the network: UCI option registration_timeout."),
    integer("connection_timeout", "Seconds for connecting: UCI option connection_timeout."),
    integer("apn_push_timeout", "Seconds for setting the access point: UCI option apn_push_timeout."),
    boolean("sim_failover", "Change to another SIM after failures; only for modems with sim_slot any."),
    integer("sim_failover_retries", "Failures before that: UCI option sim_failover_retries."),
    string("sim_failover_alt", "What to do without another SIM: UCI option sim_failover_alt."),
    word("sst", "EMBB URLLC MIOT custom",
         "Service type of the network slice: UCI option sst, 01 to 03, or custom_sst."),
    within(0, 255, integer("custom_sst", "Service type for sst custom.")),
    within(0, 16777215, integer("sd", "Differentiator of the network slice: UCI option sd, empty below 1.")),
    object("custom_gw", "IPv4 gateway instead of the carrier's.", custom_gateway),
    objects("apn", "Access points: a line of /var/run/serviceproviders-KEY.txt for each.", apn),
};
constexpr Key pppoe_server[] = {
    string("service_name", "Name of the service offered: UCI option service_name."),
    string("ac_name", "Name of the concentrator: UCI option ac_name."),
    string("auth", "How clients log in: UCI option auth."),
    string("username", "Name that clients log in with: UCI option username."),
    secret(string("password", "Their password: UCI option password.")),
    object("custom", about_custom, custom),
};
constexpr Key ancillary[] = {
    boolean("enable",
            "Use it: the section passthrough_ancillary_ipv4_interface_KEY, and an IPv4 section even while no "
            "source is up."),
    string("address", "Address and mask: UCI options ancillary_ipaddr and ancillary_netmask."),
    string("gw", "Address on the loopback device: UCI options ancillary_gateway and ipaddr."),
    boolean("dns", "Send the client's DNS queries to it: UCI option ancillary_dns_redirect."),
};
constexpr Key passthrough[] = {
    by_interface_name(
        references("src",
                   "Keys of the interfaces whose addresses the client gets; the first that is up and healthy is used: "
                   "UCI option passthrough_src.")),
    string("type", "When the key is present: UCI option type and the options of the PPPoE server."),
    object("pppoe_server", "PPPoE server that the client logs in to.", pppoe_server),
    object("ancillary", "IPv4 address of the router on the client's side.", ancillary),
};
constexpr Key interface_vigil[] = {
    boolean("enable", "Check the health of the link: UCI option clear_try_on_proto_up 0 of a cellular interface."),
};
constexpr Key interface_keys[] = {
    word("type", "ethernet passthrough modem pppoe hotspot wisun dialin",
         "Kind of interface; hotspot, wisun and dialin get no section, hotspot and passthrough the line "
         "except-interface= in dnsmasq.conf."),
    device("device", "Device that it is on: UCI option ifname. A cellular interface has modem.device instead."),
    boolean("enable", "Use it; the section of a disabled pppoe interface has only UCI option ifname."),
    within(68, 65535,
           integer("mtu",
                   "Largest packet of both families, in bytes, when the key is present: UCI options mtu and reqopts "
                   "after those of the part, for ethernet interfaces.")),
    integer("metric", "Has no effect; set metric in ipv4 and ipv6."),
    object("vigil", "Health checks.", interface_vigil),
    object("ipv4", "IPv4 part.", part),
    object("ipv6", "IPv6 part.", part),
    object("pppoe", "Login, for type pppoe.", pppoe),
    object("modem", "Cellular connection, for type modem.", interface_modem),
    object("passthrough", "What the client gets, for type passthrough.", passthrough),
};

}  // namespace keys

#endif
