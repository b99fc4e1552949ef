// The notation of the IKE daemon, and runs of the mapper in states that the reference platform or a tidy /var/run does
// not produce.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <tuple>

#include "fake_platform.h"
#include "ipsec/base64.h"
#include "ipsec/notation.h"
#include "ipsec/staging.h"
#include "main/mappers.h"
#include "network/proto/proto.h"
#include "unit/private_mounts.h"

namespace {

using fake::platform;
using fake::set;

struct IpsecTest : testing::Test {
  IpsecTest() { fake::reset(); }
};

// Sets each "PATH=VALUE" below the prefix.
void set_all(const std::string &prefix, const std::string &settings) {
  OwnedList list(sl_split(settings.c_str(), ' '));
  for (char **setting = list.get(); *setting != nullptr; setting++)
    if (char *value = strchr(*setting, '=')) set((prefix + std::string(*setting, value)).c_str(), value + 1);
}

TEST_F(IpsecTest, HostsAndIdentitiesOfPeers) {
  const std::string name(300, 'x');
  const std::string cut_list = "\"" + name.substr(0, 249) + ";\"b;c\"";
  // Settings below remote.peers, the fallback, the host to skip; hosts and identities expected.
  const std::tuple<std::string, const char *, const char *, std::string, std::string> cases[] = {
      {"", "", nullptr, "", "(null)"},
      {"0.hostname=a", "", "a", "a", "(null)"},
      {"0.hostname=a", "me", nullptr, "a", "(null)"},
      // An empty host name counts as an item, a missing one does not.
      {"0.hostname= 1.hostname=b", "", nullptr, ",b", "\"\";\"b\""},
      {"0.hostname=a 1.hostname6=b", "", nullptr, "a", "\"a\";\"\""},
      {"0.hostname6=a 1.hostname6=b", "", nullptr, "", "(null)"},
      {"0.hostname=a 1.hostname=b", "", "a", "b", "\"b\""},
      {"0.hostname= 1.hostname=b", "", "", "b", "\"b\""},
      // Fallbacks alone make no list; next to an identity of a peer's own they count.
      {"0.hostname=a 1.hostname=b", "me", nullptr, "a,b", "(null)"},
      {"0.hostname=a 0.peer_id.enable=true 0.peer_id.id.type=fqdn 0.peer_id.id.fqdn_id=p 1.peer_id.enable=false", "me",
       nullptr, "a", "\"fqdn:p\";\"me\""},
      // Without an identity of its own a peer falls back to its host name, then to nothing.
      {"0.hostname=a 0.peer_id.enable=true", "me", nullptr, "a", "\"a\""},
      {"0.hostname= 0.peer_id.enable=true", "me", nullptr, "", "(null)"},
      {"0.hostname=" + name + " 1.hostname=b;c", "", nullptr, name + ",b;c", cut_list},
  };
  for (const auto &[settings, fallback, skipped, hosts, identities] : cases) {
    fake::reset();
    set("t.remote.ip_version", "ipv4");
    set_all("t.remote.peers.", settings);
    const ConfigNode *tunnel = config_object(&platform->tree, "t");
    EXPECT_EQ(remote_host_list(tunnel, skipped, false), hosts);
    OwnedText found = find_peer_ids(tunnel, fallback, skipped);
    EXPECT_EQ(found != nullptr ? found.get() : "(null)", identities) << settings;
  }
  const std::pair<std::string, std::vector<std::string>> lists[] = {
      {cut_list, {name.substr(0, 249), "b", "c\""}}, {";; \t\"a b\"x; c ;\"\";\"", {"a b", "c "}}, {"", {}}};
  for (const auto &[list, items] : lists) EXPECT_EQ(split_peer_ids(list.c_str()), items) << list;
  EXPECT_TRUE(split_peer_ids(nullptr).empty());
}

TEST_F(IpsecTest, EncodesSecretsOnOneLine) {
  const char *const vectors[][2] = {
      {"", "0s"}, {"f", "0sZg=="}, {"fo", "0sZm8="}, {"foobar", "0sZm9vYmFy"}, {"\xff\xfe%s\"", "0s//4lcyI="}};
  for (auto [text, encoded] : vectors) EXPECT_STREQ(base64_secret(text).get(), encoded);
  EXPECT_EQ(base64_secret(nullptr), nullptr);
  EXPECT_EQ(base64_encode(std::string(30000, '\0').data(), 30000).get(), std::string(40000, 'A'));
}

// Runs of the mapper.
struct IpsecRunTest : IpsecTest {
  void SetUp() override {
    ASSERT_EQ(system("rm -rf /run/ipsec* /run/other /run/x"), 0);
    platform->facts = {{"network.interface.wan.ipv4.ready", "1"}, {"network.interface.wan.ipv4.address", "192.0.2.1"}};
  }
};

void add_tunnel(const std::string &name, const char *auth_type) {
  set_all("vpn.ipsec.tunnel." + name + ".",
          std::string("enable=true local.type=interface local.interface=wan remote.ip_version=ipv4 auth.secret=s "
                      "auth.private_key=key auth.public_key=pub auth.peer_public_key=peer ike.phase1_lifetime=9000 "
                      "ike.phase2_lifetime=9000 auth.type=") +
              auth_type);
}

// Runs the mapper and gives its messages and exit status.
std::string run_mapper() {
  char *arguments[] = {nullptr};
  testing::internal::CaptureStderr();
  int32_t status = map_ipsec(&platform->tree, 0, arguments);
  return testing::internal::GetCapturedStderr() + std::to_string(status);
}

std::string content(const char *path) {
  OwnedText text(file_read(path));
  return or_empty(text.get());
}

unsigned mode_of(const std::string &path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

TEST_F(IpsecRunTest, NamesThatLeaveTheTreeAreSkipped) {
  // The scripted tree splits paths at dots, so such a name is set directly.
  for (const char *name : {"good", "up", "sub", "none"}) add_tunnel(name, "secret");
  std::string complaints;
  for (auto [name, bad] : {std::pair("up", ".."), {"sub", "../../evil"}, {"none", ""}}) {
    const ConfigNode *tunnel = config_object(&platform->tree, (std::string("vpn.ipsec.tunnel.") + name).c_str());
    const_cast<ConfigNode *>(tunnel)->key = bad;
    complaints +=
        std::string("tessera_ipsec: tunnel '") + bad + "' has a name that cannot name files. Skipping tunnel\n";
  }
  platform->model_loads = false;
  platform->store_opens = false;
  EXPECT_EQ(run_mapper(), "tessera_ipsec: failed to initialize runt interface\n" + complaints + "0");
  EXPECT_EQ(content("/var/run/ipsec.conf"), "config setup\n\ninclude /var/run/ipsec.d/conf/good.conf\n");
  EXPECT_EQ(content("/var/run/ipsec.d/secrets/good.secret"), "192.0.2.1  : PSK 0scw==\n");
  // Without a model the tunnel has no device.
  EXPECT_NE(content("/var/run/ipsec.d/conf/good.conf").find("/bin/ipsec-updown.sh -x  -n 1\""), std::string::npos);
  EXPECT_EQ(take(_process_capture(-1, -1, 1, 0, 0, "sh", "-c", "find /run/ -type f | sort | tr '\\n' ' '", nullptr)),
            "/run/ipsec.conf /run/ipsec.d/conf/good.conf /run/ipsec.d/secrets/good.secret /run/ipsec.secrets ");
}

TEST_F(IpsecRunTest, NeverWritesThroughLeftovers) {
  ASSERT_EQ(system("cd /run && mkdir -p other ipsec.d.new/private ipsec.d.new/conf ipsec.d ipsec.d.old/x && mkfifo "
                   "ipsec.d.new/secrets &&"
                   "echo kept >other/key && cp other/key other/t.pub && cp other/key ipsec.d/old && ln other/key "
                   "ipsec.d.new/conf/t.conf &&"
                   "ln -s ../../other/key ipsec.d.new/private/t.rsa && ln -s ../other ipsec.d.new/certs && echo x "
                   ">ipsec.d.new/conf/gone.conf"),
            0);
  add_tunnel("t", "rsasig");
  mode_t umask_before = umask(077);
  EXPECT_EQ(run_mapper(), "0");
  umask(umask_before);
  EXPECT_EQ(content("/run/other/key") + content("/run/other/t.pub"), "kept\nkept\n");
  for (const char *file : {"private/t.rsa", "certs/t.pub", "certs/t.peerpub", "secrets/t.secret", "conf/t.conf"})
    EXPECT_EQ(mode_of(std::string("/run/ipsec.d/") + file), S_IFREG | 0600) << file;
  for (const char *directory : {"certs", "secrets", "crls"})
    EXPECT_EQ(mode_of(std::string("/run/ipsec.d/") + directory), S_IFDIR | 0755) << directory;
  EXPECT_EQ(content("/run/ipsec.d/private/t.rsa"), "key");
  // The leftover tree itself is built upon; the tree in use and what was replaced before are gone.
  EXPECT_EQ(content("/run/ipsec.d/conf/gone.conf"), "x\n");
  for (const char *path : {"/run/ipsec.d/old", "/run/ipsec.d.new", "/run/ipsec.d.old"}) EXPECT_EQ(mode_of(path), 0u);

  // A link in the place of the staging tree makes way, too.
  ASSERT_EQ(symlink("/run/other", "/run/ipsec.d.new"), 0);
  EXPECT_EQ(run_mapper(), "0");
  EXPECT_EQ(mode_of("/run/other/private"), 0u);
  EXPECT_EQ(content("/run/ipsec.d/private/t.rsa"), "key");
}

TEST_F(IpsecRunTest, TroubleWithFilesSkipsTheTunnelOrFailsTheRun) {
  add_tunnel("t", "rsasig");
  const char *const troubles[][2] = {
      {"certs/t.peerpub",
       "error writing /var/run/ipsec.d.new/certs/t.peerpub of tunnel 't': Is a directory. Skipping tunnel"},
      {"conf/t.conf", "error opening tunnel conf file /var/run/ipsec.d.new/conf/t.conf: Is a directory"},
      {"secrets/t.secret", "error opening tunnel secrets file /var/run/ipsec.d.new/secrets/t.secret: Is a directory"}};
  for (auto [place, message] : troubles) {
    ASSERT_EQ(system((std::string("mkdir -p /run/ipsec.d.new/") + place + "/x").c_str()), 0);
    EXPECT_EQ(run_mapper(), std::string("tessera_ipsec: ") + message + "\n1");
  }
  EXPECT_EQ(content("/run/ipsec.conf"), "config setup\n\n");
  for (const char *file : {"/run/ipsec.secrets", "/run/ipsec.conf"}) {
    ASSERT_TRUE(unlink(file) == 0 && mkdir(file, 0755) == 0);
    EXPECT_EQ(run_mapper(), "1");
    EXPECT_EQ(mode_of("/run/ipsec.d.new"), 0u);
  }
}

TEST_F(IpsecRunTest, OnlyPlainNamesReachTheShell) {
  platform->absent_text = nullptr;
  for (const std::string name : {"plain", "$(touch /run/x)"}) {
    set(("vpn.ipsec.tunnel." + name + ".enable").c_str(), "true");
    fake::add(nullptr, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_IPSEC, name.c_str(),
              ("vpn.ipsec.tunnel." + name).c_str());
  }
  ASSERT_EQ(system("mkdir -p '/run/ipsec.d/conf/$(touch /run' && cd /run/ipsec.d/conf && touch plain.conf '$(touch "
                   "/run/x).conf'"),
            0);
  std::string text = fake::written([](FILE *out) {
    const NetworkNode *node = network_first_type(&platform->model, NETWORK_NODE_INTERFACE);
    for (; node != nullptr; node = network_next_type(&platform->model, node, NETWORK_NODE_INTERFACE))
      uci_write_ipsec_interface(out, node);
  });
  EXPECT_NE(
      text.find("\toption conf_md5sum \"d41d8cd98f00b204e9800998ecf8427e\"\n\nconfig interface $(touch /run/x)\n"),
      std::string::npos);
  EXPECT_EQ(text.find("conf_md5sum"), text.rfind("conf_md5sum"));
  EXPECT_EQ(mode_of("/run/x"), 0u);
}

}  // namespace
