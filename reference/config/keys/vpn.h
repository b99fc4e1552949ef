// The section "vpn".
#ifndef TESSERA_REFERENCE_CONFIG_KEYS_VPN_H
#define TESSERA_REFERENCE_CONFIG_KEYS_VPN_H

#include "config/keys/declare.h"
#include "config/keys/vpn_ipsec.h"
#include "config/keys/vpn_l2tp.h"
#include "config/keys/vpn_openvpn.h"

namespace keys {

constexpr char about_local[] =
    "Interface that it uses: its IPv4 address gives UCI option local. No section while it has no address.";
constexpr Key iptunnel[] = {
    boolean("enable", "Write the section."),
    reference("local", about_local),
    term("type", "gre ipip", "Kind of tunnel: UCI option mode."),
    string("remote", "Address of the other end: UCI option remote."),
    secret(string("key", "Key in the packets: UCI option key, empty: not written.")),
    boolean("keepalive", "Check whether the other end responds: UCI option keepalive."),
};
constexpr Key l2tpeth_session[] = {
    string("session_id", "Number at this end: UCI option session_id."),
    string("peer_session_id", "Number at the other end: UCI option peer_session_id."),
    secret(string("cookie", "Cookie expected, hexadecimal: UCI option cookie.")),
    secret(string("peer_cookie", "Cookie sent, hexadecimal: UCI option peer_cookie.")),
    term("l2spec_type", "none default", "Header between L2TP and Ethernet: UCI option l2spec_type."),
    term("seq", "none send recv both", "Sequence numbers of packets: UCI option seq."),
};
constexpr Key l2tpeth[] = {
    boolean("enable", "Write the sections of its sessions."),
    reference("local", about_local),
    string("remote", "Address of the other end: UCI option remote."),
    string("tunnel_id", "Number at this end: UCI option tunnel_id."),
    string("peer_tunnel_id", "Number at the other end: UCI option peer_tunnel_id."),
    term("encapsulation", "udp ip", "What carries the packets: UCI option encapsulation."),
    within(1, 65535, integer("udp_source_port", "Port at this end: UCI option udp_source_port.")),
    within(1, 65535, integer("udp_destination_port", "Port at the other end: UCI option udp_destination_port.")),
    boolean("udp_checksum", "Write checksums in UDP: UCI option udp_checksum."),
    of_devices(map("session", "Sessions: the section TUNNEL_KEY for each.", l2tpeth_session)),
};
constexpr Key wireguard[] = {boolean("enable", "Write the section.")};
constexpr Key care_of_address[] = {
    string_or("type", "interface ip", "Where it comes from: UCI option coaddress_type."),
    naming(NamesOf::interfaces, string("interface", "Key of the interface, for type interface: UCI option coaddress.")),
    string("address", "Address, for type ip: UCI option coaddress."),
};
constexpr Key tunnel_local[] = {
    string_or("type", "interface", "interface, or any string that goes to UCI option tun_local itself."),
    naming(NamesOf::interfaces, string("interface", "Key of the interface, for type interface: UCI option tun_local.")),
};
constexpr Key nemo[] = {
    boolean("enable", "Write the section."),
    string("home_address", "Home address: UCI option home_address."),
    object("coaddress", "Care-of address.", care_of_address),
    object("tun_local", "Local end of the tunnel.", tunnel_local),
    string("home_agent", "Address of the home agent: UCI option home_agent."),
    secret(string("key", "Key shared with it: UCI option key.")),
    string("spi", "Index of the key: UCI option spi."),
    integer("lifetime", "Seconds that a registration lasts: UCI option lifetime."),
    integer("metric", "Metric of its routes, lower is preferred: UCI option metric."),
    boolean("mtu_discovery", "Find the MTU of the path: UCI option mtu_discovery."),
    within(0, 65535, integer("mtu", "Largest packet, in bytes: UCI option mtu, only without mtu_discovery.")),
    naming(NamesOf::interfaces,
           strings("network",
                   "Keys of interfaces whose networks the home agent learns: UCI options adv_networks and "
                   "num_adv_networks.")),
};
constexpr Key vpn[] = {
    object("ipsec", "IPsec.", ipsec),
    object("openvpn", "OpenVPN clients and servers.", openvpn),
    of_devices(map("iptunnel", "IP tunnels: the section KEY for each, with proto iptunnel.", iptunnel)),
    map("l2tpeth", "Ethernet over L2TP version 3.", l2tpeth),
    of_devices(map("wireguard", "WireGuard devices: the section KEY for each, without keys and peers.", wireguard)),
    map("nemo", "Mobile networks: the section nemo_KEY for each.", nemo),
    object("l2tp", "PPP over L2TP.", l2tp),
};

}  // namespace keys

#endif
