// The writers of the network file on a scripted platform: what the reference platform does not produce, and the tables
// of cases that whole runs would make long-winded.
#include "network/network.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "fake_platform.h"
#include "main/mappers.h"
#include "network/uci.h"
#include "private_mounts.h"

namespace {

using fake::add;
using fake::platform;
using fake::set;
using fake::written;

struct NetworkTest : testing::Test {
  NetworkTest() {
    fake::reset();
    uci_forget_passthrough_sources();
    network_model = &platform->model;
  }
};

std::string interface_text(const NetworkNode *node) {
  return written([=](FILE *out) { uci_write_interface(out, node); });
}

NetworkNode *add_device(uint32_t kind, const char *name, const char *config_path = nullptr) {
  return add(nullptr, NETWORK_NODE_DEVICE, kind, name, config_path);
}

NetworkNode *add_interface(NetworkNode *parent, uint32_t kind, const char *name, const char *config_path = nullptr) {
  return add(parent, NETWORK_NODE_INTERFACE, kind, name, config_path);
}

TEST_F(NetworkTest, PrimitivesWriteExactLines) {
  set("t", "\"\\\n%s");
  set("i", "-1");
  set("b", "true");
  set("d", "2900");
  const OptionRow rows[] = {{"text", "t", OptionKind::text},     {"int", "i", OptionKind::integer},
                            {"bool", "b", OptionKind::boolean},  {"secs", "d", OptionKind::seconds},
                            {"none", "none", OptionKind::text},  {"zero", "none", OptionKind::integer},
                            {"no", "none", OptionKind::boolean}, {"", "", OptionKind::text}};
  platform->absent_text = nullptr;
  char entry[] = "a b";
  char *list[] = {entry, entry, nullptr};
  EXPECT_EQ(written([&](FILE *out) {
              uci_write_section(out, "interface", "%s_%d", "a%s\"", 7);
              uci_write_options(out, &platform->tree, rows);
              uci_write_section_anon(out, "route");
              uci_write_option_int(out, "max", INT32_MAX);
              uci_write_option_list(out, "list", list, ",");
              uci_write_option_list(out, "list", list + 2, ",");
              uci_write_option_list(out, "list", nullptr, ",");
              uci_write_list_entry(out, "ip6addr", "a\"b");
              uci_write_list_entry(out, "ip6addr", nullptr);
              for (const char *address : {"1.2.3.4", "1.2.3.4/", "1.2.3.4/8/9"})
                uci_write_address(out, "a", "n", address);
              uci_write_interface_section(out, nullptr);
              uci_write_named_interface(out, "link_", nullptr);
            }),
            "\nconfig interface a%s\"_7\n\toption text \"\\\"\\\\\\\\n%s\"\n\toption int -1\n\toption bool 1\n"
            "\toption secs 2\n\toption none \"\"\n\toption zero 0\n\toption no 0\n"
            "\nconfig route\n\toption max 2147483647\n\toption list \"a b,a b\"\n\tlist ip6addr \"a\"b\"\n"
            "\tlist ip6addr \"\"\n\toption a \"1.2.3.4\"\n\toption a \"1.2.3.4\"\n\toption n \"\"\n"
            "\toption a \"1.2.3.4\"\n\toption n \"8\"\n\nconfig interface \n"
            "\nconfig interface link_\n");
  EXPECT_EQ(shell_quote_single(nullptr), nullptr);
}

TEST_F(NetworkTest, LinesHaveAnyLength) {
  for (size_t length = 0; length < 600; length++) {
    std::string text(length, 'v');
    EXPECT_EQ(written([&](FILE *out) {
                uci_write_option(out, "a", "%s", text.c_str());
                uci_write_option(out, text.c_str(), "\n");
                uci_write_option_bool(out, text.c_str(), true);
              }),
              "\toption a \"" + text + "\"\n\toption " + text + " \"\\\\n\"\n\toption " + text + " 1\n");
  }
}

TEST_F(NetworkTest, MetricOfAnUnhealthyTunnelIsTheWorst) {
  const struct {
    const char *entry, *metric, *vigil, *passed, *expected;
  } cases[] = {
      {"vpn.ipsec.tunnel.t", "5", "true", "yes", "\toption metric 2147483647\n"},
      {"vpn.ipsec.tunnel.t", "5", "true", "y", "\toption metric 5\n"},
      {"vpn.ipsec.tunnel.t", "5", "false", "n", "\toption metric 5\n"},
      {"vpn.ipsec.tunnel.t", "0", "true", "n", ""},
      {"network.interface.t", "-5", "true", "n", "\toption metric -5\n"},
  };
  for (const auto &c : cases) {
    set((std::string(c.entry) + ".metric").c_str(), c.metric);
    set((std::string(c.entry) + ".vigil.enable").c_str(), c.vigil);
    platform->facts["vigil.ipsec_t.passed"] = c.passed;
    EXPECT_EQ(written([&](FILE *out) { uci_write_metric(out, set(c.entry)); }), c.expected) << c.passed;
  }
}

TEST_F(NetworkTest, KindsWithoutAWriterGetTheirVlanCompanionOnly) {
  for (uint32_t kind : {7U, 13U, 14U, 15U, 16U, 18U, 20U, 21U, UINT32_MAX}) {
    EXPECT_EQ(interface_text(add_interface(add_device(NETWORK_DEVICE_VLAN, "a.b.c"), kind, "interface_ipv6")),
              "\nconfig interface vlan4_a_b.c\n\toption ifname \"a\"\n\toption proto \"vlan\"\n\toption vid \"b.c\"\n"
              "\toption name \"interface_ipv6\"\n");
    EXPECT_EQ(interface_text(add_interface(add_device(NETWORK_DEVICE_VLAN, "vlan7"), kind, "x")), "");
    EXPECT_EQ(interface_text(add_interface(add_device(NETWORK_DEVICE_ETHERNET, "a.b"), kind, "x")), "");
  }
}

TEST_F(NetworkTest, HybridUseDecidesTheBody) {
  const struct {
    uint32_t kind;
    bool deleted;
    const char *device, *lan_mode, *proto;
  } cases[] = {
      {NETWORK_INTERFACE_HYBRID, false, "", "", "proto \"static\""},
      {NETWORK_INTERFACE_HYBRID, false, "network.interface.x", "false", "proto \"dhcp\""},
      {NETWORK_INTERFACE_STATIC, false, "network.interface.x", "false", "proto \"dhcp\""},
      {NETWORK_INTERFACE_STATIC, true, "network.interface.x", "", "proto \"static\""},
      {NETWORK_INTERFACE_STATIC, false, "network.interface.y", "false", "proto \"static\""},
      {NETWORK_INTERFACE_STATIC, false, "x", "false", "proto \"static\""},
      {NETWORK_INTERFACE_DHCP, true, ".x", "false", "proto \"dhcp\""},
      {NETWORK_INTERFACE_HOTSPOT, true, "a.x", "", ""},
  };
  for (const auto &c : cases) {
    fake::reset();
    set("system.name", "router");
    if (is_set(c.device)) platform->facts["hybrid.device"] = c.device;
    if (is_set(c.lan_mode)) platform->facts["hybrid.lanmode"] = c.lan_mode;
    std::string text = interface_text(add_interface(nullptr, c.kind, "ipv4_interface_x", "system"));
    EXPECT_NE(text.find(c.proto), std::string::npos) << text;
    EXPECT_EQ(text.empty(), !is_set(c.proto)) << text;
    EXPECT_EQ(platform->calls, c.deleted ? std::vector<std::string>{"delete hybrid"} : std::vector<std::string>{});
  }
}

// A member's name goes into a path; one that leads elsewhere is listed, but its address is not read.
TEST_F(NetworkTest, BridgeReadsAddressesBelowItsDirectoryOnly) {
  set("network.bridge.br.enable", "true");
  set("network.bridge.br.auto_mac_assignment", "true");
  set("network.bridge.br.device.0", "/network/device/../net/lo");
  set("network.bridge.br.device.1", "");
  set("network.bridge.br.device.2", "/network/device/lo");
  NetworkNode *bridge = add_device(NETWORK_DEVICE_BRIDGE, "br", "network.bridge.br");
  add(bridge, NETWORK_NODE_BRIDGE_PORT, UINT32_MAX, "../net/lo")->key = "network.device....net.lo";
  auto members = [&] {
    std::string text = written([&](FILE *out) { uci_write_devices(out, bridge); });
    size_t start = text.find("\toption stp 0\n") + strlen("\toption stp 0\n");
    return text.substr(start, text.find("\nconfig interface") - start);
  };
  EXPECT_EQ(members(), "\toption ifname \"../net/lo\"\n");
  add(bridge, NETWORK_NODE_BRIDGE_PORT, UINT32_MAX, "lo")->key = "network.device.lo";
  EXPECT_EQ(members(), "\toption ifname \"../net/lo lo\"\n\toption macaddr \"00:00:00:00:00:00\"\n");
}

std::string dumped(const NetworkNode *node) {
  testing::internal::CaptureStdout();
  dump_network_node(node, 0);
  return testing::internal::GetCapturedStdout();
}

TEST_F(NetworkTest, DumpNamesEveryType) {
  // Names in the order of their values; the last one of each row is tried far out of range.
  const struct {
    uint32_t node_type;
    const char *label, *prefix, *names;
  } rows[] = {
      {UINT32_MAX, "\ntype: ", "NETWORK_NODE_",
       "ROOT NAMESPACE DEVICE INTERFACE PROTO BRIDGE_PORT BOND_SLAVE RADIO MODEM ??? ???"},
      {NETWORK_NODE_DEVICE, "\ndevice type: ", "NETWORK_DEVICE_",
       "LOOPBACK ETHERNET VNET WLAN VLAN BRIDGE BOND OPENVPN IPSEC IPTUNNEL VRRP L2TPETH ??? MACSEC WIREGUARD WISUN ???"
       " ???"},
      {NETWORK_NODE_PROTO, "\ninterface type: ", "NETWORK_INTERFACE_",
       "ETHERNET STATIC HYBRID DHCP DHCPV6 PREFIX_DELEGATION MODEM DIALIN NEMO OPENVPN IPSEC PPPOE PASSTHROUGH"
       " PASSTHROUGH4 PASSTHROUGH6 HOTSPOT ??? PPPOL2TP ??? PPP_DIALIN WISUN ??? ???"},
  };
  for (const auto &row : rows) {
    OwnedList names(sl_split(row.names, ' '));
    for (uint32_t i = 0; names.get()[i] != nullptr; i++) {
      uint32_t value = names.get()[i + 1] != nullptr ? i : UINT32_MAX;
      std::string name = names.get()[i], expected = row.label + (name == "???" ? name : row.prefix + name) + "\n";
      std::string text = dumped(add(nullptr, row.node_type != UINT32_MAX ? row.node_type : value, value, ""));
      EXPECT_NE(text.find(expected), std::string::npos) << value << text;
    }
  }
}

int run_mapper(std::vector<const char *> arguments) {
  arguments.push_back(nullptr);
  return map_network(&platform->tree, static_cast<int32_t>(arguments.size()) - 1,
                     const_cast<char **>(arguments.data()));
}

TEST_F(NetworkTest, DiagnosticsTouchNeitherFilesNorStore) {
  const struct {
    std::vector<const char *> arguments;
    int status;
    const char *output, *error;
  } cases[] = {
      {{"x", "-p", "--device"}, 0, "----------\nkey: ''\nname: ''\ntype: NETWORK_NODE_ROOT\n", ""},
      {{"--device", "network.device.e"}, 0, "eth0\n", ""},
      {{"--device"}, 1, "", "error: expected single parameter for --device PATH\n"},
      {{"--device", "network.device.e", "-p"}, 1, "", "error: expected single parameter for --device PATH\n"},
      {{"x", "--device"}, 1, "", "error: config lookup failed\n"},
      {{"--device", "network"}, 1, "", "error: network node lookup failed\n"},
  };
  mkdir("/var/run/uci", 0755);
  set("network.device.e");
  for (const auto &c : cases) {
    platform->model.children.clear();
    if (c.arguments[0] == std::string("--device")) add_device(NETWORK_DEVICE_ETHERNET, "eth0", "network.device.e");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_mapper(c.arguments), c.status);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.output);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.error);
  }
  EXPECT_TRUE(platform->calls.empty());
  EXPECT_EQ(rmdir("/var/run/uci"), 0) << "a file was left behind";
}

