// The writers of the network file on a scripted platform: what the reference platform does not produce, and the tables
// of cases that whole runs would make long-winded.
#include "network/network.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>

#include "fake_platform.h"
#include "main/mappers.h"
#include "network/uci.h"
#include "private_mounts.h"

namespace {

using fake::add;
using fake::platform;
using fake::set;

const testing::Environment *const environment = testing::AddGlobalTestEnvironment(new PrivateMounts);

struct NetworkTest : testing::Test {
  NetworkTest() {
    fake::reset();
    uci_forget_passthrough_sources();
    network_model = &platform->model;
  }
};

std::string written(const std::function<void(FILE *)> &write) {
  char *text = nullptr;
  size_t size = 0;
  OwnedStream out(open_memstream(&text, &size));
  write(out.get());
  out.reset();
  return OwnedText(text).get();
}

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
                            {"no", "none", OptionKind::boolean}, {nullptr, nullptr, OptionKind::text}};
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
              uci_write_interface_section(out, nullptr);
            }),
            "\nconfig interface a%s\"_7\n\toption text \"\\\"\\\\\\\\n%s\"\n\toption int -1\n\toption bool 1\n"
            "\toption secs 2\n\toption none \"\"\n\toption zero 0\n\toption no 0\n"
            "\nconfig route\n\toption max 2147483647\n\toption list \"a b,a b\"\n\tlist ip6addr \"a\"b\"\n"
            "\tlist ip6addr \"\"\n\nconfig interface \n");
  EXPECT_STREQ(shell_quote_single("it's ''").get(), "it'\\''s '\\'''\\''");
  EXPECT_STREQ(shell_quote_single("").get(), "");
  EXPECT_EQ(shell_quote_single(nullptr), nullptr);
}

TEST_F(NetworkTest, MetricOfAnUnhealthyTunnelIsTheWorst) {
  struct Case {
    const char *entry, *metric, *vigil, *passed, *expected;
  } cases[] = {
      {"vpn.ipsec.tunnel.t", "5", "true", nullptr, "\toption metric 2147483647\n"},
      {"vpn.ipsec.tunnel.t", "5", "true", "yes", "\toption metric 2147483647\n"},
      {"vpn.ipsec.tunnel.t", "5", "true", "y", "\toption metric 5\n"},
      {"vpn.ipsec.tunnel.t", "5", "false", "n", "\toption metric 5\n"},
      {"vpn.ipsec.tunnel.t", "0", "true", "n", ""},
      {"network.interface.t", "-5", "true", "n", "\toption metric -5\n"},
  };
  for (const Case &c : cases) {
    fake::reset();
    set((std::string(c.entry) + ".metric").c_str(), c.metric);
    set((std::string(c.entry) + ".vigil.enable").c_str(), c.vigil);
    if (c.passed != nullptr) platform->facts["vigil.ipsec_t.passed"] = c.passed;
    EXPECT_EQ(written([&](FILE *out) { uci_write_metric(out, set(c.entry)); }), c.expected) << c.entry << c.metric;
  }
}

TEST_F(NetworkTest, KindsWithoutAWriterGetTheirVlanCompanionOnly) {
  NetworkNode *vlan = add_device(NETWORK_DEVICE_VLAN, "a.b.c");
  for (uint32_t kind : std::vector<uint32_t>{NETWORK_INTERFACE_DIALIN, NETWORK_INTERFACE_PASSTHROUGH4, UINT32_MAX,
                                             NETWORK_INTERFACE_PASSTHROUGH6, NETWORK_INTERFACE_HOTSPOT, 16, 18, 21}) {
    EXPECT_EQ(interface_text(add_interface(vlan, kind, "interface_ipv6")),
              "\nconfig interface vlan4_a_b.c\n\toption ifname \"a\"\n\toption proto \"vlan\"\n\toption vid \"b.c\"\n"
              "\toption name \"interface_ipv6\"\n");
    EXPECT_EQ(interface_text(add_interface(add_device(NETWORK_DEVICE_VLAN, "vlan7"), kind, "x")), "");
    EXPECT_EQ(interface_text(add_interface(add_device(NETWORK_DEVICE_ETHERNET, "a.b"), kind, "x")), "");
  }
}

