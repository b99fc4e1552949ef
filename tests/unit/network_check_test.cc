// Questions of the checker: documents that load, and everything it says about each.
#include "network/check.h"
#include "network_document.h"

namespace {

struct Case {
  const char *name;
  const char *document;
  const char *reports;
};

class NetworkCheck : public testing::TestWithParam<Case> {};

TEST_P(NetworkCheck, AsksAbout) {
  const Document document(GetParam().document);
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(document.reports(Grade::ignored), "");
  network_check(document.root, document.model);
  EXPECT_EQ(document.reports(Grade::questionable), GetParam().reports);
}

const Case cases[] = {
    {"Nothing", "{}", ""},

    {"DeviceNames", R"({
      "vpn": {"iptunnel": {"gre": {}}, "ipsec": {"tunnel": {"globals": {}, "gre": {}, "t3": {}}}},
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
network.vlan.three: the section name 'vlan4_up-link_4095' holds a character that UCI has no way to write
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
};

INSTANTIATE_TEST_SUITE_P(Documents, NetworkCheck, testing::ValuesIn(cases),
                         [](const testing::TestParamInfo<Case> &info) { return info.param.name; });

}  // namespace