TEST_F(NetworkTest, DeviceMapIsPublishedWhateverElseFails) {
  set("network.device.e");
  add_device(NETWORK_DEVICE_LOOPBACK, "lo");
  add_device(NETWORK_DEVICE_ETHERNET, "eth0", "network.device.e");
  std::string expected =
      "init start delete network.device_map network.device_map.0.device=lo network.device_map.0.path= "
      "network.device_map.1.device=eth0 network.device_map.1.path=network.device.e commit deinit ";
  auto calls = [] {
    std::string text;
    for (const std::string &call : platform->calls) text += call + " ";
    platform->calls.clear();
    return text;
  };
  auto installed = [] { return std::string(or_empty(OwnedText(file_read("/var/run/uci/network")).get())); };
  EXPECT_EQ(run_mapper({}), 1) << "there is no directory for the file";
  EXPECT_EQ(calls(), expected);
  EXPECT_EQ(network_model, nullptr);

  mkdir("/var/run/uci", 0755);
  platform->store_opens = false;
  platform->edits_until_failure = 3;
  testing::internal::CaptureStderr();
  EXPECT_EQ(run_mapper({"ignored"}), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("failed to initialize runt interface"), std::string::npos);
  EXPECT_EQ(calls(), expected);
  EXPECT_EQ(installed(),
            "\nconfig globals globals\n\nconfig interface link_eth_e\n\toption proto \"link\"\n"
            "\toption ifname \"eth0\"\n");
  // What a killed run has left is not taken for the file of a run that could not open one.
  file_write("/var/run/uci/network.new", "half");
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none = {0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  int32_t status = run_mapper({});
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(status, 1);
  EXPECT_NE(installed(), "half");

  platform->model_loads = false;
  set("network.advanced.ula_prefix", "fd00::/48");
  EXPECT_EQ(run_mapper({}), 0);
  EXPECT_EQ(installed(), "\nconfig globals globals\n\toption ula_prefix \"fd00::/48\"\n");
}

}  // namespace
