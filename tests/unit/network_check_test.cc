// Questions of the checker: documents that load, and everything it says about each.
#include <cstring>

#include "network/check.h"
#include "network_document.h"

namespace {

struct Case {
  const char *name;
  const char *document;
  const char *reports;
};

class NetworkCheck : public testing::TestWithParam<Case> {};

// Stands for TUNNEL in the documents: an IPsec tunnel that raises no question.
const std::string tunnel = R"({"enable": true, "type": "esp", "mode": "tunnel",
  "ike": {"version": "ikev2", "phase1_lifetime": "8h", "phase2_lifetime": "1h"},
  "local": {"type": "defaultroute"}, "auth": {"type": "secret", "secret": "open sesame"},
  "remote": {"ip_version": "ipv4", "peer_selection": "round_robin", "peers": [{"hostname": "vpn.example"}]}})";

std::string with_tunnels(std::string document) {
  for (size_t at = document.find("TUNNEL"); at != std::string::npos; at = document.find("TUNNEL", at))
    document.replace(at, strlen("TUNNEL"), tunnel);
  return document;
}

TEST_P(NetworkCheck, AsksAbout) {
  const LoadedDocument document(with_tunnels(GetParam().document));
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(document.reports(Grade::ignored), "");
  network_check(document.root, document.model);
  EXPECT_EQ(document.reports(Grade::questionable), GetParam().reports);
}

const Case cases[] = {
    {"Nothing", "{}", ""},

    {"DeviceNames", R"({
      "vpn": {"iptunnel": {"gre": {"enable": true, "local": "/network/device/a", "type": "gre", "remote": "192.0.2.1"}},
              "ipsec": {"tunnel": {"globals": TUNNEL, "gre": TUNNEL, "t3": TUNNEL, "off": {}}},
              "wireguard": {"off": {}}},
      "network": {
        "device": {"a": {"type": "ethernet", "name": "eth0"}, "b": {"type": "ethernet", "name": "eth0"},
                   "c": {"type": "ethernet", "name": "sixteen_letters_"}, "d": {"type": "vnet", "name": "e/1"},
                   "lan": {"type": "ethernet"}, "ipsec3": {"type": "ethernet"}, "usb": {"type": "usb_ethernet"},
                   "usb2": {"type": "usb_ethernet"}, "under": {"type": "ethernet", "name": "up-link"}},
        "wlan": {"client_ab12": {"mode": "client"}, "client_abc123": {"mode": "client"}, "ap": {"mode": "ap"}},
        "vlan": {"one": {"device": "/network/device/a", "id": 7}, "two": {"device": "/network/device/b", "id": 7},
                 "three": {"device": "/network/device/under", "id": 4095}},
        "interface": {"vlan": {"type": "ethernet", "enable": true, "device": "/network/vlan/three",
                               "ipv4": {"enable": true, "type": "dhcp"}, "ipv6": {"enable": true, "type": "dhcpv6"}}},
        "bridge": {"lan": {"enable": true,
                           "device": ["/network/wlan/client_ab12", "/network/wlan/client_abc123", "/network/wlan/ap"]},
                   "off": {"device": ["/network/wlan/client_abc123"]},
                   "switch": {"enable": true, "mode": "switch", "device": ["/network/wlan/client_abc123"]}}}})",
     R"(network.device.b.name: the device name 'eth0' is also that of network.device.a
