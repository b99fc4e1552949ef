// The network model of whole documents, written out as text, and the operations that search it.
#include <cstring>

#include "network_document.h"

namespace {

const char *const interface_types[] = {"ethernet",    "static",       "hybrid",       "dhcp",    "dhcpv6", "delegation",
                                       "modem",       "dialin",       "nemo",         "openvpn", "ipsec",  "pppoe",
                                       "passthrough", "passthrough4", "passthrough6", "hotspot", "16",     "pppol2tp",
                                       "18",          "ppp_dialin",   "wisun"};
const char *const device_types[] = {"loopback", "ethernet", "vnet", "wlan",    "vlan", "bridge", "bond",      "openvpn",
                                    "ipsec",    "iptunnel", "vrrp", "l2tpeth", "12",   "macsec", "wireguard", "wisun"};
const char *const node_types[] = {"root", "namespace", "device", "interface", "proto",
                                  "port", "slave",     "radio",  "modem"};

// One line per node: two blanks per level, kind, name, key, name for the interface manager, configuration path.
std::string written(const NetworkNode *node, int depth = 0) {
  std::string line(static_cast<size_t>(depth) * 2, ' ');
  line += node_types[network_type(node)];
  if (network_interface_type(node) != UINT32_MAX)
    line += std::string(":") + interface_types[network_interface_type(node)];
  if (network_device_type(node) != UINT32_MAX) line += std::string(":") + device_types[network_device_type(node)];
  for (const char *text : {network_name(node), network_key(node), network_interface_name(node)})
    if (text != nullptr) line += std::string(" ") + (*text != '\0' ? text : "''");
  char *path = config_path(network_config(node));
  if (path != nullptr) line += std::string(" ") + path;
  free(path);
  line += "\n";
  for (const NetworkNode *child = network_first(node); child != nullptr; child = network_next_child(child))
    line += written(child, depth + 1);
  return line;
}

TEST(NetworkModel, LaysDownEveryKindOfNodeInOrder) {
  const LoadedDocument document(R"({
    "serial": {"port2": {}, "port1": {"ppp_dialin": {}}},
    "vpn": {
      "l2tp": {"lns": {"in": {}}, "lac": {"out": {}}},
      "nemo": {"mobile": {}},
      "ipsec": {"tunnel": {"hq": {}, "lab": {}}},
      "openvpn": {"server": {"road": {"enable": true}}, "client": {"off": {}, "cloud": {"enable": true}}},
      "wireguard": {"wg0": {}},
      "l2tpeth": {"core": {"session": {"s1": {}, "s2": {}}}, "idle": {}},
      "iptunnel": {"gre": {}}},
    "network": {
      "interface": {
        "bare": {"type": "ethernet", "enable": true, "ipv4": {"enable": true, "type": "hybrid"}},
        "lan": {"type": "ethernet", "enable": true, "device": "/network/bridge/br",
                "ipv6": {"enable": true, "type": "prefix_delegation"}, "ipv4": {"enable": true, "type": "static"}},
        "cell": {"type": "modem", "enable": true, "device": "/network/device/e1", "modem": {"device": "m1"}},
        "pass": {"type": "passthrough", "enable": true, "device": "/network/device/e1",
                 "ipv4": {"enable": true, "type": "any"}, "ipv6": {"enable": true}},
        "wan": {"type": "ethernet", "enable": true, "device": "/network/device/e1",
                "ipv4": {"enable": true, "type": "dhcp"}, "ipv6": {"enable": true, "type": "dhcpv6"}},
        "quiet": {"type": "ethernet", "enable": true, "device": "/network/vlan/v5", "ipv4": {"type": "static"}},
        "dsl": {"type": "pppoe", "device": "/network/device/usb"},
        "hot": {"type": "hotspot", "enable": true, "device": "/network/wlan/ap"},
        "sun": {"type": "wisun", "enable": true, "device": "/network/wisun/sun0"},
        "dial": {"type": "dialin", "enable": true, "modem": {"device": "m1"}},
        "off": {"type": "ethernet", "device": "/network/device/e1"},
        "site": {"type": "ethernet", "enable": true, "device": "/vpn/ipsec/tunnel/hq"},
        "lost": {"type": "modem", "enable": true, "modem": {"device": "nothing"}}},
      "modem": {"m1": {}},
      "wisun": {"sun0": {}}, "vrrp": {"vr0": {}}, "macsec": {"sec0": {}},
      "bond": {"bo": {"device": ["/network/device/e2", "/network/vlan/v5"]}},
      "bridge": {"br": {"device": ["/network/wlan/sta", "", "/network/device/usb", "/network/device/e1"]}},
      "vlan": {"v5": {"device": "/network/bridge/br", "id": 5}},
      "wlan": {"sta": {}, "ap": {"radio": "/network/radio/r0"}},
      "radio": {"r0": {}},
      "device": {"e1": {"type": "ethernet", "name": "eth1"}, "e2": {"type": "ethernet"}, "lo": {"type": "loopback"},
                 "v0": {"type": "vnet"}, "usb": {"type": "usb_ethernet"},
                 "usb1": {"type": "usb_ethernet", "name": "eth7"}}}})");
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(document.reports(Grade::ignored), "");
  EXPECT_EQ(written(document.model), R"(root '' ''
  device:ethernet eth1 e1 network.device.e1
    interface:passthrough pass pass interface_pass network.interface.pass
      proto:passthrough4 pass ipv4 ipv4_interface_pass network.interface.pass.ipv4
      proto:passthrough6 pass ipv6 ipv6_interface_pass network.interface.pass.ipv6
    interface:ethernet wan wan interface_wan network.interface.wan
      proto:dhcp wan ipv4 ipv4_interface_wan network.interface.wan.ipv4
      proto:dhcpv6 wan ipv6 ipv6_interface_wan network.interface.wan.ipv6
  device:ethernet e2 e2 network.device.e2
  device:loopback lo lo network.device.lo
  device:vnet v0 v0 network.device.v0
  device:ethernet '' usb network.device.usb
  device:ethernet eth7 usb1 network.device.usb1
  radio r0 r0 network.radio.r0
    device:wlan ap ap network.wlan.ap
      interface:hotspot hot hot interface_hot network.interface.hot
  device:wlan sta sta network.wlan.sta
  device:vlan br.5 v5 network.vlan.v5
    interface:ethernet quiet quiet interface_quiet network.interface.quiet
  device:bridge br br network.bridge.br
    port sta network.wlan.sta network.wlan.sta
    port eth1 network.device.e1 network.device.e1
    interface:ethernet lan lan interface_lan network.interface.lan
      proto:static lan ipv4 ipv4_interface_lan network.interface.lan.ipv4
      proto:delegation lan ipv6 ipv6_interface_lan network.interface.lan.ipv6
  device:bond bo bo network.bond.bo
    slave e2 network.device.e2 network.device.e2
    slave br.5 network.vlan.v5 network.vlan.v5
  device:macsec sec0 sec0 network.macsec.sec0
  device:vrrp vr0 vr0 network.vrrp.vr0
  device:wisun sun0 sun0 network.wisun.sun0
    interface:wisun sun sun interface_sun network.interface.sun
  device:iptunnel gre gre vpn.iptunnel.gre
  device:l2tpeth core_s1 s1 vpn.l2tpeth.core.session.s1
  device:l2tpeth core_s2 s2 vpn.l2tpeth.core.session.s2
  device:wireguard wg0 wg0 vpn.wireguard.wg0
  device:openvpn cloud cloud vpn.openvpn.client.cloud
    interface:openvpn cloud cloud openvpn_client_cloud vpn.openvpn.client.cloud
  device:openvpn road road vpn.openvpn.server.road
    interface:openvpn road road openvpn_server_road vpn.openvpn.server.road
  device:ipsec ipsec1 hq vpn.ipsec.tunnel.hq
    interface:ipsec hq hq hq vpn.ipsec.tunnel.hq
    interface:ethernet site site interface_site network.interface.site
  device:ipsec ipsec2 lab vpn.ipsec.tunnel.lab
    interface:ipsec lab lab lab vpn.ipsec.tunnel.lab
  modem m1 m1 network.modem.m1
    interface:modem cell cell interface_cell network.interface.cell
  interface:ethernet bare bare interface_bare network.interface.bare
    proto:hybrid bare ipv4 ipv4_interface_bare network.interface.bare.ipv4
  interface:pppoe dsl dsl interface_dsl network.interface.dsl
  interface:dialin dial dial interface_dial network.interface.dial
  interface:modem lost lost interface_lost network.interface.lost
  interface:nemo mobile mobile nemo_mobile vpn.nemo.mobile
  interface:pppol2tp out out l2tp_lac_out vpn.l2tp.lac.out
  interface:pppol2tp in in l2tp_lns_in vpn.l2tp.lns.in
  interface:ppp_dialin port1 port1 ppp_port1 serial.port1.ppp_dialin
)");
}

