// The notation of the IKE daemon, and runs of the mapper in states that the reference platform or a tidy /var/run does
// not produce.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "fake_platform.h"
#include "ipsec/base64.h"
#include "ipsec/notation.h"
#include "ipsec/staging.h"
#include "main/mappers.h"
#include "network/proto/proto.h"

namespace {

using fake::platform;
using fake::set;

using Settings = std::vector<std::pair<std::string, std::string>>;

struct IpsecTest : testing::Test {
  IpsecTest() { fake::reset(); }
};

const ConfigNode *tunnel_with(const Settings &settings) {
  fake::reset();
  set("t.remote.ip_version", "ipv4");
  for (const auto &[path, value] : settings) set(("t." + path).c_str(), value.c_str());
  return config_object(&platform->tree, "t");
}

TEST_F(IpsecTest, IdentitiesCarryTheirKindAndLoseTheirBrackets) {
  const char *type_path = "owner.id.type";
  const struct {
    const char *type;
    const char *value;
    const char *identity;
  } cases[] = {
      {"any", "ignored", "%any"},
      {"raw", "C=CH, CN=x", "C=CH, CN=x"},
      {"raw", "@[xy", "x"},
      {"raw", "@[x", ""},
      {"raw", "", ""},
      {"raw", "x@[y]", "x@[y]"},
      {"fqdn", "@[abc]", "fqdn:abc"},
      {"fqdn", "@[", "fqdn:"},
      {"fqdn", "@abc", "fqdn:@abc"},
      {"ipv4", "192.0.2.1", "ipv4:192.0.2.1"},
      {"ipv6", "", "ipv6:"},
      {"rfc822", "a@b%s", "rfc822:a@b%s"},
      {"keyid", "@[k]", "keyid:k"},
      {"FQDN", "x", ""},
      {"", "x", ""},
  };
  for (const auto &c : cases) {
    fake::reset();
    set(type_path, c.type);
    set((std::string("owner.id.") + c.type + "_id").c_str(), c.value);
    EXPECT_EQ(ipsec_identity(config_object(&platform->tree, "owner")), c.identity) << c.type << ' ' << c.value;
  }
  EXPECT_EQ(ipsec_identity(nullptr), "");
  for (auto [type, fact] : {std::pair("mac_address", "system.mac"), std::pair("serial_number", "system.serial")}) {
    set(type_path, type);
    for (const char *value : {"", "@[00]"}) {
      platform->facts[fact] = value;
      testing::internal::CaptureStderr();
      std::string identity = ipsec_identity(config_object(&platform->tree, "owner"));
      std::string complaint = testing::internal::GetCapturedStderr();
      EXPECT_EQ(identity, *value == '\0' ? "" : "keyid:@[00]");
      EXPECT_EQ(complaint, *value == '\0' ? std::string("tessera: Unable to determine ") + fact + "\n" : "");
    }
  }
}

TEST_F(IpsecTest, HostsAndIdentitiesOfPeers) {
  const std::string long_name(300, 'x');
  const std::string cut_list = "\"" + long_name.substr(0, 249) + ";\"b;c\"";
  const struct {
    Settings settings;
    const char *fallback;
    const char *skip_host;
    std::string hosts;
    const char *identities;  // null: none
  } cases[] = {
      {{}, "", nullptr, "", nullptr},
      {{{"remote.peers.0.hostname", "a"}}, "", "a", "a", nullptr},
      {{{"remote.peers.0.hostname", "a"}}, "me", nullptr, "a", nullptr},
      // An empty host name counts as an item, a missing one does not.
      {{{"remote.peers.0.hostname", ""}, {"remote.peers.1.hostname", "b"}}, "", nullptr, ",b", "\"\";\"b\""},
      {{{"remote.peers.0.hostname", "a"}, {"remote.peers.1.hostname6", "b"}}, "", nullptr, "a", "\"a\";\"\""},
      {{{"remote.peers.0.hostname6", "a"}, {"remote.peers.1.hostname6", "b"}}, "", nullptr, "", nullptr},
      {{{"remote.ip_version", "ipv6"}, {"remote.peers.0.hostname6", "::1"}, {"remote.peers.1.hostname", "b"}},
       "",
       nullptr,
       "::1",
       "\"::1\";\"\""},
      {{{"remote.peers.0.hostname", "a"}, {"remote.peers.1.hostname", "b"}}, "", "a", "b", "\"b\""},
      {{{"remote.peers.0.hostname", ""}, {"remote.peers.1.hostname", "b"}}, "", "", "b", "\"b\""},
      // Fallbacks alone make no list; next to an identity of a peer's own they count.
      {{{"remote.peers.0.hostname", "a"}, {"remote.peers.1.hostname", "b"}}, "me", nullptr, "a,b", nullptr},
      {{{"remote.peers.0.hostname", "a"},
        {"remote.peers.0.peer_id.enable", "true"},
        {"remote.peers.0.peer_id.id.type", "fqdn"},
        {"remote.peers.0.peer_id.id.fqdn_id", "p"},
        {"remote.peers.1.peer_id.enable", "false"}},
       "me",
       nullptr,
       "a",
       "\"fqdn:p\";\"me\""},
      // Without an identity of its own a peer falls back to its host name, then to nothing.
      {{{"remote.peers.0.hostname", "a"}, {"remote.peers.0.peer_id.enable", "true"}}, "me", nullptr, "a", "\"a\""},
      {{{"remote.peers.0.hostname", ""}, {"remote.peers.0.peer_id.enable", "true"}}, "me", nullptr, "", nullptr},
      {{{"remote.peers.0.hostname", long_name}, {"remote.peers.1.hostname", "b;c"}},
       "",
       nullptr,
       long_name + ",b;c",
       cut_list.c_str()},
  };
  for (const auto &c : cases) {
    const ConfigNode *tunnel = tunnel_with(c.settings);
    bool is_ipv6 = strcmp(config_get_string(tunnel, "remote.ip_version"), "ipv6") == 0;
    EXPECT_EQ(remote_host_list(tunnel, c.skip_host, is_ipv6), c.hosts);
    EXPECT_STREQ(find_peer_ids(tunnel, c.fallback, c.skip_host).get(), c.identities);
  }
  using Items = std::vector<std::string>;
  const std::pair<std::string, Items> lists[] = {
      {cut_list, {long_name.substr(0, 249), "b", "c\""}},
      {";; \t\"a b\"x; c ;\"\";\"", {"a b", "c "}},
      {"", {}},
  };
  for (const auto &[list, items] : lists) EXPECT_EQ(split_peer_ids(list.c_str()), items) << list;
  EXPECT_EQ(split_peer_ids(nullptr), Items());
}

TEST_F(IpsecTest, EncodesSecretsOnOneLine) {
  const std::pair<const char *, const char *> vectors[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe%s\"", "//4lcyI="}};
  for (auto [text, encoded] : vectors) {
    EXPECT_STREQ(base64_encode(text, static_cast<int32_t>(strlen(text))).get(), encoded);
    EXPECT_EQ(base64_secret(text).get(), std::string("0s") + encoded);
  }
  EXPECT_EQ(base64_secret(nullptr), nullptr);
  std::string encoded = base64_encode(std::string(30000, '\0').data(), 30000).get();
  EXPECT_EQ(encoded, std::string(40000, 'A'));
}