network.device.c.name: the device name 'sixteen_letters_' is longer than 15 characters
network.device.d.name: the device name 'e/1' is none that the kernel takes
network.vlan.two: the device name 'eth0.7' is also that of network.vlan.one
network.bridge.lan: the device name 'lan' is also that of network.device.lan
network.wlan.client_abc123: the device name 'tap-client_abc123' is longer than 15 characters
vpn.ipsec.tunnel.t3: the device name 'ipsec3' is also that of network.device.ipsec3
network.vlan.three: the section name 'vlan4_up-link_4095' holds a character that UCI has no way to write
vpn.ipsec.tunnel.globals: the section name 'globals' is also that of the global settings
vpn.ipsec.tunnel.gre: the section name 'gre' is also that of vpn.iptunnel.gre
network.vlan.three: the section name 'vlan6_up-link_4095' holds a character that UCI has no way to write
network.vlan.three.id: 4095 is not in the range 1 to 4094
)"},

    {"Members", R"({
      "network": {
        "device": {"a": {"type": "ethernet"}, "b": {"type": "ethernet"}, "usb": {"type": "usb_ethernet"}},
        "bridge": {"lan": {"enable": true, "stp": {"enable": true, "forward_delay": 1},
                           "device": ["/network/device/a", "/network/bridge/lan"]},
                   "off": {"device": ["/network/device/a"], "stp": {"enable": true}}},
        "bond": {"one": {"enable": true, "mode": "active-backup", "device": ["/network/device/usb", "/network/device/a"]},
                 "two": {"enable": true, "device": ["/network/device/b", "/network/device/b"]},
                 "off": {"device": ["/network/device/b"]}}}})",
     R"(network.bridge.lan.stp.forward_delay: 1 is not in the range 2 to 30
network.bridge.lan.device: network.bridge.lan is a member of itself
network.bond.one.device: network.device.a is already a member of network.bridge.lan
network.bond.one.device.0: the first member is none that can be the primary, the bond is left out
network.bond.two: mode is not set
network.bond.two.device: network.device.b is already a member of network.bond.two
)"},

    {"TunnelDevices", R"({
      "network": {"macsec": {"m": {"enable": true, "type": "manual", "association": {"cak": "quite secret", "ckn": "0a0x"}},
                             "off": {"type": "manual"}}},
      "vpn": {"iptunnel": {"gre": {"enable": true, "type": "gre", "remote": "fd00::1"}},
              "l2tpeth": {"t": {"enable": true, "remote": "192.0.2.1", "tunnel_id": "1", "peer_tunnel_id": "2",
                                "encapsulation": "udp", "udp_source_port": 1701,
                                "session": {"a": {}, "b": {"session_id": "1", "peer_session_id": "2"}}},
                          "off": {"session": {"c": {}}}}}})",
     R"(network.macsec.m: local is not set
network.macsec.m.association.cak: the value is not a hexadecimal number
network.macsec.m.association.ckn: '0a0x' is not a hexadecimal number
vpn.iptunnel.gre: local is not set
vpn.iptunnel.gre.remote: 'fd00::1' is not an IPv4 address
vpn.l2tpeth.t: local is not set
vpn.l2tpeth.t: udp_destination_port is not set
vpn.l2tpeth.t.session.a: session_id is not set
vpn.l2tpeth.t.session.a: peer_session_id is not set
)"},

    {"Parts", R"({"network": {
      "device": {"e": {"type": "ethernet"}},
      "modem": {"m": {}},
      "interface": {
        "fixed": {"type": "ethernet", "enable": true, "device": "/network/device/e", "ipv4": {"enable": true,
          "type": "static", "address": "192.168.1.1", "gateway": "192.168.1", "dns": ["", "1.1.1.1", "dns"],
          "mac": "00:11:22:33:44", "mtu": 9, "dhcp_relay": [{"address": "10.0.0.1"}, {}]}},
        "bare": {"type": "ethernet", "enable": true,
          "ipv4": {"enable": true, "type": "dhcp", "mac": "00-11-22-33-44-5g"},
          "ipv6": {"enable": true, "type": "prefix_delegation", "prefix_id": "x", "static": {"enable": true}}},
        "six": {"type": "ethernet", "enable": true, "device": "/network/device/e",
          "ipv6": {"enable": true, "type": "dhcpv6", "static": {"enable": true, "address": "fd00::1"}}},
        "dsl": {"type": "pppoe"},
        "pass": {"type": "passthrough", "enable": true, "device": "/network/device/e", "ipv4": {"enable": true},
                 "passthrough": {"ancillary": {"enable": true, "address": "192.0.2.1/x"}}},
        "cell": {"type": "modem", "enable": true, "modem": {"device": "wwan", "sst": "custom", "custom_sst": 256,
                 "sd": -1, "custom_gw": {"enable": true}, "apn": [{"apn": "a,b", "auth": "'"}]}},
        "off": {"type": "modem", "modem": {"device": "wwan"}}}}})",
     R"(network.interface.pass.passthrough: src is not set