TEST(NetworkModel, NamesVlansByTheirBase) {
  const LoadedDocument document(R"({
    "vpn": {"openvpn": {"client": {"off": {}}}},
    "network": {"device": {"e": {"type": "ethernet", "name": "eth0"}, "usb": {"type": "usb_ethernet"}},
      "vlan": {
        "outer": {"device": "/network/vlan/inner", "id": 7}, "inner": {"device": "/network/device/e", "id": -2},
        "absent": {"device": "/network/device/usb", "id": 5}, "off": {"device": "/vpn/openvpn/client/off"},
        "unset": {"id": 1}, "above": {"device": "/network/vlan/unset", "id": 2},
        "tail": {"device": "/network/vlan/a", "id": 3}, "a": {"device": "/network/vlan/b", "id": 4},
        "b": {"device": "/network/vlan/a", "id": 5}, "self": {"device": "/network/vlan/self", "id": 6}},
      "bridge": {"br": {"device": ["/network/vlan/a", "/network/vlan/absent", "/vpn/openvpn/client/off"]}},
      "interface": {"low": {"type": "wisun", "enable": true, "device": "/network/vlan/self"},
                    "down": {"type": "wisun", "enable": true, "device": "/vpn/openvpn/client/off"}}}})");
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(written(document.model), R"(root '' ''
  device:ethernet eth0 e network.device.e
  device:ethernet '' usb network.device.usb
  device:vlan eth0.-2.7 outer network.vlan.outer
  device:vlan eth0.-2 inner network.vlan.inner
  device:vlan .5 absent network.vlan.absent
  device:vlan off.0 off network.vlan.off
  device:bridge br br network.bridge.br
    port .5 network.vlan.absent network.vlan.absent
  interface:wisun low low interface_low network.interface.low
  interface:wisun down down interface_down network.interface.down
)");
  EXPECT_EQ(document.reports(Grade::ignored), R"(network.vlan.unset: the VLAN is left out: it has no base device
network.vlan.above.device: the VLAN is left out: its base VLAN is left out
network.vlan.b.device: the VLAN is left out: its base device leads back to itself
network.vlan.a.device: the VLAN is left out: its base device leads back to itself
network.vlan.tail.device: the VLAN is left out: its base VLAN is left out
network.vlan.self.device: the VLAN is left out: its base device leads back to itself
)");
}

