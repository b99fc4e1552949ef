// The protocol writers on a scripted platform: settings and failures that the reference platform does not produce.
#include "network/proto/proto.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "fake_platform.h"
#include "main/owned.h"
#include "network/network.h"
#include "network/proto/openvpn_files.h"
#include "network/uci.h"
#include "private_mounts.h"

namespace {

using fake::add;
using fake::platform;
using fake::set;
using fake::written;

// A test has a /bin/hostname of its own that knows no name; ctest gives each test a process.
struct ProtoTest : testing::Test {
  ProtoTest() {
    fake::reset();
    uci_forget_passthrough_sources();
  }
  void SetUp() override { ASSERT_EQ(mount("/dev/null", "/bin/hostname", nullptr, MS_BIND, nullptr), 0); }
};

const NetworkNode *add_interface(const char *name, const char *config_path, NetworkNode *parent = nullptr) {
  return add(parent, NETWORK_NODE_INTERFACE, 0, name, config_path);
}

TEST(TunnelAddress, IsReadFromTextOfAnyShape) {
  const char *const cases[][2] = {
      {"192.168.77.201/9", "192.168.77.201 192.168.77 255.128.0.0"},
      {"10.8.0.1/0", "10.8.0.1 10.8.0 0.0.0.0"},
      {"10.8.0.1/33", "10.8.0.1 10.8.0 255.255.255.255"},
      {"10.8.0.1/99999999999999999999", "10.8.0.1 10.8.0 255.255.255.255"},
      {"10.8.0.1/-5", "10.8.0.1 10.8.0 0.0.0.0"},
      {"10.8.0.1/24/30", "10.8.0.1 10.8.0 255.255.255.0"},
      {"10.8.0.1/16bits", "10.8.0.1 10.8.0 255.255.0.0"},
      // Without a number it is one host, as everywhere else; a guess could take over the default route.
      {"10.8.0.1", "10.8.0.1 10.8.0 255.255.255.255"},
      {"10.8.0.1/wide", "10.8.0.1 10.8.0 255.255.255.255"},
      {"tunnel/", "tunnel tunnel 255.255.255.255"},
      {"", "  255.255.255.255"},
  };
  for (const auto &[text, expected] : cases) {
    TunnelAddress tunnel = parse_tunnel_address(text);
    EXPECT_EQ(tunnel.address + " " + tunnel.network + " " + tunnel.netmask, expected) << text;
  }
}

TEST(PathComponent, NeverLeavesItsDirectory) {
  for (const char *name : {"office", "a.b", "-", "...", " "}) EXPECT_TRUE(is_path_component(name)) << name;
  for (const char *name : {"", ".", "..", "/", "a/b", "../a", "a/"}) EXPECT_FALSE(is_path_component(name)) << name;
  EXPECT_FALSE(is_path_component(nullptr));
}

// Absent texts may be null on a device, and a node may have no configuration at all: what is written stays the same.
// Turned off, none of these kinds is written.
TEST_F(ProtoTest, NullTextsReadAsEmpty) {
  for (const char *path : {"client.c.username", "server.s", "lac.l2tp.k.lns", "lns.l2tp.k", "l2tpeth.session.s", "m"})
    set(path);
  set("serial.mode", "ppp_dialin");
  set("serial.ppp_dialin");
  set("m.vigil.enable", "true");
  for (const char *tunnel : {"iptunnel", "macsec", "l2tpeth"}) set((std::string(tunnel) + ".local").c_str(), "local");
  set("network.interface.local");
  const std::map<std::string, std::string> facts = {{"mm.map.interface_idx.m", "1"},
                                                    {"network.interface.local.ipv4.address", "192.0.2.1"}};
  NetworkNode *modem = add(nullptr, NETWORK_NODE_MODEM, 0, "modem");
  const struct {
    void (*write)(FILE *, const NetworkNode *);
    const char *config;   // null: without configuration
    const char *enabled;  // null: there is nothing to turn off
    ptrdiff_t options;
    uint32_t kind = 0;
  } cases[] = {
      {uci_write_interface, nullptr, nullptr, 2, NETWORK_INTERFACE_STATIC},
      {uci_write_interface, nullptr, nullptr, 2, NETWORK_INTERFACE_DHCPV6},
      {openvpn_write_interface, "client.c", nullptr, 3},
      {openvpn_write_interface, "server.s", nullptr, 4},
      {modem_write_interface, "m", nullptr, 24},
      {nemo_write_interface, "nemo", "nemo.enable", 12},
      {l2tp_write_interface, "lac.l2tp.k", "lac.enable", 12},
      {l2tp_write_interface, "lns.l2tp.k", "lns.enable", 15},
      {pppoe_write_interface, "pppoe", nullptr, 0},
      {ppp_dialin_write_interface, "serial.ppp_dialin", "serial.enable", 16},
      {iptunnel_write_device, "iptunnel", "iptunnel.enable", 6},
      {macsec_write_device, "macsec", "macsec.enable", 4},
      {l2tpeth_write_device, "l2tpeth.session.s", "l2tpeth.enable", 15},
      {wireguard_write_device, "wireguard", "wireguard.enable", 2},
  };
  for (const auto &row : cases) {
    if (row.enabled != nullptr) set(row.enabled, "true");
    const NetworkNode *node = add(modem, NETWORK_NODE_INTERFACE, row.kind, "node", row.config);
    auto text = [&](const char *absent) {
      platform->facts = facts;
      platform->absent_text = absent;
      return written([&](FILE *out) { row.write(out, node); });
    };
    std::string empty = text("");
    EXPECT_EQ(text(nullptr), empty);
    EXPECT_EQ(empty.substr(0, empty.find('\t')), "\nconfig interface node\n");
    EXPECT_EQ(std::count(empty.begin(), empty.end(), '\t'), row.options) << empty;
    if (row.enabled == nullptr) continue;
    set(row.enabled, "false");
    EXPECT_EQ(text(""), "") << row.enabled;
  }
}

TEST_F(ProtoTest, KeysNeverLeadToAnotherDirectory) {
  for (const char *directory : {"/run/config_file_a", "/run/config_file_server_a", "/run/serviceproviders-a"})
    ASSERT_EQ(mkdir(directory, 0700), 0);
  set("client.a/b.username", "name");
  set("server.a/b");
  set("modem.a/b.txt");
  platform->facts = {{"mm.map.interface_idx.a/b", "1"}};
  NetworkNode *modem = add(nullptr, NETWORK_NODE_MODEM, 0, "modem");
  std::string text = written([&](FILE *out) {
    openvpn_write_interface(out, add_interface("c", "client.a/b"));
    openvpn_write_interface(out, add_interface("s", "server.a/b"));
    modem_write_interface(out, add_interface("m", "modem.a/b", modem));
  });
  EXPECT_NE(text.find("config interface m"), std::string::npos);
  EXPECT_EQ(text.find("service_providers"), std::string::npos);
  for (const char *directory : {"/run/config_file_a", "/run/config_file_server_a", "/run/serviceproviders-a"})
    EXPECT_EQ(rmdir(directory), 0) << directory;
}

// A router without a host name still offers its template, with exact modes whatever the umask says.
TEST_F(ProtoTest, TemplateOfANamelessRouter) {
  umask(0077);
  set("server.s");
  written([](FILE *out) { openvpn_write_interface(out, add_interface("s", "server.s")); });
  struct stat status;
  ASSERT_EQ(stat("/run/openvpn", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0755U);
  ASSERT_EQ(stat("/run/openvpn/-s.ovpn", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  openvpn_write_template(nullptr, "s", "../run");
  EXPECT_NE(access("/run/run-s.ovpn", F_OK), 0);
}

TEST_F(ProtoTest, ModemUpdatesEndAtAnEmptyName) {
  platform->facts = {
      {"mm.sh.update.modem.!.host", "h"}, {"mm.sh.update.modem..host", ""}, {"mm.sh.update.modem.a.host", "h"}};
  EXPECT_EQ(written(modem_write_update_interfaces),
            "\nconfig interface interface_!\n\toption proto \"mm_update\"\n\toption update_interface 1\n"
            "\toption modem \"!\"\n\toption iface \"\"\n\toption host \"h\"\n");
}

}  // namespace