network.interface.pass.passthrough.ancillary.address: '192.0.2.1/x' is not an IPv4 address with a mask
network.interface.pass.passthrough.ancillary: gw is not set
network.interface.bare: the interface lies on no device that the system has
network.interface.cell.modem.device: 'wwan' is not an entry of network.modem
network.interface.cell.modem.sd: -1 is not in the range 0 to 16777215
network.interface.cell.modem.custom_sst: 256 is not in the range 0 to 255
network.interface.cell.modem.custom_gw: gateway is not set
network.interface.cell.modem.apn.0.apn: the value holds ',', which its file has no way to write
network.interface.cell.modem.apn.0.auth: the value holds ''', which its file has no way to write
network.interface.fixed.ipv4.mac: '00:11:22:33:44' is not a MAC address
network.interface.fixed.ipv4.mtu: 9 is not in the range 68 to 65535
network.interface.fixed.ipv4.address: '192.168.1.1' is not an IPv4 address with a prefix length
network.interface.fixed.ipv4.gateway: '192.168.1' is not an IPv4 address
network.interface.fixed.ipv4.dns.0: the value is empty
network.interface.fixed.ipv4.dns.2: 'dns' is not an address
network.interface.fixed.ipv4.dhcp_relay.1: address is not set
network.interface.six.ipv6.static.address: 'fd00::1' is not an IPv6 address with a prefix length
network.interface.bare.ipv4.mac: '00-11-22-33-44-5g' is not a MAC address
network.interface.bare.ipv6: prefix_length is not set
network.interface.bare.ipv6.prefix_id: 'x' is not a hexadecimal number
network.interface.bare.ipv6.static: address is not set
)"},

    {"DhcpServers", R"({"network": {"device": {"e": {"type": "ethernet"}}, "interface": {
      "unset": {"type": "ethernet", "enable": true, "device": "/network/device/e", "ipv4": {"enable": true,
        "type": "static", "address": "192.168.1.1/24", "dhcp_server": {"enable": true}}},
      "odd": {"type": "ethernet", "enable": true, "device": "/network/device/e", "ipv4": {"enable": true,
        "type": "hybrid", "address": "192.168.2.1/24", "dhcp_server": {"enable": true, "lease_start": "300",
        "lease_end": "192.168.3.1", "lease_time": 119, "advanced": {
          "domain_suffix": "a,b", "gateway": "custom", "mtu": "custom", "primary_dns": "custom",
          "primary_dns_custom": "fd00::1", "secondary_dns": "none", "primary_ntp": "off", "secondary_ntp": "auto",
          "primary_wins": "none", "secondary_wins": "none",
          "custom_option": [{"enable": true, "datatype": "ipv4", "option": 255}, {"option": 0},
            {"enable": true, "datatype": "ipv4", "option": 1, "value_ipv4_list": ["x"]},
            {"enable": true, "datatype": "hex", "option": 1, "value_hex": "0g"},
            {"enable": true, "datatype": "1byte", "option": 1, "value_bytes": 256},
            {"enable": true, "datatype": "2byte", "option": 1, "value_bytes": 256},
            {"enable": true, "datatype": "text", "option": 1}],
          "static_lease": [{"type": "mac", "mac": "0", "ip": "192.168.2.9", "name": "a b"},
            {"type": "duid", "ip": "192.168.2.9"}, {"type": "duid", "device": "d"}]}}}},
      "back": {"type": "ethernet", "enable": true, "device": "/network/device/e", "ipv4": {"enable": true,
        "type": "static", "address": "192.168.4.1/24", "dhcp_server": {"enable": true, "lease_start": "192.168.4.20",
        "lease_end": "9", "lease_time": "1h", "advanced": {
          "gateway": "auto", "mtu": "auto", "primary_dns": "auto", "secondary_dns": "none", "primary_ntp": "none",
          "secondary_ntp": "none", "primary_wins": "none", "secondary_wins": "none",
          "static_lease": [{"type": "mac", "mac": "00:11:22:33:44:55", "ip": "192.168.2.9"}]}}}}}}})",
     R"(network.interface.unset.ipv4.dhcp_server: lease_start is not set
network.interface.unset.ipv4.dhcp_server: lease_end is not set
network.interface.unset.ipv4.dhcp_server: lease_time is not set
network.interface.unset.ipv4.dhcp_server: advanced.mtu is not set
network.interface.unset.ipv4.dhcp_server: advanced.gateway is not set
network.interface.unset.ipv4.dhcp_server: advanced.primary_dns is not set
network.interface.unset.ipv4.dhcp_server: advanced.secondary_dns is not set
network.interface.unset.ipv4.dhcp_server: advanced.primary_ntp is not set
network.interface.unset.ipv4.dhcp_server: advanced.secondary_ntp is not set
network.interface.unset.ipv4.dhcp_server: advanced.primary_wins is not set
network.interface.unset.ipv4.dhcp_server: advanced.secondary_wins is not set
network.interface.odd.ipv4.dhcp_server.lease_time: 119 is less than 120
network.interface.odd.ipv4.dhcp_server.advanced.domain_suffix: the value holds ',', which its file has no way to write
network.interface.odd.ipv4.dhcp_server.advanced: mtu_custom is not set
network.interface.odd.ipv4.dhcp_server: '192.168.3.300' to '192.168.3.1' is no range of addresses
network.interface.odd.ipv4.dhcp_server.advanced: gateway_custom is not set
network.interface.odd.ipv4.dhcp_server.advanced.primary_dns_custom: 'fd00::1' is not an IPv4 address
network.interface.odd.ipv4.dhcp_server.advanced.primary_ntp: 'off' is not one of: auto custom none
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.0.option: 255 is not in the range 1 to 254
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.0: value_ipv4_list is not set
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.2.value_ipv4_list.0: 'x' is not an IPv4 address
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.3.value_hex: '0g' is not a hexadecimal number
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.4.value_bytes: 256 is not in the range 0 to 255
network.interface.odd.ipv4.dhcp_server.advanced.custom_option.6.datatype: 'text' is not one of: ipv4 str hex 1byte 2byte 4byte
network.interface.odd.ipv4.dhcp_server.advanced.static_lease.0.name: the value holds a blank, which its file has no way to write
network.interface.odd.ipv4.dhcp_server.advanced.static_lease.0.mac: '0' is not a MAC address
network.interface.odd.ipv4.dhcp_server.advanced.static_lease.1: device is not set
network.interface.odd.ipv4.dhcp_server.advanced.static_lease.1: the address '192.168.2.9' is already leased by network.interface.odd.ipv4.dhcp_server.advanced.static_lease.0
network.interface.odd.ipv4.dhcp_server.advanced.static_lease.2: ip is not set
network.interface.back.ipv4.dhcp_server: the lease range ends before it starts
network.interface.back.ipv4.dhcp_server.advanced.static_lease.0: the address '192.168.2.9' is already leased by network.interface.odd.ipv4.dhcp_server.advanced.static_lease.0
)"},

    {"Routes", R"({
      "service": {"multicast": {"a": {"enable": true, "dst": "239.0.0.0/33"}, "off": {},
                                "b": {"enable": true, "dst": "239.0.0.1", "interface": ["/network/interface/six"]}}},
      "vpn": {"ipsec": {"tunnel": {"t": {}, "t1": {}}}},
      "network": {
        "advanced": {"ula_prefix": "fd00::"}, "device": {"e": {"type": "ethernet"}},
        "interface": {"six": {"type": "ethernet", "enable": true, "device": "/network/device/e",
                              "ipv6": {"enable": true, "type": "dhcpv6"}}},
        "route": {
          "service": {"nhrp": {"network": [{"ipsec": "t1"}, {"ipsec": "spoke"}, {}]}},
          "static": [{"enable": true, "dst": "10.0.0.0/8/", "gateway": "gw"},
                     {"enable": true, "dst": "10.0.0.0/8", "interface": "/network/interface/six", "mtu": -1},
                     {"enable": true, "gateway": "10.0.0.1"}, {"enable": true, "dst": "10.0.0.1"}, {"dst": "x"}],
          "policy": [{"enable": true, "dst": {"type": "domain"}}, {"enable": true, "dst": {"type": "address"}},
                     {"enable": true, "ip_version": "ipv5", "dst": {"type": "domain", "domain": ["", "a/b"]}}]}}})",
     R"(network.advanced.ula_prefix: 'fd00::' is not an IPv6 address with a prefix length
network.route.static.0.dst: '10.0.0.0/8/' is not an IPv4 address or network
network.route.static.0.gateway: 'gw' is not an IPv4 address
network.route.static.1.mtu: -1 is not in the range 0 to 65535
network.route.static.1.interface: nothing serves IPv4 on that interface, the route is written without it
network.route.static.3: the route has neither an interface nor a gateway
service.multicast.a.dst: '239.0.0.0/33' is not an IPv4 address or network
service.multicast.a: interface is not set
service.multicast.b.interface: nothing serves IPv4 on that interface, the route is written without it
network.route.policy.0.dst: domain is not set
network.route.policy.0: ip_version is not set
network.route.policy.2.dst.domain.0: the value is empty
network.route.policy.2.ip_version: 'ipv5' is not one of: any ipv4 ipv6
network.route.policy.2.dst.domain.1: the value holds '/', which its file has no way to write
vpn.ipsec.tunnel.t: the tunnel counts as run by NHRP, as its name is a part of 't1'
network.route.service.nhrp.network.1.ipsec: 'spoke' names no IPsec tunnel
)"},

    {"IpsecTunnels", R"({
      "network": {"device": {"e": {"type": "ethernet"}}, "scep_client": {"ca": {}},
                  "interface": {"wan": {"type": "ethernet", "enable": true, "device": "/network/device/e"}}},
      "vpn": {"ipsec": {"tunnel": {
        "good": TUNNEL,
        "off": {"ipsec_failover": "nobody"},
        "bare": {"enable": true},
        "odd": {"enable": true, "type": "esp", "mode": "tunnel", "ipsec_failover": "nobody",
          "ike": {"version": "ikev2", "phase1_lifetime": "8h", "phase2_lifetime": "500ms",
                  "phase1_proposal": [{"cipher": "aes256"}]},
          "dpd": {"enable": true, "delay": 30}, "xauth_client": {"enable": true, "username": "u", "password": "\"s"},
          "local": {"type": "interface", "interface": "lan", "id": {"type": "fqdn", "fqdn_id": "a\"b"}},
          "remote": {"ip_version": "ipv6", "peer_selection": "weighted", "id": {"type": "dn"},
                     "peers": [{"hostname": "v4", "peer_id": {"enable": true, "id": {"type": "raw"}}}]},
          "auth": {"type": "scep", "scep_client": "none"},
          "policy": [{"local": {"type": "address", "address": "lan", "protocol": "any", "port": "any"},
                      "remote": {"network": "10.0.0.0/33", "protocol": "any", "port": "any"}},
                     {"local": {"type": "network", "network": "wan"}},
                     {"local": {"type": "custom", "custom": "lan", "protocol": "any", "port": "any"},
                      "remote": {"network": "fd00::/8", "protocol": "any", "port": "any"}}]},
        "cert": {"enable": true, "type": "esp", "mode": "tunnel",
          "ike": {"version": "ikev2", "phase1_lifetime": 60, "phase2_lifetime": 60},
          "local": {"type": "defaultroute"},
          "remote": {"ip_version": "ipv4", "peer_selection": "weighted", "peers": [{"hostname": "any"}]},
          "auth": {"type": "x509", "private_key": "k", "peer_verify": "ca"}}}}}})",
     R"(vpn.ipsec.tunnel.bare: type is not set
vpn.ipsec.tunnel.bare: mode is not set
vpn.ipsec.tunnel.bare: ike.version is not set
vpn.ipsec.tunnel.bare: ike.phase1_lifetime is not set
vpn.ipsec.tunnel.bare: ike.phase2_lifetime is not set
vpn.ipsec.tunnel.bare: local.type is not set
vpn.ipsec.tunnel.bare: remote.ip_version is not set
vpn.ipsec.tunnel.bare: remote.peer_selection is not set
vpn.ipsec.tunnel.bare: auth.type is not set
vpn.ipsec.tunnel.bare: the tunnel has no remote peer
vpn.ipsec.tunnel.odd.ipsec_failover: 'nobody' is not an entry of vpn.ipsec.tunnel
vpn.ipsec.tunnel.odd.ike.phase2_lifetime: 0 is less than 1
vpn.ipsec.tunnel.odd.local.interface: 'lan' is not an entry of network.interface
vpn.ipsec.tunnel.odd.auth.scep_client: 'none' is not an entry of network.scep_client
vpn.ipsec.tunnel.odd.dpd: timeout is not set
vpn.ipsec.tunnel.odd.xauth_client.password: the value holds '"', which its file has no way to write
vpn.ipsec.tunnel.odd.ike.phase1_proposal.0: hash is not set
vpn.ipsec.tunnel.odd.ike.phase1_proposal.0: dh_group is not set
vpn.ipsec.tunnel.odd.local.id.fqdn_id: the value holds '"', which its file has no way to write
vpn.ipsec.tunnel.odd.remote.id.type: 'dn' is not one of: any raw ipv4 ipv6 rfc822 fqdn keyid mac_address serial_number
vpn.ipsec.tunnel.odd.remote.peers.0: hostname6 is not set
vpn.ipsec.tunnel.odd.remote.peers.0.peer_id.id: raw_id is not set
vpn.ipsec.tunnel.odd.policy.0.remote.network: '10.0.0.0/33' is not an address or network
vpn.ipsec.tunnel.odd.policy.0.local.address: 'lan' is not an entry of network.interface
vpn.ipsec.tunnel.odd.policy.1.local: protocol is not set
vpn.ipsec.tunnel.odd.policy.1.local: port is not set
vpn.ipsec.tunnel.odd.policy.1: remote.protocol is not set
vpn.ipsec.tunnel.odd.policy.1: remote.port is not set
vpn.ipsec.tunnel.odd.policy.2.local.custom: 'lan' is not an address or network
vpn.ipsec.tunnel.cert.auth: cert is not set
vpn.ipsec.tunnel.cert.auth: peer_ca is not set
)"},

    {"OtherTunnels", R"({
      "network": {"device": {"e": {"type": "ethernet"}},
                  "interface": {"lan": {"type": "ethernet", "enable": true, "device": "/network/device/e"}}},
      "serial": {"a": {"enable": true, "mode": "ppp_dialin"}, "b": {"mode": "ppp_dialin"},
                 "c": {"enable": true, "mode": "ppp_dialin", "ppp_dialin": {"local_address": "10.0.0.1"}}},
      "vpn": {
        "l2tp": {"enable": true, "lac": {"a": {}}},
        "nemo": {"off": {}, "n": {"enable": true, "home_agent": "ha", "home_address": "10.0.0.1", "network": ["lan", "wan"],
                 "coaddress": {"type": "interface", "interface": "wan"}, "tun_local": {"type": "any"}}},
        "openvpn": {
          "client": {"off": {}, "up": {"enable": true, "use_file": true},
                     "gen": {"enable": true, "device_type": "tap_bridge", "port": 65536, "server": "a b",
                             "cacert": "x", "public_cert": "x"}},
          "server": {"own": {"enable": true, "advanced_options": {"enable": true, "override": true}},
                     "bridge": {"enable": true, "device_type": "tap_bridge", "port": 1194, "protocol": ["udp"],
                                "autogenerate": true},
                     "pool": {"enable": true, "device_type": "tun", "port": 1194, "server_address": "10.8.0.1",
                              "server_first_ip": 9, "server_last_ip": 8, "cacert": "x", "server_cert": "x",
                              "server_key": "x"}}}}})",
     R"(vpn.openvpn.client.up: config_file is not set
vpn.openvpn.client.gen.device_type: 'tap_bridge' is not one of: tun tap
vpn.openvpn.client.gen.server: the value holds a blank, which its file has no way to write
vpn.openvpn.client.gen.port: 65536 is not in the range 1 to 65535
vpn.openvpn.client.gen: private_key is not set
vpn.openvpn.server.pool: protocol is not set
vpn.openvpn.server.pool: diffie is not set
vpn.openvpn.server.pool.server_address: '10.8.0.1' is not an IPv4 address with a prefix length
vpn.openvpn.server.pool.server_last_ip: the address pool ends before it starts
vpn.nemo.n.coaddress.interface: 'wan' is not an entry of network.interface
vpn.nemo.n.network.1: 'wan' is not an entry of network.interface
vpn.l2tp.lac.a.lns: the value is empty
serial.a: the port has no ppp_dialin settings, it gets no interface
serial.c: baudrate is not set
serial.c.ppp_dialin: remote_address is not set
)"},

    {"Services", R"({
      "firewall": {"web_filter": {"enable": true}},
      "service": {"dns": {"server": [{}, {"domain": "a b", "address": "10.0.0.1#53"}, {"address": "dns.example"},
                                     {"address": "fe80::1%eth0"}, {"domain": "x", "address": "#"}],
                          "host": [{}, {"name": "n", "address": "fd00::1"}], "allowlist": ["a.example", "a/b", ""]}},
      "auth": {"method": ["local", "radius", "ldap", "tacacs+", "kerberos"],
               "radius": {"nas_id": "a b", "server": [{"hostname": "r", "port": 1812, "secret": "two words"}]},
               "ldap": {"tls": "maybe", "server": [{"hostname": "l", "port": 0}]}}})",
     R"(firewall.web_filter: service is not set
service.dns.server.0: address is not set
service.dns.server.1.domain: the value holds a blank, which its file has no way to write
service.dns.server.2.address: 'dns.example' is not the address of a DNS server
service.dns.host.0: name is not set
service.dns.host.0: address is not set
service.dns.allowlist.1: the value holds '/', which its file has no way to write
service.dns.allowlist.2: the value is empty
auth.method.4: 'kerberos' is not one of: local radius ldap tacacs+
auth.radius.nas_id: the value holds a blank, which its file has no way to write
auth.radius.server.0.secret: the value holds a blank, which its file has no way to write
auth.radius.server.0: timeout is not set
auth.ldap: base_dn is not set
auth.ldap: login_attribute is not set
auth.ldap.tls: 'maybe' is not one of: on off start_tls
auth.ldap: group_attribute is not set
auth.ldap.server.0.port: 0 is not in the range 1 to 65535
auth.method.3: there is no tacacs+ server, the method is left out
)"},
};

INSTANTIATE_TEST_SUITE_P(Documents, NetworkCheck, testing::ValuesIn(cases),
                         [](const testing::TestParamInfo<Case> &test) { return test.param.name; });

}  // namespace