TEST(NetworkModel, ReportsUnknownTypesOfWhatIsEnabled) {
  const LoadedDocument document(R"({"network": {
    "device": {"x": {"type": "token_ring", "name": "tr0"}, "y": {}},
    "vlan": {"v": {"device": "/network/device/x", "id": 1}},
    "bond": {"bo": {"device": ["/network/device/x"]}},
    "interface": {
      "a": {"type": "slip", "enable": true}, "b": {"enable": true}, "c": {"type": "slip"},
      "d": {"type": "ethernet", "enable": true, "device": "/network/device/x",
            "ipv4": {"enable": true, "type": "dhcpv6"}, "ipv6": {"enable": true}},
      "e": {"type": "ethernet", "enable": true, "ipv4": {"type": "bootp"}}}}})");
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(written(document.model), R"(root '' ''
  device:vlan tr0.1 v network.vlan.v
  device:bond bo bo network.bond.bo
  interface:ethernet d d interface_d network.interface.d
  interface:ethernet e e interface_e network.interface.e
)");
  EXPECT_EQ(document.reports(Grade::ignored),
            R"(network.device.x.type: unknown device type 'token_ring', the device is left out
network.device.y: unknown device type '', the device is left out
network.interface.a.type: unknown interface type 'slip', the interface is left out
network.interface.b: unknown interface type '', the interface is left out
network.interface.d.ipv4.type: unknown ipv4 type 'dhcpv6', it is left out
network.interface.d.ipv6: unknown ipv6 type '', it is left out
)");
}

// The keys of all nodes of a type below `scope`.
std::string keys(const NetworkNode *scope, uint32_t type) {
  std::string text;
  for (const NetworkNode *node = network_first_type(scope, type); node != nullptr;
       node = network_next_type(scope, node, type))
    text += std::string(text.empty() ? "" : " ") + network_key(node);
  return text;
}

