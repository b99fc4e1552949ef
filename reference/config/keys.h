// Every key of the configuration document: its name, its kind, and what the manual and the JSON Schema say about it.
// The compiler alone reads these declarations; schema.cc lays them out as the tables that programs use. A key without a
// description does not compile.
//
// A description says what the key means and which line or option of which file it drives. "UCI option" is one of
// /var/run/uci/network; names that end in "=" are lines of the file that the object or map above is described with.
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_H
#define TESSERA_REFERENCE_CONFIG_KEYS_H

#include <array>

#include "config/schema.h"

namespace keys {

struct Key {
  const char *name;
  Kind kind;
  Kind element = Kind::ignored;  // of an array
  unsigned flags = 0;
  unsigned element_flags = 0;
  SchemaText about = {};
  const Key *members = nullptr;  // of an object, of the entries of a map or of the objects of an array
  size_t count = 0;
  const char *fallback = "";  // of a text that is held always
};

constexpr Key key(Kind kind, const char *name, const char *description) {
  return {.name = name, .kind = kind, .about = {.description = description}};
}
constexpr Key text(const char *name, const char *description) {
  return key(Kind::text, name, description);
}
// A text that the writers compare with `words`, separated by blanks; others are of no use.
constexpr Key word(const char *name, const char *words, const char *description) {
  Key key = text(name, description);
  key.about.words = words;
  return key;
}
// A text of which others than `words` may do, but are mostly mistakes.
constexpr Key term(const char *name, const char *words, const char *description) {
  Key key = word(name, words, description);
  key.about.others = OtherTexts::doubtful;
  return key;
}
// Any text, of which `words` have a meaning of their own.
constexpr Key text_or(const char *name, const char *words, const char *description) {
  Key key = word(name, words, description);
  key.about.others = OtherTexts::usual;
  return key;
}
constexpr Key lines(const char *name, const char *description) {
  Key key = text(name, description);
  key.flags = row_many_lines;
  return key;
}
constexpr Key held(Key text, const char *fallback) {
  text.flags |= row_always;
  text.fallback = fallback;
  return text;
}
constexpr Key boolean(const char *name, const char *description) {
  return key(Kind::boolean, name, description);
}
// `unit` is "" for plain numbers.
constexpr Key integer(const char *name, const char *unit, const char *description) {
  Key key = keys::key(Kind::integer, name, description);
  key.about.unit = unit;
  return key;
}
constexpr Key number(const char *name, const char *description) {
  return key(Kind::number, name, description);
}
constexpr Key duration(const char *name, const char *description) {
  return key(Kind::duration, name, description);
}
constexpr Key reference(const char *name, const char *description) {
  return key(Kind::reference, name, description);
}
constexpr Key device(const char *name, const char *description) {
  Key key = reference(name, description);
  key.flags = row_device;
  return key;
}
// An array of what `element` is.
constexpr Key array_of(Key element, unsigned element_flags = 0) {
  element.element = element.kind;
  element.kind = Kind::array;
  element.element_flags = element_flags;
  return element;
}
constexpr Key texts(const char *name, const char *description) {
  return array_of(text(name, description));
}
constexpr Key references(const char *name, const char *description, unsigned flags = 0) {
  return array_of(reference(name, description), flags);
}
constexpr Key nest(Key key, const Key *members, size_t count, unsigned element_flags = 0) {
  key.members = members;
  key.count = count;
  key.element_flags = element_flags;
  return key;
}
template <size_t n>
constexpr Key object(const char *name, const char *description, const Key (&members)[n]) {
  return nest(key(Kind::object, name, description), members, n);
}
template <size_t n>
constexpr Key objects(const char *name, const char *description, const Key (&members)[n]) {
  return array_of(object(name, description, members));
}
template <size_t n>
constexpr Key map(const char *name, const char *description, const Key (&members)[n], unsigned entry_flags = 0) {
  return nest(key(Kind::map, name, description), members, n, entry_flags);
}
template <size_t n>
constexpr Key map(const char *name, const char *description, const std::array<Key, n> &members,
                  unsigned entry_flags = 0) {
  return nest(key(Kind::map, name, description), members.data(), n, entry_flags);
}
constexpr Key bare_map(const char *name, const char *description, unsigned entry_flags = 0) {
  return nest(key(Kind::map, name, description), nullptr, 0, entry_flags);
}
// A map whose entry names may hold '-'.
constexpr Key hyphened(Key map) {
  map.flags = row_hyphen;
  return map;
}
template <size_t n, size_t more>
constexpr std::array<Key, n + more> join(const Key (&common)[n], const Key (&own)[more]) {
  std::array<Key, n + more> all{};
  for (size_t i = 0; i < n; i++) all[i] = common[i];
  for (size_t i = 0; i < more; i++) all[n + i] = own[i];
  return all;
}

// Keys and shapes that occur in several places.
constexpr Key route_gateway = text("gateway", "Next hop, an IPv4 address: UCI option gateway.");
constexpr Key route_onlink = boolean(
    "onlink",
    "The gateway is reached directly although no address covers it: UCI option onlink, written with a gateway.");
constexpr Key route_mtu = integer("mtu", "bytes", "Largest packet on the route: UCI option mtu, 0: not written.");
constexpr Key route_metric = integer("metric", "", "Metric, lower is preferred: UCI option metric.");
constexpr Key custom[] = {
    boolean("enable", "Use config_file: UCI option custom_enable."),
    boolean("override", "Use nothing but config_file: UCI option custom_override."),
    lines("config_file", "Options of the PPP daemon: UCI option custom_config_file."),
};
constexpr char about_custom[] = "PPP options of your own.";

// system, firewall
constexpr Key system_keys[] = {
    text("name",
         "Host name: UCI option hostname of DHCP and cellular interfaces; empty: what /bin/hostname prints for "
         "the former."),
    boolean("fips",
            "Restrict IPsec to approved algorithms: other proposals are dropped, and a tunnel that is left "
            "without one is skipped."),
};
constexpr Key web_filter[] = {
    boolean("enable",
            "Ask the filter's resolvers: resolv-file=/var/run/web-filter-resolv.dnsmasq instead of "
            "/var/run/resolv.dnsmasq."),
    text_or("service", "umbrella",
            "Filter service; umbrella writes umbrella=deviceid: with the 16 characters of /etc/config/web-filter-id."),
};
constexpr Key firewall[] = {object("web_filter", "Web filter by name resolution, in dnsmasq.conf.", web_filter)};

// service
constexpr Key dns_server[] = {
    text("domain", "Ask the server for this domain only: server=/DOMAIN/ADDRESS; empty: for every name."),
    text("address", "Address, with #PORT where it is not 53."),
};
constexpr Key dns_host[] = {
    text("name", "Host name."),
    text("address", "Address of either family."),
};
constexpr Key dns[] = {
    boolean("cache_negative_responses", "Remember names that do not exist; off: no-negcache."),
    boolean("query_all_servers", "Ask all upstream servers at once: all-servers."),
    boolean("stop_dns_rebind", "Drop answers from upstream that hold private addresses: stop-dns-rebind."),
    boolean("rebind_localhost_ok",
            "Let answers in 127.0.0.0/8 pass all the same: rebind-localhost-ok, with stop_dns_rebind only."),
    objects("server", "Upstream servers: a line server= each.", dns_server),
    texts("allowlist", "The only domains that are answered: address=/#/, and server=/DOMAIN/# each; empty: all are."),
    objects("host", "Names that the router knows itself: host-record=NAME,ADDRESS each.", dns_host),
};
constexpr Key multicast[] = {
    boolean("enable", "Write the routes."),
    text("dst", "Group address, or network with prefix length: UCI options target and netmask."),
    route_gateway,
    route_onlink,
    route_mtu,
    route_metric,
    references("interface",
               "Interfaces to send the groups to: a route section each, with UCI option interface, and "
               "source where the address is static."),
};
constexpr Key service[] = {
    object("dns", "Name resolution, in dnsmasq.conf.", dns),
    map("multicast", "Multicast routes, in /var/run/uci/network.", multicast),
};

// network: general settings and routes
constexpr Key network_advanced[] = {
    boolean("dhcp_persistent_lease",
            "Keep leases over a restart: dhcp-leasefile=/etc/config/dhcp.leases instead of /var/run/dhcp.leases."),
    boolean("sequential_dhcp_allocation", "Lease addresses one after the other: dhcp-sequential-ip."),
    text("ula_prefix", "Own IPv6 prefix, such as fd00:1234::/48: UCI option ula_prefix of globals."),
};
constexpr Key policy_destination[] = {
    text_or("type", "domain", "What the route matches; domain alone gives an ipset= line."),
    texts("domain", "Domains whose addresses enter the sets: ipset=, and the same in hostnamesniffer.cfg."),
};
constexpr Key policy_route[] = {
    boolean("enable", "Write the lines."),
    word("ip_version", "any ipv4 ipv6",
         "Sets that addresses enter: domain-policy-N, domain6-policy-N or both; N is the entry's position, from 0."),
    object("dst", "What is routed.", policy_destination),
};
constexpr Key static_route[] = {
    boolean("enable", "Write the route."),
    text("dst", "IPv4 address, or network with prefix length: UCI options target and netmask; empty: neither."),
    reference("interface", "Interface to leave by: UCI option interface, and source where its IPv4 address is static."),
    route_gateway,
    route_onlink,
    route_mtu,
    route_metric,
};
constexpr Key nhrp_network[] = {
    text("ipsec",
         "Tunnel that NHRP runs: uniqueids=never in its file and no interface section. Every tunnel counts "
         "whose name is a part of this text."),
};
constexpr Key nhrp[] = {objects("network", "Networks of the next hop resolution protocol.", nhrp_network)};
constexpr Key route_service[] = {object("nhrp", "Next hop resolution protocol.", nhrp)};
constexpr Key route[] = {
    objects("policy", "Policy routes by domain, in dnsmasq.conf. The position of an entry numbers its sets.",
            policy_route),
    objects("static", "Static routes: an anonymous section route each.", static_route),
    object("service", "Routing services.", route_service),
};
constexpr Key scep_crl[] = {
    boolean("enable", "Tunnels that use the client link its scep_crl.pem, and are skipped while there is none."),
};
constexpr Key scep_client[] = {object("crl", "Revocation list.", scep_crl)};

// network: devices
constexpr Key network_device[] = {
    word("type", "ethernet usb_ethernet loopback vnet",
         "Kind of device; ethernet and usb_ethernet give the section link_eth_KEY."),
    text("name", "Name in the kernel: UCI option ifname of its sections; empty: the key, or an absent usb_ethernet."),
    text("mode", "Drives nothing."),
};
constexpr Key wlan[] = {
    held(word("type", "wlan", "Always wlan, also where it is not written."), "wlan"),
    word("mode", "ap client", "A client in a bridge is joined through the section tap_BRIDGE_KEY."),
    reference("radio", "Radio it is on; interfaces on it are written without UCI option ifname then."),
};
constexpr Key vlan[] = {
    device("device", "Device whose frames are tagged; its name and the ID name the VLAN."),
    integer("id", "", "VLAN ID, 1 to 4094: section vlan4_DEVICE_ID or vlan6_DEVICE_ID for each interface part on it."),
};
constexpr Key stp[] = {
    boolean("enable", "Take part in the spanning tree: UCI option stp."),
    integer("forward_delay", "seconds",
            "Time in each state before forwarding: UCI option forward_delay, with stp only."),
};
constexpr Key bridge[] = {
    boolean("enable", "Write the sections."),
    word("mode", "bridge switch",
         "switch filters VLANs and names no members: UCI option vlan_filtering; anything else is a plain bridge."),
    references("device", "Members: UCI option ifname.", row_device),
    object("stp", "Spanning tree.", stp),
    boolean("auto_mac_assignment",
            "Take the address of the first member that has one: UCI option macaddr, without mode switch."),
};
constexpr Key bond[] = {
    boolean("enable", "Write the section."),
    word("mode", "active-backup round-robin", "How members share the work: UCI option mode; none without."),
    references("device", "Members: UCI option ifname; of active-backup the first is UCI option primary.", row_device),
    duration("link_poll_interval",
             "Time between looks at the links: UCI option link_poll_interval in milliseconds, "
             "0: not written."),
};
constexpr Key macsec_association[] = {
    text("cak", "Secret key, hexadecimal: UCI option cak, of type manual."),
    text("ckn", "Name of the key, hexadecimal: UCI option ckn, of type manual."),
};
constexpr Key macsec[] = {
    boolean("enable", "Write the section."),
    reference("local",
              "Interface below: its IPv4 address gives UCI option local_ip, its device UCI option device. No "
              "section while it has no address."),
    text_or("type", "manual", "Where keys come from, manual alone takes association: UCI option type."),
    object("association", "Keys set by hand.", macsec_association),
};
constexpr Key vrrp[] = {device("device", "Device it shares an address on.")};
constexpr Key modem[] = {
    text_or("sim_slot", "any", "SIM in use; any lets sim_failover have its effect."),
};

// network: interfaces
constexpr Key custom_option[] = {
    boolean("enable", "Write the option."),
    word("datatype", "ipv4 str hex 1byte 2byte 4byte",
         "Form of the value, and which of the keys below holds it; with any other word value_bytes as it stands."),
    integer("option", "", "Option code, 1 to 254."),
    boolean("force", "Send it also unasked: dhcp-option-force= instead of dhcp-option=."),
    texts("value_ipv4_list", "Addresses, of datatype ipv4."),
    text("value_str", "Text, of datatype str."),
    text("value_hex", "Hexadecimal digits, of datatype hex."),
    integer("value_bytes", "", "Number, of datatype 1byte, 2byte and 4byte."),
    text("name", "Comment at the end of the line."),
};
constexpr Key static_lease[] = {
    text_or("type", "mac", "mac: the client is known by mac; anything else: by device."),
    text("mac", "Hardware address, with : or -: dhcp-host=MAC."),
    text("device", "Client identifier: dhcp-host=id:DEVICE."),
    text("name", "Host name for the client."),
    text("ip", "Address for the client; an entry with one that stood before is left out."),
};
constexpr char servers_of[] = "auto custom none";
constexpr Key dhcp_advanced[] = {
    text("domain_suffix", "Domain of the clients: domain=."),
    word("gateway", servers_of,
         "Router announced: option 3. auto: this one; custom: gateway_custom; none: no address."),
    text("gateway_custom", "Address for gateway custom."),
    word("mtu", servers_of, "MTU announced: option:mtu. auto: none; custom: mtu_custom; else an empty option."),
    integer("mtu_custom", "bytes", "MTU for mtu custom."),
    word("primary_dns", servers_of, "Name server announced: option 6. auto: this router; custom: primary_dns_custom."),
    text("primary_dns_custom", "Address for primary_dns custom."),
    word("secondary_dns", servers_of, "Second name server in option 6, as primary_dns."),
    text("secondary_dns_custom", "Address for secondary_dns custom."),
    word("primary_ntp", servers_of,
         "Time server announced: option:ntp-server, unless both are none. auto: this router; custom: "
         "primary_ntp_custom."),
    text("primary_ntp_custom", "Address for primary_ntp custom."),
    word("secondary_ntp", servers_of, "Second time server, as primary_ntp."),
    text("secondary_ntp_custom", "Address for secondary_ntp custom."),
    word("primary_wins", servers_of,
         "WINS server announced: option 44, unless both are none. auto: this router; custom: primary_wins_custom."),
    text("primary_wins_custom", "Address for primary_wins custom."),
    word("secondary_wins", servers_of, "Second WINS server, as primary_wins."),
    text("secondary_wins_custom", "Address for secondary_wins custom."),
    text("bootfile", "File that clients boot: dhcp-boot=."),
    text("tftp_server", "Server that holds it: option 66 and dhcp-boot=."),
    boolean("bootp_dynamic", "Lease addresses to BOOTP clients too: bootp-dynamic=."),
    objects("custom_option", "Options of your own: dhcp-option= or dhcp-option-force= each.", custom_option),
    objects("static_lease", "Addresses that belong to clients: dhcp-host= each.", static_lease),
};
constexpr Key dhcp_server[] = {
    boolean("enable", "Lease addresses; off: requests go to dhcp_relay."),
    text("lease_start", "First address leased, or its last number: dhcp-range=."),
    text("lease_end", "Last address leased, or its last number: dhcp-range=."),
    duration("lease_time", "How long a lease holds, 120 seconds at least: dhcp-range=."),
    object("advanced",
           "Options that clients get: dhcp-option= where the number or name of one is given; of mtu "
           "dhcp-option-force=.",
           dhcp_advanced),
};
constexpr Key dhcp_relay[] = {text("address", "Server to relay to: dhcp-relay=.")};
constexpr Key static_address[] = {
    boolean("enable", "Have it."),
    text("address", "Address and prefix length: UCI list ip6addr, written as it stands."),
};
constexpr Key dhcpv6_server[] = {
    boolean("enable", "Announce the delegated prefix: dhcp-range= with constructor: and ra-stateless."),
};
constexpr Key part[] = {
    boolean("enable",
            "Use the family: the section ipv4_interface_KEY or ipv6_interface_KEY of an ethernet or passthrough "
            "interface, UCI option ip_version of a cellular one, ipv4 or ipv6 of a PPPoE one."),
    word("type", "static dhcp hybrid dhcpv6 prefix_delegation",
         "Of ethernet interfaces: where addresses come from. ipv4: static, dhcp, or hybrid, which follows the runtime "
         "fact hybrid.lanmode; ipv6: dhcpv6 or prefix_delegation."),
    text("address", "IPv4 address and prefix length: UCI options ipaddr and netmask."),
    text("gateway", "Default gateway of static: UCI option gateway."),
    texts("dns", "Name servers of static: UCI option dns."),
    integer("metric", "",
            "Metric of its routes, lower is preferred: UCI option metric, 0: not written; metric4 or "
            "metric6 of cellular and PPPoE interfaces."),
    integer("mtu", "bytes",
            "Largest packet: UCI options mtu and reqopts where the key stands; mtu4 or mtu6 of cellular "
            "and PPPoE interfaces."),
    text("mac", "Hardware address instead of the device's: UCI option macaddr."),
    boolean("promisc", "Receive frames for anyone: UCI option promisc where the key stands."),
    boolean("force_link", "Keep a static address without a link: UCI option force_link."),
    boolean("dhcp_hostname", "Tell the DHCP server the host name: UCI option dhcp_hostname."),
    text("modem_type", "How a cellular interface learns its address: UCI option ip4_method or ip6_method."),
    integer("prefix_length", "bits", "Size of the network taken of a delegated prefix: UCI option ip6assign."),
    text("prefix_id", "Which of its networks, hexadecimal: UCI option ip6hint."),
    object("static", "IPv6 address beside those learned.", static_address),
    object("dhcp_server", "DHCP server for IPv4, of static and hybrid, in dnsmasq.conf.", dhcp_server),
    objects("dhcp_relay", "DHCP servers elsewhere, while dhcp_server is off.", dhcp_relay),
    object("dhcpv6_server", "Address announcements for IPv6, of prefix_delegation, in dnsmasq.conf.", dhcpv6_server),
};
constexpr Key pppoe[] = {
    text("username", "Name to log in with: UCI option username."),
    text("password", "Password: UCI option password."),
    boolean("debug", "Log the exchange: UCI option debug."),
    object("custom", about_custom, custom),
};
constexpr Key custom_gateway[] = {
    boolean("enable", "Use it."),
    text("gateway", "Address, with a prefix length or mask: UCI options custom_gateway and custom_netmask."),
};
constexpr Key apn[] = {
    text("apn", "Name of the access point."),
    text("username", "Name to log in with: username=."),
    text("password", "Password: password=."),
    text_or("match_carrier", "any other",
            "Carrier it is for: match_carrier=; empty: any; other: match_carrier_other, where there is one."),
    text("match_carrier_other", "Carrier for match_carrier other."),
    text("match_plmn", "Network number it is for: match_plmn=."),
    text("auth", "How to log in: auth=."),
    text("ip_version", "Families to ask for: ip_version=."),
    integer("cid", "", "Number of the modem's context: cid=, 0: not written."),
    boolean("attm2mglobal", "The carrier's machine network: attm2mglobal=."),
};
constexpr Key interface_modem[] = {
    text("device", "Key of the modem in network.modem: UCI option modem_name."),
    text("pin", "PIN of the SIM: UCI option pin."),
    text("operator_mode", "How the carrier is chosen: UCI option operator_mode."),
    text("operator", "Carrier to use: UCI option operator."),
    text("operator_technology", "Radio technology to use: UCI option operator_technology."),
    text_or(
        "apn_selection", "apn_list_only built_in_list_only corvo_list_only",
        "Where access points come from: UCI option service_providers_override, 2, 1 or 4; with any other text 3, all "
        "lists."),
    boolean("roaming", "Use foreign networks: UCI option roaming."),
    boolean("backoff_enabled", "Wait longer after each failure: UCI option backoff_enabled."),
    boolean("skip_cached_apns", "Do not try the last access point first: UCI option skip_cached_apns."),
    integer("retry_seconds", "seconds", "Time between attempts: UCI option retry_seconds."),
    integer("registration_timeout", "seconds", "Time for finding the network: UCI option registration_timeout."),
    integer("connection_timeout", "seconds", "Time for connecting: UCI option connection_timeout."),
    integer("apn_push_timeout", "seconds", "Time for setting the access point: UCI option apn_push_timeout."),
    boolean("sim_failover", "Change to another SIM after failures, of modems with sim_slot any."),
    integer("sim_failover_retries", "", "Failures before that: UCI option sim_failover_retries."),
    text("sim_failover_alt", "What to do where there is no other SIM: UCI option sim_failover_alt."),
    word("sst", "EMBB URLLC MIOT custom",
         "Service type of the network slice: UCI option sst, 01 to 03, or custom_sst."),
    integer("custom_sst", "", "Service type for sst custom, 0 to 255."),
    integer("sd", "", "Differentiator of the network slice, up to 0xffffff: UCI option sd, empty below 1."),
    object("custom_gw", "IPv4 gateway instead of the carrier's.", custom_gateway),
    objects("apn", "Access points: a line each of /var/run/serviceproviders-KEY.txt.", apn),
};
constexpr Key pppoe_server[] = {
    text("service_name", "Name of the service offered: UCI option service_name."),
    text("ac_name", "Name of the concentrator: UCI option ac_name."),
    text("auth", "How clients log in: UCI option auth."),
    text("username", "Name that clients log in with: UCI option username."),
    text("password", "Their password: UCI option password."),
    object("custom", about_custom, custom),
};
constexpr Key ancillary[] = {
    boolean("enable",
            "Have it: the section passthrough_ancillary_ipv4_interface_KEY, and an IPv4 section also while no "
            "source is up."),
    text("address", "Address and mask: UCI options ancillary_ipaddr and ancillary_netmask."),
    text("gw", "Address on the loopback device: UCI options ancillary_gateway and ipaddr."),
    boolean("dns", "Send the client's queries there: UCI option ancillary_dns_redirect."),
};
constexpr Key passthrough[] = {
    references("src",
               "Keys of the interfaces whose addresses are handed on; the first that is up and healthy counts: "
               "UCI option passthrough_src.",
               row_interface_name),
    text("type", "Where the key stands: UCI option type, and the PPPoE server's options."),
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
    device("device", "Device it is on: UCI option ifname. A modem is named in modem.device instead."),
    boolean("enable", "Have it; the section of a disabled pppoe interface holds UCI option ifname only."),
    integer("mtu", "bytes",
            "Largest packet of both families, where the key stands: UCI options mtu and reqopts after "
            "those of the part, of ethernet interfaces."),
    integer("metric", "", "Drives nothing; metrics stand in ipv4 and ipv6."),
    object("vigil", "Health checks.", interface_vigil),
    object("ipv4", "IPv4 part.", part),
    object("ipv6", "IPv6 part.", part),
    object("pppoe", "Login of type pppoe.", pppoe),
    object("modem", "Cellular connection of type modem.", interface_modem),
    object("passthrough", "What type passthrough hands to the client.", passthrough),
};
constexpr Key network[] = {
    object("advanced", "Settings of the whole router.", network_advanced),
    object("route", "Routes.", route),
    map("scep_client", "Clients that fetch certificates into /etc/config/scep_client/KEY.", scep_client),
    map("device", "Ports of the router.", network_device, row_device),
    bare_map("radio", "Radios."),
    map("wlan", "Wireless networks.", wlan, row_device),
    map("vlan", "VLANs.", vlan, row_device),
    map("bridge", "Bridges: an anonymous section device each, and link_bridge_KEY where no interface is on it.", bridge,
        row_device),
    map("bond", "Bonds: an anonymous section device each.", bond, row_device),
    map("macsec", "MACsec devices: the section KEY each, of proto macsec.", macsec, row_device),
    map("vrrp", "VRRP devices; they get no section.", vrrp, row_device),
    bare_map("wisun", "Wi-SUN devices; they get no section.", row_device),
    map("modem", "Cellular modems.", modem),
    map("interface", "Interfaces.", interface_keys),
};

// vpn.ipsec
constexpr Key identity[] = {
    word("type", "any raw ipv4 ipv6 rfc822 fqdn keyid mac_address serial_number",
         "Kind of identity, and which of the keys below holds it; mac_address and serial_number come from the runtime "
         "store; empty: none."),
    text("raw_id", "Identity as it stands, of type raw."),
    text("ipv4_id", "Address, of type ipv4."),
    text("ipv6_id", "Address, of type ipv6."),
    text("rfc822_id", "Mail address, of type rfc822."),
    text("fqdn_id", "Host name, of type fqdn."),
    text("keyid_id", "Key ID, of type keyid."),
};
constexpr Key peer_id[] = {
    boolean("enable", "Use it; off: the identity of remote, or the host name."),
    object("id", "Identity.", identity),
};
constexpr Key peer[] = {
    text("hostname", "Host name or address where ip_version is ipv4: right=."),
    text("hostname6", "Host name or address where ip_version is ipv6: right=."),
    integer("weight", "", "Share of attempts: righthostsweight=, 1 where the key does not stand."),
    object("peer_id", "Identity of this peer: rightid=.", peer_id),
};
constexpr Key ipsec_local[] = {
    word("type", "defaultroute interface", "Which interface the tunnel runs over: its address gives left=."),
    text("interface", "Key of the interface, of type interface."),
    object("id", "Own identity: leftid=.", identity),
};
constexpr Key ipsec_remote[] = {
    word("ip_version", "ipv4 ipv6", "Family of both ends."),
    objects("peers",
            "Peers to try: right=. One alone, whose host name is any in letters of either case, takes all comers: "
            "right=%any; among others any is a host name.",
            peer),
    term("peer_selection", "round_robin weighted",
         "Order of attempts: righthostssequence=, and righthostsweight= of weighted."),
    object("id", "Identity of the peer: rightid=.", identity),
};
// What strongSwan takes.
#define WITH_TAGS(cipher) cipher "8 " cipher "12 " cipher "16 " cipher "64 " cipher "96 " cipher "128 "
#define WITH_MODES(cipher) cipher " " cipher "ctr " WITH_TAGS(cipher "gcm") WITH_TAGS(cipher "ccm")
constexpr char ciphers[] = WITH_MODES("aes128") WITH_MODES("aes192") WITH_MODES(
    "aes256") "aes128gmac aes192gmac aes256gmac chacha20poly1305 3des camellia128 camellia192 camellia256 null";
constexpr char hashes[] =
    "sha1 sha256 sha384 sha512 sha sha2_256 sha2_384 sha2_512 sha1_160 sha256_96 sha2_256_96 md5 md5_128 aesxcbc "
    "aescmac prfsha1 prfsha256 prfsha384 prfsha512";
constexpr char dh_groups[] =
    "modp768 modp1024 modp1536 modp2048 modp3072 modp4096 modp6144 modp8192 modp1024s160 modp2048s224 modp2048s256 "
    "ecp192 ecp224 ecp256 ecp384 ecp521 ecp224bp ecp256bp ecp384bp ecp512bp curve25519 x25519 curve448 x448 none";
constexpr Key proposal[] = {
    term("cipher", ciphers,
         "Encryption; with system.fips aes128, aes192 and aes256, these with gcm96 or gcm128 behind, and 3des only."),
    term("hash", hashes, "Integrity; with system.fips sha1, sha256, sha384 and sha512 only."),
    term("dh_group", dh_groups,
         "Key exchange, none for phase 2 without one; with system.fips modp2048, modp3072, modp4096, modp6144, "
         "modp8192, ecp224, ecp256, ecp384, ecp521, curve25519 and curve448 only."),
};
constexpr Key ike[] = {
    boolean("initiate",
            "Start the tunnel from here: dpdaction=restart instead of clear, and initiate instead of route in UCI "
            "option initiate."),
    term("version", "ikev1 ikev2 ike", "Protocol: keyexchange=."),
    word("mode", "main aggressive", "aggressive is quicker and hides no identities: aggressive=yes."),
    term("fragmentation", "always never accept",
         "Splitting of large messages: fragmentation=force, no or accept, else yes."),
    duration("phase1_lifetime", "Time until keys of the control channel are renewed: ikelifetime=."),
    duration("phase2_lifetime", "Time until keys of the data channel are renewed: lifetime=."),
    duration("lifetime_margin",
             "How long before its end a renewal starts: margintime=; a quarter of the shorter "
             "lifetime where it is not below that."),
    objects("phase1_proposal", "Algorithms of the control channel, the best first: ike=.", proposal),
    objects("phase2_proposal", "Algorithms of the data channel, the best first: esp= or ah=.", proposal),
};
constexpr Key crl[] = {lines("crl", "List, PEM.")};
constexpr Key ipsec_auth[] = {
    word("type", "secret asymmetric-secrets rsasig x509 scep",
         "How the ends prove who they are: leftauth= and rightauth= psk for the first two, else pubkey."),
    text("secret", "Secret that both ends share, of type secret: the PSK line."),
    text("remote_secret", "Secret of the own identity's PSK line, of type asymmetric-secrets."),
    text("local_secret", "Secret of the peers' PSK lines, of type asymmetric-secrets."),
    lines("private_key", "Own key, PEM, of types rsasig and x509: private/KEY.rsa and the RSA line."),
    text("private_key_passphrase", "Passphrase of that key: at the end of the RSA line."),
    text("scep_client", "Key of the client in network.scep_client whose files are linked, of type scep."),
    lines("public_key", "Own public key, PEM, of type rsasig: certs/KEY.pub; empty: derived from private_key."),
    lines("peer_public_key", "Public key of the peer, PEM, of type rsasig: certs/KEY.peerpub."),
    lines("cert", "Own certificate, PEM, of type x509: certs/KEY.cert and leftcert=."),
    objects("crls", "Revocation lists, of type x509: a file in crls each.", crl),
    word("peer_verify", "cert ca", "What the peer of type x509 is known by: rightcert= or rightca=."),
    lines("peer_cert", "Certificate of the peer, PEM, for peer_verify cert: certs/KEY.peercert."),
    lines("peer_ca", "Certificates that vouch for the peer, PEM, for peer_verify ca: cacerts/KEY.N.cacert each."),
    text("peer_ca_dn", "Distinguished name for rightca=; empty: that of the first certificate of peer_ca."),
};
constexpr char protocols[] = "any tcp udp icmp other";
constexpr char about_protocol[] = "Protocol, name or number: in brackets behind the subnet; other: protocol_other.";
constexpr char about_protocol_other[] = "Protocol number for protocol other.";
constexpr char about_port[] = "Port, name or number: in brackets behind the subnet; any: all.";
constexpr Key policy_local[] = {
    word("type", "address network custom request dynamic",
         "What leftsubnet= holds: the address or network of an interface, custom, or %dynamic; request asks the peer "
         "for an address: leftsourceip=."),
    text("address", "Key of the interface, of type address."),
    text("network", "Key of the interface, of type network."),
    text("custom", "Network and prefix length, of type custom."),
    text_or("protocol", protocols, about_protocol),
    integer("protocol_other", "", about_protocol_other),
    text_or("port", "any", about_port),
};
constexpr Key policy_remote[] = {
    text("network", "Network and prefix length: rightsubnet=; empty: %dynamic. Its family is that of the policy."),
    text_or("protocol", protocols, about_protocol),
    integer("protocol_other", "", about_protocol_other),
    text_or("port", "any", about_port),
};
constexpr Key ipsec_policy[] = {
    object("local", "Traffic on this side.", policy_local),
    object("remote", "Traffic on the other side.", policy_remote),
};
constexpr Key xauth_client[] = {
    boolean("enable", "Log in: xauth=client and leftauth2=xauth."),
    text("username", "Name to log in with: xauth_identity= and the XAUTH line."),
    text("password", "Password, in the XAUTH line."),
};
constexpr Key modecfg_client[] = {
    boolean("enable", "Ask for settings: modeconfig=pull, and -l of leftupdown=."),
};
constexpr Key dpd[] = {
    boolean("enable", "Detect dead peers: dpdaction=."),
    integer("delay", "seconds", "Time between questions: dpddelay=."),
    integer("timeout", "seconds", "Silence that means death: dpdtimeout=."),
};
constexpr Key tunnel_vigil[] = {
    boolean("enable",
            "Check the health of the tunnel: UCI option metric, where it is not 0, is 2147483647 until the check has "
            "passed."),
};
constexpr Key ipsec_tunnel[] = {
    boolean("enable", "Write the tunnel."),
    term("type", "esp ah", "Protocol of the data: the name of the line with the phase 2 proposals, such as esp=."),
    term("mode", "tunnel transport",
         "What is protected: type=; all but transport also write if_id=, the tunnel's "
         "position from 1."),
    text("ipsec_failover", "Key of the tunnel that this one backs up: left out while that one reports ready."),
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric, 0: not written."),
    integer("mgmt", "", "Flag -m of leftupdown=, 0: not written."),
    boolean("force_udp_encap", "Wrap data in UDP also where no address is translated: forceencaps=yes."),
    object("vigil", "Health checks.", tunnel_vigil),
    object("local", "This end.", ipsec_local),
    object("remote", "The other end.", ipsec_remote),
    object("auth", "Authentication: files in secrets, private, certs, cacerts and crls.", ipsec_auth),
    object("ike", "Key exchange.", ike),
    object("dpd", "Dead peer detection.", dpd),
    object("xauth_client", "Login beside the other authentication.", xauth_client),
    object("modecfg_client", "Settings from the peer.", modecfg_client),
    objects("policy", "What goes through: a section conn KEY_policyN each, one without subnets where there is none.",
            ipsec_policy),
};
constexpr Key backoff[] = {
    duration("duration", "First time: UCI option retry_timeout_initial or try_interval_initial."),
    duration("limit", "Longest time: UCI option retry_timeout_limit or try_interval_limit."),
    integer("jitter", "", "Random share: UCI option retry_timeout_jitter or try_interval_jitter."),
    number("base", "Growth from one time to the next: UCI option retry_timeout_base or try_interval_base."),
};
constexpr Key ipsec_advanced[] = {
    object("connection_retry_timeout", "Waiting for an answer.", backoff),
    object("connection_try_interval", "Waiting between attempts.", backoff),
};
constexpr Key ipsec[] = {
    map("tunnel",
        "Tunnels: /var/run/ipsec.d/conf/KEY.conf and files beside it, and the section KEY of /var/run/uci/network. The "
        "position of an entry, from 1, numbers its device ipsecN.",
        ipsec_tunnel, row_device),
    object("advanced", "Times of all tunnels, in the sections of /var/run/uci/network.", ipsec_advanced),
};

// vpn.openvpn: the presence of `username` tells a client from a server, so it is a member of the one only.
constexpr Key advanced_options[] = {
    boolean("enable", "Use extra."),
    boolean("override",
            "With enable, leave the other lines out of a server's file; of a client's proto, "
            "remote-cert-tls and cipher."),
    lines("extra", "Options at the end of a server's file; -- starts a new line."),
};
constexpr Key openvpn_server[] = {
    boolean("enable", "Have it."),
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("use_file", "Client: take config_file instead of lines made from the keys below."),
    lines("config_file", "Client: OpenVPN configuration; devices, scripts and credentials in it are replaced."),
    term("device_type", "tun tap tap_bridge",
         "Kind of device: dev-type; of a server also the topology: tun net30, tap subnet, tap_bridge bridged."),
    text("server", "Client: host name or address of the server: remote."),
    integer("port", "port", "Port of the server: remote of a client, port of a server."),
    texts("protocol", "Server: the first is used, such as udp or tcp-server: proto."),
    lines("cacert", "Certificate that vouches for the other side, PEM: <ca>."),
    lines("public_cert", "Client: own certificate, PEM, with private_key only: <cert>."),
    lines("private_key", "Client: own key, PEM, with public_cert only: <key>."),
    text("server_address", "Server: address in the tunnel and prefix length: ifconfig, UCI option server_network."),
    integer("server_first_ip", "",
            "Server: last number of the first address: ifconfig of tun; ifconfig-pool starts one "
            "above."),
    integer("server_last_ip", "", "Server: last number of the last address for clients: ifconfig-pool."),
    boolean("autogenerate", "Server: use the certificates in /etc/ssl/certs and ask clients for a password."),
    word("authentication", "cert passwd both",
         "Server: what clients show; passwd: verify-client-cert none; cert: no auth-user-pass-verify."),
    lines("server_cert", "Server: own certificate, PEM: <cert>."),
    lines("server_key", "Server: own key, PEM: <key>."),
    lines("diffie", "Server: Diffie-Hellman parameters, PEM: <dh>."),
    object("advanced_options", "Options of your own.", advanced_options),
};
constexpr Key openvpn_client_only[] = {
    held(text("username", "Name to log in with: auth-user-pass and /var/run/userpass_KEY.cfg; empty: neither."), ""),
    text("password", "Password: /var/run/userpass_KEY.cfg."),
};
constexpr auto openvpn_client = join(openvpn_server, openvpn_client_only);
constexpr Key openvpn[] = {
    map("client", "Clients: /var/run/config_file_KEY and the section openvpn_client_KEY.", openvpn_client, row_device),
    map("server",
        "Servers: /var/run/config_file_server_KEY, the section openvpn_server_KEY, and a file for clients in "
        "/var/run/openvpn.",
        openvpn_server, row_device),
};

// vpn: other tunnels
constexpr char about_local[] =
    "Interface below: its IPv4 address gives UCI option local. No section while it has none.";
constexpr Key iptunnel[] = {
    boolean("enable", "Write the section."),
    reference("local", about_local),
    term("type", "gre ipip", "Kind of tunnel: UCI option mode."),
    text("remote", "Address of the other end: UCI option remote."),
    text("key", "Key in the packets: UCI option key, empty: not written."),
    boolean("keepalive", "Ask whether the other end is there: UCI option keepalive."),
};
constexpr Key l2tpeth_session[] = {
    text("session_id", "Number here: UCI option session_id."),
    text("peer_session_id", "Number at the other end: UCI option peer_session_id."),
    text("cookie", "Cookie expected, hexadecimal: UCI option cookie."),
    text("peer_cookie", "Cookie sent, hexadecimal: UCI option peer_cookie."),
    term("l2spec_type", "none default", "Header between: UCI option l2spec_type."),
    term("seq", "none send recv both", "Numbering of packets: UCI option seq."),
};
constexpr Key l2tpeth[] = {
    boolean("enable", "Write the sections of its sessions."),
    reference("local", about_local),
    text("remote", "Address of the other end: UCI option remote."),
    text("tunnel_id", "Number here: UCI option tunnel_id."),
    text("peer_tunnel_id", "Number at the other end: UCI option peer_tunnel_id."),
    term("encapsulation", "udp ip", "What carries the packets: UCI option encapsulation."),
    integer("udp_source_port", "port", "Port here: UCI option udp_source_port."),
    integer("udp_destination_port", "port", "Port at the other end: UCI option udp_destination_port."),
    boolean("udp_checksum", "Checksums in UDP: UCI option udp_checksum."),
    map("session", "Sessions: the section TUNNEL_KEY each.", l2tpeth_session, row_device),
};
constexpr Key wireguard[] = {boolean("enable", "Write the section.")};
constexpr Key care_of_address[] = {
    text_or("type", "interface ip", "Where it comes from: UCI option coaddress_type."),
    text("interface", "Key of the interface, of type interface: UCI option coaddress."),
    text("address", "Address, of type ip: UCI option coaddress."),
};
constexpr Key tunnel_local[] = {
    text_or("type", "interface", "interface, or any text that goes to UCI option tun_local itself."),
    text("interface", "Key of the interface, of type interface: UCI option tun_local."),
};
constexpr Key nemo[] = {
    boolean("enable", "Write the section."),
    text("home_address", "Own address at home: UCI option home_address."),
    object("coaddress", "Own address abroad.", care_of_address),
    object("tun_local", "Own end of the tunnel.", tunnel_local),
    text("home_agent", "Address of the home agent: UCI option home_agent."),
    text("key", "Key shared with it: UCI option key."),
    text("spi", "Index of the key: UCI option spi."),
    integer("lifetime", "seconds", "How long a registration holds: UCI option lifetime."),
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("mtu_discovery", "Find the MTU of the path: UCI option mtu_discovery."),
    integer("mtu", "bytes", "Largest packet: UCI option mtu, without mtu_discovery only."),
    texts("network",
          "Keys of interfaces whose networks the home agent learns: UCI options adv_networks and "
          "num_adv_networks."),
};

// vpn.l2tp: `lns` makes an entry an access concentrator, so it is a member of those only.
constexpr Key l2tp_entry[] = {
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric."),
    text("username", "Name to log in with: UCI option username."),
    text("password", "Password: UCI option password."),
    object("custom", about_custom, custom),
    integer("port", "port", "Port of the network server: UCI option port, of lac entries."),
    text("local_address", "Of lns entries: own address of the PPP link: UCI option local_ip."),
    text("remote_address", "Of lns entries: address of the other end: UCI option remote_ip."),
    text("auth", "Of lns entries: how the other end logs in: UCI option auth."),
    boolean("default_route", "Of lns entries: send everything there: UCI option default_route."),
};
constexpr Key lac_only[] = {held(text("lns", "Host name or address of the network server: UCI option lns."), "")};
constexpr Key lns_only[] = {text("lac", "Access concentrators let in: UCI option lac.")};
constexpr auto lac = join(l2tp_entry, lac_only);
constexpr auto lns = join(l2tp_entry, lns_only);
constexpr Key l2tp[] = {
    boolean("enable", "Write the sections."),
    boolean("debug", "Log the exchange: UCI option debug."),
    map("lac", "Tunnels to a network server: the section l2tp_lac_KEY each.", lac),
    map("lns", "Tunnels from access concentrators: the section l2tp_lns_KEY each.", lns),
};
constexpr Key vpn[] = {
    object("ipsec", "IPsec.", ipsec),
    object("openvpn", "OpenVPN. A client is told from a server by the map it stands in.", openvpn),
    map("iptunnel", "IP tunnels: the section KEY each, of proto iptunnel.", iptunnel, row_device),
    map("l2tpeth", "Ethernet over L2TP version 3.", l2tpeth),
    map("wireguard", "WireGuard devices: the section KEY each, without keys and peers.", wireguard, row_device),
    map("nemo", "Mobile networks: the section nemo_KEY each.", nemo),
    object("l2tp", "PPP over L2TP.", l2tp),
};

// serial
constexpr Key connect_script[] = {
    boolean("enable", "Run it: UCI option connect_enable."),
    lines("script", "Dialogue with the modem: UCI option connect_script."),
};
constexpr Key ppp_dialin[] = {
    text("local_address", "Own address of the PPP link: UCI option local_ip."),
    text("remote_address", "Address of the other end: UCI option remote_ip."),
    text("auth", "How the other end logs in: UCI option auth."),
    text("username", "Name to log in with: UCI option username."),
    text("password", "Password: UCI option password."),
    integer("metric", "", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("default_route", "Send everything there: UCI option default_route."),
    object("custom", about_custom, custom),
    object("connect", "What happens before PPP starts.", connect_script),
};
constexpr Key serial[] = {
    boolean("enable", "Use the port."),
    term("mode", "ppp_dialin", "Use of the port; ppp_dialin alone gives a section."),
    text("baudrate", "Speed: UCI option baudrate."),
    text("flow", "Flow control: UCI option flow."),
    duration("idle_timeout", "Silence that ends a call: UCI option idle_timeout."),
    object("ppp_dialin", "PPP for callers.", ppp_dialin),
};

// auth
constexpr Key two_factor[] = {
    boolean("enable", "Ask for a second factor: pam_google_authenticator.so for every user, as soon as one has it."),
};
constexpr Key user[] = {object("2fa", "Second factor.", two_factor)};
constexpr Key radius_server[] = {
    text("hostname", "Host name or address."),
    integer("port", "port", "Port."),
    text("secret", "Secret shared with it."),
    integer("timeout", "seconds", "Time to wait for an answer."),
};
constexpr char about_authoritative[] = "A refusal is final, later methods are not asked: auth_err=die in its rules.";
constexpr Key radius[] = {
    objects("server", "Servers to ask, in order: a line of /var/run/radius.conf each.", radius_server),
    text("nas_id", "Name that the router gives itself: client_id=."),
    boolean("authoritative", about_authoritative),
    boolean("require_message_authenticator", "Drop unsigned answers: require_message_authenticator."),
    boolean("debug", "Log the exchange: debug."),
};
constexpr Key ldap_server[] = {
    text("hostname", "Host name or address."),
    integer("port", "port", "Port."),
};
constexpr Key ldap[] = {
    objects("server", "Servers to ask, in order: uri.", ldap_server),
    term("tls", "on off start_tls", "Encryption: ssl; on also makes the uri ldaps."),
    text("base_dn", "Where in the directory users are: base."),
    text("login_attribute", "Attribute that holds the login name: pam_login_attribute."),
    boolean("verify_server_cert", "Check the server's certificate: tls_checkpeer."),
    text("bind_dn", "Name to search with: binddn; empty: none."),
    text("bind_password", "Its password: bindpw, with bind_dn only."),
    integer("timeout", "seconds", "Time to wait for an answer: timelimit and bind_timelimit."),
    text("group_attribute", "Attribute that holds the group: groupname= in /var/run/pam.conf."),
    boolean("authoritative", about_authoritative),
};
constexpr Key tacacs_server[] = {
    text("hostname", "Host name or address: server=."),
    integer("port", "port", "Port: server=."),
    text("secret", "Secret shared with it: secret=."),
};
constexpr Key tacacs[] = {
    objects("server", "Servers to ask, in order, at the end of each rule.", tacacs_server),
    text("service", "Service to ask about: service=."),
    text("group_attribute", "Attribute that holds the group: groupname=."),
    boolean("authoritative", about_authoritative),
};
constexpr Key auth[] = {
    hyphened(map("user", "Users.", user)),
    duration("idle_timeout", "Time after which a web session ends: the number behind pam_token_decrypt.so, 0: none."),
    array_of(
        word("method", "local radius ldap tacacs+", "Who is asked for users, in order; none with a server: local.")),
    object("radius", "RADIUS: rules of pam_radius_auth.so.", radius),
    object("ldap", "LDAP: rules of pam_ldap.so, and /var/run/ldap.conf.", ldap),
    object("tacacs+", "TACACS+: rules of pam_tacplus.so.", tacacs),
};

constexpr Key root[] = {
    object("system", "The router itself.", system_keys),
    object("firewall", "Filters.", firewall),
    object("service", "Services for others.", service),
    object("network", "Devices, interfaces and routes, in /var/run/uci/network.", network),
    object("vpn", "Tunnels.", vpn),
    map("serial", "Serial ports: the section ppp_KEY each, of dial-in ports.", serial),
    object("auth", "Who may log in, in /var/run/pam.conf.", auth),
};

}  // namespace keys

#endif