TEST_F(NetworkTest, HybridUseDecidesTheBody) {
  struct Case {
    uint32_t kind;
    bool deleted;
    const char *device, *lan_mode, *proto;
  } cases[] = {
      {NETWORK_INTERFACE_HYBRID, false, nullptr, nullptr, "static"},
      {NETWORK_INTERFACE_HYBRID, false, nullptr, "false", "dhcp"},
      {NETWORK_INTERFACE_HYBRID, false, "network.interface.x", "true", "static"},
      {NETWORK_INTERFACE_HYBRID, false, "network.interface.x", "false", "dhcp"},
      {NETWORK_INTERFACE_STATIC, false, "network.interface.x", "false", "dhcp"},
      {NETWORK_INTERFACE_STATIC, true, "network.interface.x", nullptr, "static"},
      {NETWORK_INTERFACE_STATIC, false, "network.interface.y", "false", "static"},
      {NETWORK_INTERFACE_STATIC, false, "x", "false", "static"},
      {NETWORK_INTERFACE_DHCP, true, ".x", "false", "dhcp"},
      {NETWORK_INTERFACE_HOTSPOT, true, "a.x", nullptr, ""},
  };
  for (const Case &c : cases) {
    fake::reset();
    set("system.name", "router");
    if (c.device != nullptr) platform->facts["hybrid.device"] = c.device;
    if (c.lan_mode != nullptr) platform->facts["hybrid.lanmode"] = c.lan_mode;
    std::string text = interface_text(add_interface(nullptr, c.kind, "ipv4_interface_x", "system"));
    size_t proto = text.find("proto \"");
    EXPECT_EQ(proto == std::string::npos ? "" : text.substr(proto + 7, text.find('"', proto + 7) - proto - 7), c.proto);
    EXPECT_EQ(platform->calls, c.deleted ? std::vector<std::string>{"delete hybrid"} : std::vector<std::string>{});
  }
}

TEST_F(NetworkTest, AnInterfaceWithoutConfigurationStillGetsItsSection) {
  platform->absent_text = nullptr;
  set("system");
  ASSERT_EQ(unshare(CLONE_NEWUTS), 0);
  ASSERT_EQ(sethostname("router", 6), 0);
  EXPECT_EQ(interface_text(add_interface(nullptr, NETWORK_INTERFACE_STATIC, "s")),
            "\nconfig interface s\n\toption proto \"static\"\n\toption force_link 0\n");
  const NetworkNode *dhcpv6 = add_interface(nullptr, NETWORK_INTERFACE_DHCPV6, "d");
  const char *expected =
      "\nconfig interface d\n\toption hostname \"router\"\n\toption dhcp_hostname 0\n\toption proto \"dhcpv6\"\n"
      "\toption sourcerouting 0\n";
  EXPECT_EQ(interface_text(dhcpv6), expected);
  ASSERT_EQ(sethostname("changed", 7), 0);
  EXPECT_EQ(interface_text(dhcpv6), expected) << "the host name was asked a second time";
}

TEST_F(NetworkTest, BridgeTakesTheAddressOfTheMemberConfiguredFirst) {
  const std::string device =
      "\nconfig device\n\toption name \"br\"\n\toption type \"bridge\"\n\toption bridge_empty 1\n\toption stp 0\n";
  const std::string link = "\nconfig interface link_bridge_br\n\toption proto \"link\"\n\toption ifname \"br\"\n";
  set("network.bridge.br.enable", "true");
  set("network.bridge.br.auto_mac_assignment", "true");
  for (const char *reference : {"/network/device/../net/lo", "/network/device/gone", "", "/network/device/lo"}) {
    size_t count = config_array_count(config_array(&platform->tree, "network.bridge.br.device"));
    set(("network.bridge.br.device." + std::to_string(count)).c_str(), reference);
  }
  NetworkNode *bridge = add_device(NETWORK_DEVICE_BRIDGE, "br", "network.bridge.br");
  auto add_port = [&](const char *name, const char *key) {
    add(bridge, NETWORK_NODE_BRIDGE_PORT, UINT32_MAX, name)->key = key;
  };
  auto text = [&] { return written([&](FILE *out) { uci_write_devices(out, bridge); }); };
  EXPECT_EQ(text(), device + link);
  add_port("../net/lo", "network.device....net.lo");
  add_port("gone", "network.device.gone");
  EXPECT_EQ(text(), device + "\toption ifname \"../net/lo gone\"\n" + link);
  add_port("lo", "network.device.lo");
  EXPECT_EQ(text(), device + "\toption ifname \"../net/lo gone lo\"\n\toption macaddr \"00:00:00:00:00:00\"\n" + link);
  set("network.bridge.br.mode", "switch");
  EXPECT_EQ(text(), device + "\toption vlan_filtering 1\n" + link);
}