TEST(NetworkModel, SearchesWithinAScope) {
  const LoadedDocument document(R"({
    "vpn": {"openvpn": {"server": {"road": {"enable": true}}}},
    "network": {
      "device": {"e1": {"type": "ethernet"}, "e2": {"type": "ethernet"}},
      "radio": {"r": {}}, "wlan": {"w": {"radio": "/network/radio/r"}},
      "bond": {"one": {"device": ["/network/device/e1", "/network/device/e2"]}, "two": {"device": ["/network/device/e2"]}},
      "interface": {
        "i1": {"type": "ethernet", "enable": true, "device": "/network/bond/one",
               "ipv4": {"enable": true, "type": "dhcp"}},
        "i2": {"type": "ethernet", "enable": true, "device": "/network/bond/two",
               "ipv6": {"enable": true, "type": "dhcpv6"}},
        "i3": {"type": "wisun", "enable": true, "device": "/network/wlan/w"}, "off": {"type": "wisun"}}}})");
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  const NetworkModel *model = document.model;
  const auto config = [&](const char *path) { return config_lookup(document.root, path); };
  const auto device = [&](const char *path) { return network_find_device(model, config(path)); };
  const NetworkNode *one = device("network.bond.one");
  const NetworkNode *two = device("network.bond.two");
  ASSERT_NE(one, nullptr);
  ASSERT_NE(two, nullptr);

  EXPECT_EQ(keys(model, NETWORK_NODE_DEVICE), "e1 e2 w one two road");
  EXPECT_EQ(keys(model, NETWORK_NODE_INTERFACE), "i3 i1 i2 road");
  EXPECT_EQ(keys(one, NETWORK_NODE_INTERFACE), "i1");
  EXPECT_EQ(keys(one, NETWORK_NODE_PROTO), "ipv4");
  EXPECT_EQ(keys(one, NETWORK_NODE_BOND_SLAVE), "network.device.e1 network.device.e2");
  EXPECT_EQ(keys(two, NETWORK_NODE_BOND_SLAVE), "network.device.e2");
  EXPECT_EQ(keys(one, NETWORK_NODE_DEVICE), "");
  EXPECT_EQ(keys(model, NETWORK_NODE_BRIDGE_PORT), "");
  EXPECT_EQ(keys(model, UINT32_MAX), "");
  // From a node of another type the search goes on behind it.
  EXPECT_STREQ(network_key(network_next_type(model, one, NETWORK_NODE_INTERFACE)), "i1");

  const ConfigNode *member = config("network.device.e2");
  EXPECT_EQ(network_find_parent(network_find(model, NETWORK_NODE_BOND_SLAVE, member), NETWORK_NODE_DEVICE), one);
  EXPECT_EQ(network_find_parent(network_find(two, NETWORK_NODE_BOND_SLAVE, member), NETWORK_NODE_DEVICE), two);
  EXPECT_EQ(network_find(two, NETWORK_NODE_BOND_SLAVE, config("network.device.e1")), nullptr);
  EXPECT_EQ(network_find(two, NETWORK_NODE_INTERFACE, config("network.interface.i1")), nullptr);
  EXPECT_EQ(network_type(network_find(model, NETWORK_NODE_RADIO, config("network.radio.r"))), NETWORK_NODE_RADIO);
  EXPECT_EQ(network_find_device(model, config("network.interface.i1")), nullptr);
  EXPECT_EQ(network_find_device(model, document.root), nullptr);

  const NetworkNode *part = network_find_proto(model, config("network.interface.i1"), "ipv4");
  EXPECT_EQ(network_interface_type(part), NETWORK_INTERFACE_DHCP);
  EXPECT_EQ(network_find(model, NETWORK_NODE_PROTO, config("network.interface.i1.ipv4")), part);
  EXPECT_EQ(network_find_parent(part, NETWORK_NODE_DEVICE), one);
  EXPECT_EQ(network_find_parent(part, NETWORK_NODE_PROTO), nullptr);
  EXPECT_EQ(network_find_parent(part, NETWORK_NODE_ROOT), model);
  EXPECT_EQ(network_find_proto(model, config("network.interface.i1"), "ipv6"), nullptr);
  EXPECT_EQ(network_find_proto(model, config("network.interface.i1"), "ipx"), nullptr);
  EXPECT_EQ(network_find_proto(model, config("network.interface.off"), "ipv4"), nullptr);
  EXPECT_STREQ(network_key(network_find_proto(model, config("network.interface.i3"), "ipv6")), "i3");
  // Of a tunnel, device and interface come from the same node.
  const NetworkNode *tunnel = network_find_proto(model, config("vpn.openvpn.server.road"), "ipv4");
  EXPECT_EQ(network_interface_type(tunnel), NETWORK_INTERFACE_OPENVPN);
  EXPECT_EQ(network_find_parent(tunnel, NETWORK_NODE_DEVICE), device("vpn.openvpn.server.road"));
}

