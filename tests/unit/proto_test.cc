// The protocol writers on a scripted platform: settings and failures that the reference platform does not produce.
#include "network/proto/proto.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "fake_platform.h"
#include "main/owned.h"
#include "network/network.h"
#include "network/proto/digest.h"
#include "network/proto/openvpn_files.h"
#include "network/uci.h"

namespace {

using fake::add;
using fake::platform;
using fake::set;

std::string written(const std::function<void(FILE *)> &write) {
  char *text = nullptr;
  size_t size = 0;
  OwnedStream out(open_memstream(&text, &size));
  write(out.get());
  out.reset();
  return OwnedText(text).get();
}

// A test of files has a /var/run and a /bin/hostname of its own; ctest gives each test a process.
struct ProtoTest : testing::Test {
  ProtoTest() {
    fake::reset();
    uci_forget_passthrough_sources();
  }
  void SetUp() override {
    ASSERT_EQ(unshare(CLONE_NEWNS | (geteuid() != 0 ? CLONE_NEWUSER : 0)), 0);
    ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount("none", "/run", "tmpfs", 0, "size=1m"), 0);
    ASSERT_EQ(mount("/dev/null", "/bin/hostname", nullptr, MS_BIND, nullptr), 0);
  }
};

std::string md5(const std::string &text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(text.data(), text.size(), digest, &length, EVP_md5(), nullptr);
  std::string hex;
  for (unsigned i = 0; i < length; i++) hex += format("%02x", digest[i]);
  return hex;
}

bool exists(const char *path) {
  return access(path, F_OK) == 0;
}

// Whatever the settings hold, the digest is that of their text and one line end.
TEST(ConfigDigest, IsTheMd5OfTheDumpAndALineEnd) {
  const std::string texts[] = {
      "{}",
      "",
      "-n",
      "a'b\"c`d$(id)$HOME",
      "one\\ntwo\\\\\\0101\\c",
      "100%s%n%%",
      "{\"key\":\"-----BEGIN\\n\xc3\xa4\"}\n\n",
      std::string(400 * 1024, '\'') + "\\",
  };
  for (const std::string &text : texts) {
    // The scripted dump of a node is its key.
    ConfigNode node{text, "", 1};
    EXPECT_EQ(written([&](FILE *out) { uci_write_config_digest(out, &node); }),
              "\toption conf_md5sum \"" + md5(text + "\n") + "\"\n")
        << text.substr(0, 40);
  }
}

TEST(TunnelAddress, IsReadFromTextOfAnyShape) {
  const struct {
    const char *text, *address, *network, *netmask;
  } cases[] = {
      {"10.8.0.1/24", "10.8.0.1", "10.8.0", "255.255.255.0"},
      {"192.168.77.201/9", "192.168.77.201", "192.168.77", "255.128.0.0"},
      {"10.8.0.1/0", "10.8.0.1", "10.8.0", "0.0.0.0"},
      {"10.8.0.1/32", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"10.8.0.1/33", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"10.8.0.1/99999999999999999999", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"10.8.0.1/-5", "10.8.0.1", "10.8.0", "0.0.0.0"},
      {"10.8.0.1/24/30", "10.8.0.1", "10.8.0", "255.255.255.0"},
      {"10.8.0.1/16bits", "10.8.0.1", "10.8.0", "255.255.0.0"},
      // Without a number it is one host, as everywhere else; a guess could take over the default route.
      {"10.8.0.1", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"10.8.0.1/", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"10.8.0.1/wide", "10.8.0.1", "10.8.0", "255.255.255.255"},
      {"tunnel/24", "tunnel", "tunnel", "255.255.255.0"},
      {"", "", "", "255.255.255.255"},
  };
  for (const auto &row : cases) {
    TunnelAddress tunnel = parse_tunnel_address(row.text);
    EXPECT_EQ(tunnel.address, row.address) << row.text;
    EXPECT_EQ(tunnel.network, row.network) << row.text;
    EXPECT_EQ(tunnel.netmask, row.netmask) << row.text;
  }
}