// Runs of the mapper in a /var/run of their own. A test program run by ctest ends with its test.
struct IpsecRunTest : IpsecTest {
  void SetUp() override {
    ASSERT_EQ(unshare(CLONE_NEWNS | (geteuid() != 0 ? CLONE_NEWUSER : 0)), 0);
    ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    ASSERT_EQ(mount("none", "/run", "tmpfs", 0, "size=1m"), 0);
    platform->facts["network.interface.wan.ipv4.ready"] = "1";
    platform->facts["network.interface.wan.ipv4.address"] = "192.0.2.1";
  }
};

void add_tunnel(const std::string &name, const char *auth_type) {
  std::string path = "vpn.ipsec.tunnel." + name + ".";
  const std::pair<const char *, const char *> settings[] = {{"enable", "true"},
                                                            {"local.type", "interface"},
                                                            {"local.interface", "wan"},
                                                            {"remote.ip_version", "ipv4"},
                                                            {"auth.type", auth_type},
                                                            {"auth.secret", "s"},
                                                            {"auth.private_key", "key"},
                                                            {"auth.public_key", "pub"},
                                                            {"auth.peer_public_key", "peer"},
                                                            {"ike.phase1_lifetime", "9000"},
                                                            {"ike.phase2_lifetime", "9000"}};
  for (auto [key, value] : settings) set((path + key).c_str(), value);
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
  const std::pair<const char *, const char *> renamed[] = {{"up", ".."}, {"sub", "../../evil"}, {"none", ""}};
  std::string complaints;
  for (auto [name, bad] : renamed) {
    const_cast<ConfigNode *>(config_object(&platform->tree, (std::string("vpn.ipsec.tunnel.") + name).c_str()))->key =
        bad;
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
  OwnedText files(
      _process_capture(-1, -1, 1, 0, 0, "sh", "-c", "find /var/run/ -type f | sort | tr '\\n' ' '", nullptr));
  EXPECT_STREQ(files.get(),
               "/var/run/ipsec.conf /var/run/ipsec.d/conf/good.conf "
               "/var/run/ipsec.d/secrets/good.secret /var/run/ipsec.secrets ");
}

TEST_F(IpsecRunTest, NeverWritesThroughLeftovers) {
  ASSERT_EQ(
      system(
          "mkdir -p /run/other /run/ipsec.d.new/private /run/ipsec.d.new/conf /run/ipsec.d /run/ipsec.d.old/x &&"
          "cd /run && echo kept >other/key && cp other/key other/t.pub && cp other/key ipsec.d/old &&"
          "ln -s ../../other/key ipsec.d.new/private/t.rsa && ln -s ../other ipsec.d.new/certs &&"
          "ln other/key ipsec.d.new/conf/t.conf && mkfifo ipsec.d.new/secrets && echo x >ipsec.d.new/conf/gone.conf"),
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
  ASSERT_EQ(system("mkdir -p /run/ipsec.d.new/certs/t.peerpub/x"), 0);
  EXPECT_EQ(run_mapper(),
            "tessera_ipsec: error writing /var/run/ipsec.d.new/certs/t.peerpub of tunnel 't': Is a directory. Skipping "
            "tunnel\n1");
  ASSERT_EQ(system("mkdir -p /run/ipsec.d.new/conf/t.conf/x"), 0);
  EXPECT_EQ(run_mapper(),
            "tessera_ipsec: error opening tunnel conf file /var/run/ipsec.d.new/conf/t.conf: Is a directory\n1");
  ASSERT_EQ(system("mkdir -p /run/ipsec.d.new/secrets/t.secret/x"), 0);
  EXPECT_EQ(
      run_mapper(),
      "tessera_ipsec: error opening tunnel secrets file /var/run/ipsec.d.new/secrets/t.secret: Is a directory\n1");
  EXPECT_EQ(content("/run/ipsec.conf"), "config setup\n\n");
  for (const char *file : {"/run/ipsec.secrets", "/run/ipsec.conf"}) {
    ASSERT_EQ(unlink(file), 0);
    ASSERT_EQ(mkdir(file, 0755), 0);
    EXPECT_EQ(run_mapper(), "1");
    EXPECT_EQ(mode_of("/run/ipsec.d.new"), 0u);
  }
}

TEST_F(IpsecRunTest, OnlyPlainNamesReachTheShell) {
  platform->absent_text = nullptr;
  for (const char *name : {"plain", "$(touch /run/x)"}) {
    set((std::string("vpn.ipsec.tunnel.") + name + ".enable").c_str(), "true");
    fake::add(nullptr, NETWORK_NODE_INTERFACE, NETWORK_INTERFACE_IPSEC, name,
              (std::string("vpn.ipsec.tunnel.") + name).c_str());
  }
  ASSERT_EQ(system("mkdir -p '/run/ipsec.d/conf/$(touch /run' && cd /run/ipsec.d/conf && : >plain.conf && "
                   ": >'$(touch /run/x).conf'"),
            0);
  char *text = nullptr;
  size_t size = 0;
  FILE *out = open_memstream(&text, &size);
  const NetworkNode *node = network_first_type(&platform->model, NETWORK_NODE_INTERFACE);
  for (; node != nullptr; node = network_next_type(&platform->model, node, NETWORK_NODE_INTERFACE))
    uci_write_ipsec_interface(out, node);
  fclose(out);
  OwnedText owner(text);
  std::string section =
      "\toption proto \"ipsec\"\n\toption initiate \"route\"\n\toption policies 1\n\toption num_hosts 0\n"
      "\toption retry_timeout_initial 0\n\toption retry_timeout_limit 0\n\toption retry_timeout_jitter 0\n"
      "\toption retry_timeout_base \"0.000000\"\n\toption try_interval_initial 0\n\toption try_interval_limit 0\n"
      "\toption try_interval_jitter 0\n\toption try_interval_base \"0.000000\"\n";
  EXPECT_EQ(std::string(text, size), "\nconfig interface plain\n" + section +
                                         "\toption conf_md5sum \"d41d8cd98f00b204e9800998ecf8427e\"\n"
                                         "\nconfig interface $(touch /run/x)\n" +
                                         section);
  EXPECT_EQ(mode_of("/run/x"), 0u);
}

}  // namespace