TEST(NetworkModel, AnswersForNothing) {
  const LoadedDocument document("{}");
  ASSERT_NE(document.model, nullptr);
  EXPECT_EQ(written(document.model), "root '' ''\n");
  for (const NetworkNode *node :
       {static_cast<const NetworkNode *>(nullptr), static_cast<const NetworkNode *>(document.model)}) {
    EXPECT_EQ(network_first(node), nullptr);
    EXPECT_EQ(network_next_child(node), nullptr);
    EXPECT_EQ(network_first_type(node, NETWORK_NODE_INTERFACE), nullptr);
    EXPECT_EQ(network_next_type(node, node, NETWORK_NODE_ROOT), nullptr);
    EXPECT_EQ(network_find_parent(node, NETWORK_NODE_ROOT), nullptr);
    EXPECT_EQ(network_find(node, NETWORK_NODE_DEVICE, document.root), nullptr);
    EXPECT_EQ(network_find(node, NETWORK_NODE_DEVICE, nullptr), nullptr);
    EXPECT_EQ(network_find_proto(node, document.root, nullptr), nullptr);
    EXPECT_EQ(network_config(node), nullptr);
    EXPECT_EQ(network_interface_name(node), nullptr);
    EXPECT_EQ(network_interface_type(node), UINT32_MAX);
    EXPECT_EQ(network_device_type(node), UINT32_MAX);
  }
  EXPECT_EQ(network_type(nullptr), UINT32_MAX);
  EXPECT_EQ(network_name(nullptr), nullptr);
  EXPECT_EQ(network_key(nullptr), nullptr);
  network_free(nullptr);
  NetworkModel *empty = network_load(nullptr);
  EXPECT_EQ(network_type(empty), NETWORK_NODE_ROOT);
  network_free(empty);
}

// Appends the pattern with "#" and "@" replaced by the numbers.
void append(std::string &text, const char *pattern, int number, int other) {
  for (; *pattern != '\0'; ++pattern) {
    if (*pattern == '#' || *pattern == '@')
      text += std::to_string(*pattern == '#' ? number : other);
    else
      text += *pattern;
  }
}

// A search per interface over many interfaces stays quick, and VLANs in a long circle are followed without recursion.
TEST(NetworkModel, StaysLinear) {
  constexpr int count = 20000;
  std::string text = R"({"network":{"device":{)";
  for (int i = 0; i < count; ++i) append(text, R"("d#":{"type":"ethernet","name":"e@"},)", i, i);
  text.back() = '}';
  text += R"(,"interface":{)";
  for (int i = 0; i < count; ++i)
    append(text, R"("i#":{"type":"wisun","enable":true,"device":"/network/device/d@"},)", i, i);
  text.back() = '}';
  text += R"(,"vlan":{)";
  for (int i = 0; i < count; ++i) append(text, R"("v#":{"device":"/network/vlan/v@"},)", i, (i + 1) % count);
  text.back() = '}';
  text += "}}";
  const LoadedDocument document(text);
  ASSERT_NE(document.model, nullptr) << document.reports(Grade::refused);
  EXPECT_EQ(document.findings.size(), count);
  int found = 0;
  for (const NetworkNode *node = network_first_type(document.model, NETWORK_NODE_INTERFACE); node != nullptr;
       node = network_next_type(document.model, node, NETWORK_NODE_INTERFACE)) {
    const NetworkNode *device = network_find_device(document.model, config_get_ref(network_config(node), "device"));
    found += device != nullptr && device == network_find_parent(node, NETWORK_NODE_DEVICE) &&
             network_find_proto(document.model, network_config(node), "ipv4") == node;
  }
  EXPECT_EQ(found, count);
}

}  // namespace