TEST(PathComponent, NeverLeavesItsDirectory) {
  for (const char *name : {"office", "a.b", "-", "...", " "}) EXPECT_TRUE(is_path_component(name)) << name;
  for (const char *name : {"", ".", "..", "/", "a/b", "../a", "a/"}) EXPECT_FALSE(is_path_component(name)) << name;
  EXPECT_FALSE(is_path_component(nullptr));
}

// Absent texts may be null on a device; a writer then has nothing to say, but says it in the same form.
TEST_F(ProtoTest, NullTextsReadAsEmpty) {
  platform->absent_text = nullptr;
  for (const char *path : {"vpn.openvpn.client.c.username", "vpn.openvpn.server.s", "nemo.n.x", "vpn.l2tp.lac.k.lns",
                           "vpn.l2tp.lns.k", "serial.p.ppp_dialin", "network.interface.m", "network.interface.local"})
    set(path);
  for (const char *path : {"nemo.n.enable", "vpn.l2tp.enable", "serial.p.enable", "vpn.iptunnel.t.enable",
                           "network.macsec.x.enable", "vpn.l2tpeth.t.enable", "vpn.wireguard.w.enable"})
    set(path, "true");
  for (const char *path : {"vpn.iptunnel.t.local", "network.macsec.x.local", "vpn.l2tpeth.t.local"}) set(path, "local");
  set("vpn.l2tpeth.t.session.s");
  set("serial.p.mode", "ppp_dialin");
  platform->facts = {{"mm.map.interface_idx.m", "1"}, {"network.interface.local.ipv4.address", "192.0.2.1"}};
  NetworkNode *modem = add(nullptr, NETWORK_NODE_MODEM, 0, "modem");

  const struct {
    void (*write)(FILE *, const NetworkNode *);
    NetworkNode *parent;
    uint32_t type;
    const char *config, *expected;
  } cases[] = {
      {openvpn_write_interface, nullptr, NETWORK_NODE_INTERFACE, "vpn.openvpn.client.c",
       "\toption proto \"openvpn\"\n\toption metric 0\n"},
      {openvpn_write_interface, nullptr, NETWORK_NODE_INTERFACE, "vpn.openvpn.server.s",
       "\toption proto \"openvpn_server\"\n\toption metric 0\n\toption server_network \"\"\n"},
      {modem_write_interface, modem, NETWORK_NODE_INTERFACE, "network.interface.m",
       "\toption proto \"mm\"\n\toption modem_name \"\"\n\toption pin \"\"\n"},
      {nemo_write_interface, nullptr, NETWORK_NODE_INTERFACE, "nemo.n",
       "\toption proto \"nemo\"\n\toption home_address \"\"\n\toption coaddress_type \"\"\n\toption tun_local \"\"\n"},
      {l2tp_write_interface, nullptr, NETWORK_NODE_INTERFACE, "vpn.l2tp.lns.k",
       "\toption ifname \"node\"\n\toption config_cookie 0\n\toption debug 0\n\toption metric 0\n"},
      {ppp_dialin_write_interface, nullptr, NETWORK_NODE_INTERFACE, "serial.p.ppp_dialin",
       "\toption proto \"ppp_dialin\"\n\toption baudrate \"\"\n\toption flow \"\"\n\toption idle_timeout 0\n"},
      {iptunnel_write_device, nullptr, NETWORK_NODE_DEVICE, "vpn.iptunnel.t",
       "\toption name \"node\"\n\toption proto \"iptunnel\"\n\toption mode \"\"\n\toption remote \"\"\n"
       "\toption local \"192.0.2.1\"\n\toption keepalive 0\n"},
      {macsec_write_device, nullptr, NETWORK_NODE_DEVICE, "network.macsec.x",
       "\toption local_ip \"192.0.2.1\"\n\toption type \"\"\n\toption name \"node\"\n\toption proto \"macsec\"\n"},
      {l2tpeth_write_device, nullptr, NETWORK_NODE_DEVICE, "vpn.l2tpeth.t.session.s",
       "\toption proto \"l2tpeth\"\n\toption remote \"\"\n\toption local \"192.0.2.1\"\n\toption tunnel_id \"\"\n"},
      {wireguard_write_device, nullptr, NETWORK_NODE_DEVICE, "vpn.wireguard.w",
       "\toption name \"node\"\n\toption proto \"wireguard\"\n\toption ifname \"node\"\n"},
  };
  for (const auto &row : cases) {
    const NetworkNode *node = add(row.parent, row.type, 0, "node", row.config);
    std::string text = written([&](FILE *out) { row.write(out, node); });
    EXPECT_EQ(text.substr(0, text.find("\toption", 1)), "\nconfig interface node\n") << row.config;
    EXPECT_EQ(text.substr(strlen("\nconfig interface node\n"), strlen(row.expected)), row.expected) << row.config;
  }
}