TEST_F(NetworkTest, UnnamedTypesAreDumpedAsQuestionMarks) {
  add_interface(add_device(12, "d"), 18, "i");
  add(nullptr, 9, 0, "n");
  testing::internal::CaptureStdout();
  dump_network_node(&platform->model, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "----------\nkey: ''\nname: ''\ntype: NETWORK_NODE_ROOT\nchildren:\n"
            "| ----------\n| key: 'd'\n| name: 'd'\n| type: NETWORK_NODE_DEVICE\n| device type: ???\n| children:\n"
            "| | ----------\n| | key: 'i'\n| | name: 'i'\n| | type: NETWORK_NODE_INTERFACE\n| | interface type: ???\n"
            "| | interface name: 'i'\n| | ----------\n"
            "| ----------\n| key: 'n'\n| name: 'n'\n| type: ???\n| ----------\n");
}

int run_mapper(std::vector<const char *> arguments) {
  arguments.push_back(nullptr);
  return map_network(config_load(), static_cast<int32_t>(arguments.size()) - 1, const_cast<char **>(arguments.data()));
}

std::string content(const char *path) {
  OwnedText text(file_read(path));
  return or_empty(text.get());
}

TEST_F(NetworkTest, DiagnosticsTouchNeitherFilesNorStore) {
  struct Case {
    std::vector<const char *> arguments;
    int status;
    const char *output, *error;
  } cases[] = {
      {{"-p"}, 0, "----------\nkey: ''\nname: ''\ntype: NETWORK_NODE_ROOT\n", ""},
      {{"x", "-p", "--device"}, 0, "----------\nkey: ''\nname: ''\ntype: NETWORK_NODE_ROOT\n", ""},
      {{"--device", "network.device.e"}, 0, "eth0\n", ""},
      {{"--device"}, 1, "", "error: expected single parameter for --device PATH\n"},
      {{"--device", "network.device.e", "-p"}, 1, "", "error: expected single parameter for --device PATH\n"},
      {{"--device", "network.device.x"}, 1, "", "error: config lookup failed\n"},
      {{"x", "--device"}, 1, "", "error: config lookup failed\n"},
      {{"--device", "network"}, 1, "", "error: network node lookup failed\n"},
  };
  mkdir("/var/run/uci", 0755);
  set("network.device.e");
  for (const Case &c : cases) {
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
  const std::string map = "network.device_map";
  const std::vector<std::string> expected = {"init",
                                             "start",
                                             "delete " + map,
                                             map + ".0.device=lo",
                                             map + ".0.path=",
                                             map + ".1.device=eth0",
                                             map + ".1.path=network.device.e",
                                             "commit",
                                             "deinit"};
  const std::string file =
      "\nconfig globals globals\n\nconfig interface link_eth_e\n\toption proto \"link\"\n\toption ifname \"eth0\"\n";
  EXPECT_EQ(run_mapper({}), 1) << "there is no directory for the file";
  EXPECT_EQ(platform->calls, expected);
  EXPECT_EQ(network_model, nullptr);

  mkdir("/var/run/uci", 0755);
  platform->calls.clear();
  platform->store_opens = false;
  platform->edits_until_failure = 3;
  testing::internal::CaptureStderr();
  EXPECT_EQ(run_mapper({"ignored"}), 0);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("failed to initialize runt interface"), std::string::npos);
  EXPECT_EQ(platform->calls, expected);
  EXPECT_EQ(content("/var/run/uci/network"), file);

  platform->store_opens = true;
  platform->model_loads = false;
  set("network.advanced.ula_prefix", "fd00::/48");
  EXPECT_EQ(run_mapper({}), 0);
  EXPECT_EQ(content("/var/run/uci/network"), "\nconfig globals globals\n\toption ula_prefix \"fd00::/48\"\n");
}

}  // namespace