TEST_F(ProtoTest, FilesThatCannotBeOpenedAreLeftOut) {
  for (const char *directory : {"/run/serviceproviders-m.txt", "/run/config_file_server_s", "/run/userpass_c.cfg"})
    ASSERT_EQ(mkdir(directory, 0700), 0);
  set("network.interface.m.modem");
  platform->facts = {{"mm.map.interface_idx.m", "1"}};
  NetworkNode *modem = add(nullptr, NETWORK_NODE_MODEM, 0, "modem");
  const NetworkNode *cellular = add(modem, NETWORK_NODE_INTERFACE, 0, "m", "network.interface.m");
  std::string text = written([&](FILE *out) { modem_write_interface(out, cellular); });
  EXPECT_NE(text.find("\toption sd \"\"\n"), std::string::npos);
  EXPECT_EQ(text.find("service_providers"), std::string::npos);

  set("vpn.openvpn.server.s");
  const NetworkNode *server = add(nullptr, NETWORK_NODE_INTERFACE, 0, "s", "vpn.openvpn.server.s");
  text = written([&](FILE *out) { openvpn_write_interface(out, server); });
  EXPECT_NE(text.find("conf_md5sum"), std::string::npos);
  EXPECT_FALSE(exists("/run/openvpn"));

  set("vpn.openvpn.client.c.username", "name");
  const NetworkNode *client = add(nullptr, NETWORK_NODE_INTERFACE, 0, "c", "vpn.openvpn.client.c");
  written([&](FILE *out) { openvpn_write_interface(out, client); });
  EXPECT_TRUE(exists("/run/config_file_c"));
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
    openvpn_write_interface(out, add(nullptr, NETWORK_NODE_INTERFACE, 0, "c", "client.a/b"));
    openvpn_write_interface(out, add(nullptr, NETWORK_NODE_INTERFACE, 0, "s", "server.a/b"));
    modem_write_interface(out, add(modem, NETWORK_NODE_INTERFACE, 0, "m", "modem.a/b"));
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
  written([](FILE *out) { openvpn_write_interface(out, add(nullptr, NETWORK_NODE_INTERFACE, 0, "s", "server.s")); });
  struct stat status;
  ASSERT_EQ(stat("/run/openvpn", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0755U);
  ASSERT_EQ(stat("/run/openvpn/-s.ovpn", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  openvpn_write_template(nullptr, "s", "../run");
  EXPECT_FALSE(exists("/run/run-s.ovpn"));
}

TEST_F(ProtoTest, ModemUpdatesEndAtAnEmptyName) {
  platform->facts = {
      {"mm.sh.update.modem.!.host", "h"}, {"mm.sh.update.modem..host", ""}, {"mm.sh.update.modem.a.host", "h"}};
  EXPECT_EQ(written(modem_write_update_interfaces),
            "\nconfig interface interface_!\n\toption proto \"mm_update\"\n\toption update_interface 1\n"
            "\toption modem \"!\"\n\toption iface \"\"\n\toption host \"h\"\n");
}

}  // namespace
