// The configuration library on real files: what it refuses, ignores and serves.
#include "platform/config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>

#include "config/report.h"
#include "platform/tools.h"

namespace {

struct FreeTree {
  void operator()(const ConfigNode *root) const { config_free(root); }
};
using OwnedTree = std::unique_ptr<const ConfigNode, FreeTree>;

struct TempFile {
  std::string path = testing::TempDir() + "config_test.XXXXXX";
  explicit TempFile(const std::string &content) {
    int fd = mkstemp(path.data());
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(fd);
  }
  ~TempFile() { unlink(path.c_str()); }
};

// Loads as a run does, and gives what was logged, without the name of the program and of the file.
OwnedTree run(const std::string &content, std::string *logged) {
  TempFile file(content);
  testing::internal::CaptureStderr();
  OwnedTree root(config_load_file(file.path.c_str(), nullptr));
  *logged = testing::internal::GetCapturedStderr();
  for (const std::string prefix = "tessera: " + file.path + ":"; logged->find(prefix) != std::string::npos;) {
    logged->erase(logged->find(prefix), prefix.size());
  }
  return root;
}

std::string line_of(const Finding &finding) {
  std::string place =
      finding.line == 0 ? "" : std::to_string(finding.line) + ":" + std::to_string(finding.column) + ":";
  return place + " " + (finding.path.empty() ? "" : finding.path + ": ") + finding.message + "\n";
}

// Loads as the checker does, and gives the findings of one grade in the same form.
std::string check(const std::string &content, Grade grade) {
  TempFile file(content);
  std::vector<Finding> findings;
  OwnedTree root(config_load_file(file.path.c_str(), &findings));
  std::string lines;
  for (const Finding &finding : findings) lines += finding.grade == grade ? line_of(finding) : "";
  return lines;
}

OwnedTree load(const std::string &content) {
  std::string logged;
  OwnedTree root = run(content, &logged);
  EXPECT_EQ(logged, "");
  EXPECT_NE(root, nullptr);
  return root;
}

std::string repeat(const std::string &text, int count) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

// Objects within each other under a key that nobody knows, so that only the depth counts.
std::string nested(int depth) {
  return repeat("{\"x\":", depth - 1) + "{}" + repeat("}", depth - 1);
}

std::string show(const char *text) {
  return text != nullptr ? text : "(null)";
}

// The columns of a row of a data file, in which "%" and two hexadecimal digits stand for a byte.
using Case = std::vector<std::string>;

std::vector<Case> read_cases(const std::string &name) {
  std::vector<Case> cases;
  std::ifstream rows(CONFIG_DATA + name);
  for (std::string row; std::getline(rows, row);) {
    if (row.starts_with('#')) continue;
    Case columns(1);
    for (size_t at = 0; at < row.size(); at++) {
      if (row[at] == '\t') {
        columns.emplace_back();
        continue;
      }
      columns.back() += row[at] == '%' ? static_cast<char>(std::stoi(row.substr(at + 1, 2), nullptr, 16)) : row[at];
      if (row[at] == '%') at += 2;
    }
    cases.push_back(columns);
  }
  EXPECT_GT(cases.size(), 8U);
  return cases;
}

TEST(ConfigLoad, RefusesWhatItCannotUseWithOneMessage) {
  for (const Case &each : read_cases("refused.cases")) {
    const std::string message = each.at(1) + "\n";
    // Of an unknown key the run tells first.
    std::string logged;
    EXPECT_EQ(run(each[0], &logged), nullptr) << each[0];
    size_t last = logged.size() < 2 ? 0 : logged.rfind('\n', logged.size() - 2) + 1;
    EXPECT_EQ(logged.substr(last), message) << each[0];
    std::string found = check(each[0], Grade::refused);
    EXPECT_EQ(found.substr(0, found.find('\n') + 1), message) << each[0];
  }
}

TEST(ConfigLoad, RefusesDurationsThatAreNone) {
  for (const char *text :
       {"", "s", "90", "-90s", "1.5s", " 90s", "90 s", "90S", "90sec", "90s ", "0x5s", "5m30s", "9\\u0000s"}) {
    EXPECT_EQ(check(std::string("{\"auth\":{\"idle_timeout\":\"") + text + "\"}}", Grade::refused),
              "1:25: auth.idle_timeout: expected a duration: a number of ms, s, m, h, d or w, such as \"90s\"\n")
        << text;
  }
}

TEST(ConfigLoad, RefusesFilesThatItCannotRead) {
  const std::string directory = testing::TempDir();
  const std::pair<std::string, std::string> cases[] = {
      {directory + "no/such/file", "cannot be opened: No such file or directory"},
      {directory, "cannot be read: Is a directory"},
  };
  for (const auto &[path, message] : cases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(config_load_file(path.c_str(), nullptr), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tessera: " + path + ": " + message + "\n");
    std::vector<Finding> findings;
    EXPECT_EQ(config_load_file(path.c_str(), &findings), nullptr);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(line_of(findings[0]), " " + message + "\n");
  }
  TempFile large("{}");
  ASSERT_EQ(truncate(large.path.c_str(), (256 << 20) + 1), 0);
  std::vector<Finding> findings;
  EXPECT_EQ(config_load_file(large.path.c_str(), &findings), nullptr);
  EXPECT_EQ(line_of(findings.at(0)), " is larger than 256 MiB\n");
}

TEST(ConfigLoad, ReadsPipes) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::string document = "{\"system\":{\"name\":\"gw\"}" + repeat(" ", 60000) + "}";
  ASSERT_EQ(write(ends[1], document.data(), document.size()), static_cast<ssize_t>(document.size()));
  close(ends[1]);
  OwnedTree root(config_load_file(("/dev/fd/" + std::to_string(ends[0])).c_str(), nullptr));
  close(ends[0]);
  EXPECT_STREQ(config_get_string(root.get(), "system.name"), "gw");
}

TEST(ConfigLoad, GoesOnWithoutWhatItDoesNotKnow) {
  for (const Case &each : read_cases("ignored.cases")) {
    std::string logged;
    OwnedTree root = run(each.at(0), &logged);
    EXPECT_EQ(logged, each.at(1)) << each[0];
    EXPECT_EQ(show(config_dump(root.get())), each.at(2)) << each[0];
    EXPECT_EQ(check(each[0], Grade::ignored), each[1]);
    EXPECT_EQ(check(each[0], Grade::refused), "");
  }
}

TEST(ConfigLoad, ChecksTheWholeDocumentAtOnce) {
  TempFile file(R"({
  "system": {"name": "a\nb", "nmae": 1, "fips": "no"},
  "network": {
    "device": {"eth0": {"type": "ethernet"}, "e-1": null},
    "vlan": {"v1": {"device": "/network/device/eth0", "id": "5"}, "v1": {"device": "/network/device/e2"}},
    "bond": {"b": {"link_poll_interval": "fast", "device": ["/network/device/eth0"]}}
  },
  "auth": {"idle_timeout": 99999999999}
})");
  std::vector<Finding> findings;
  OwnedTree root(config_load_file(file.path.c_str(), &findings));
  std::string lines;
  for (const Finding &finding : findings) lines += line_of(finding);
  EXPECT_EQ(lines, R"(2:22: system.name: control character in a text of one line
2:30: system.nmae: unknown key, did you mean 'name'?
2:49: system.fips: expected a boolean, found a text
4:46: network.device.e-1: entry names are 1 to 63 of the characters A-Z a-z 0-9 _
4:53: network.device.e-1: null is not allowed, leave the key out instead
5:61: network.vlan.v1.id: expected an integer, found a text
5:67: network.vlan.v1: this name stands twice in its object
6:42: network.bond.b.link_poll_interval: expected a duration: a number of ms, s, m, h, d or w, such as "90s"
8:28: auth.idle_timeout: expected a duration in seconds from -2147483648 to 2147483647
5:84: network.vlan.v1.device: '/network/device/e2' names no device, it counts as unset
)");
  // Later questions go into the same list, but not about what stands for a refused value or an unset reference.
  findings.clear();
  for (const char *path : {"network.vlan.v1.id", "network.bond.b.device.0"})
    config_report(config_lookup(root.get(), path), Grade::questionable, "%s", "odd");
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(line_of(findings[0]), "6:61: network.bond.b.device.0: odd\n");
}

TEST(ConfigLoad, LaterFindingsOfARunAreLogged) {
  TempFile file("{\n\"system\":{\"name\":\"a\"}}");
  OwnedTree root(config_load_file(file.path.c_str(), nullptr));
  const ConfigNode *name = config_lookup(root.get(), "system.name");
  testing::internal::CaptureStderr();
  config_report(name, Grade::questionable, "silent");
  config_report(name, Grade::ignored, "left out");
  config_report(root.get(), Grade::ignored, "all of it");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "tessera: " + file.path + ":2:18: system.name: left out\n" + "tessera: " + file.path + ":1:1: all of it\n");
}

constexpr char sample[] = R"({
  "system": {"name": "gw", "fips": true},
  "network": {
    "device": {"eth0": {"type": "ethernet"}, "eth1": {"name": ""}},
    "bridge": {"br0": {"device": ["/network/device/eth1", "/network/wlan/ap", "/vpn/ipsec/tunnel/t", "/network/device/no"]}},
    "wlan": {"ap": {"mode": "ap"}, "client": {"type": "x"}},
    "route": {"static": [{"dst": "10.0.0.0/8"}, {"interface": "/network/route/static/0", "metric": -5}]},
    "interface": {"lan": {"ipv4": {"dns": ["1.1.1.1", "9.9.9.9"], "dhcp_server": {"lease_time": "12h"}}},
                  "pass": {"passthrough": {"src": ["lan", "pass"]}}}
  },
  "service": {"dns": {"allowlist": []}},
  "vpn": {
    "ipsec": {"tunnel": {"t": {"auth": {"crls": [{"crl": "a\nb"}]}}},
              "advanced": {"connection_retry_timeout": {"duration": -7, "limit": "1999ms", "base": 1.5},
                           "connection_try_interval": {"duration": 2147483647, "limit": "0w", "base": 2}}},
    "openvpn": {"client": {"c": {}}, "server": {"s": {}}},
    "l2tp": {"lac": {"a": {"port": 1701}}, "lns": {"n": {}}}
  }
})";

OwnedTree load_sample() {
  std::string logged;
  OwnedTree root = run(sample, &logged);
  EXPECT_EQ(logged, "5:102: network.bridge.br0.device.3: '/network/device/no' names no device, it counts as unset\n");
  return root;
}

TEST(ConfigTree, TextsAreHeldEmptyOrUndefined) {
  OwnedTree root = load_sample();
  const std::pair<const char *, const char *> cases[] = {
      {"system.name", "gw"},
      {"network.device.eth1.name", ""},
      {"network.device.eth0.mode", ""},  // defined, not written
      {"network.device.eth9.mode", ""},  // defined for every entry
      {"network.interface.lan.ipv6.dhcp_server.lease_start", ""},
      {"network.interface.lan.ipv4.dns.1", "9.9.9.9"},
      {"network.interface.lan.ipv4.dns.2", ""},         // past the end
      {"network.interface.lan.ipv4.dns.01", "(null)"},  // no index
      {"network.interface.lan.ipv4.dns.x", "(null)"},
      {"network.bridge.br0.device.0", "/network/device/eth1"},
      {"network.bridge.br0.device.3", ""},  // named nothing
      {"network.interface.pass.passthrough.src.0", "lan"},
      {"network.route.static.0.dst", "10.0.0.0/8"},
      {"network.route.static.0.interface", ""},
      {"network.route.static.7.dst", ""},
      {"network.wlan.ap.type", "wlan"},
      {"network.wlan.client.type", "x"},
      {"vpn.openvpn.client.c.username", ""},
      {"vpn.openvpn.server.s.username", "(null)"},  // no member of a server
      {"vpn.openvpn.server.s.password", "(null)"},
      {"vpn.l2tp.lns.n.lns", "(null)"},
      {"vpn.l2tp.lac.a.lac", "(null)"},
      {"vpn.ipsec.tunnel.t.auth.crls.0.crl", "a\nb"},
      {"system.fips", "(null)"},  // no text
      {"system", "(null)"},
      {"system.nam", "(null)"},
      {"system.name.x", "(null)"},
      {"system.", "(null)"},
      {".system", "(null)"},
      {"", "(null)"},
      {"network.device..type", "(null)"},  // no entry has that name
      {"network.vlan.v.id", "(null)"},
  };
  for (const auto &[path, text] : cases) EXPECT_EQ(show(config_get_string(root.get(), path)), text) << path;
  EXPECT_STREQ(config_get_string(config_lookup(root.get(), "system"), "name"), "gw");
  EXPECT_STREQ(config_get_string(config_lookup(root.get(), "system.name"), ""), "gw");
}

TEST(ConfigTree, NumbersAndDurations) {
  OwnedTree root = load_sample();
  const ConfigNode *first = config_lookup(root.get(), "vpn.ipsec.advanced.connection_retry_timeout");
  const ConfigNode *second = config_lookup(root.get(), "vpn.ipsec.advanced.connection_try_interval");
  EXPECT_TRUE(config_get_bool(root.get(), "system.fips"));
  EXPECT_FALSE(config_get_bool(root.get(), "system.name"));
  EXPECT_EQ(config_get_int(root.get(), "network.route.static.1.metric"), -5);
  EXPECT_EQ(config_get_int(root.get(), "network.route.static.0.metric"), 0);
  EXPECT_EQ(config_get_int(first, "duration"), 0);
  EXPECT_EQ(config_get_number(first, "base"), 1.5);
  EXPECT_EQ(config_get_number(second, "base"), 2);
  EXPECT_EQ(config_get_number(second, "jitter"), 0);
  EXPECT_EQ(config_get_duration(first, "duration"), -7);
  EXPECT_EQ(config_get_duration_ms(first, "duration"), -7000);
  EXPECT_EQ(config_get_duration(first, "limit"), 1);
  EXPECT_EQ(config_get_duration_ms(first, "limit"), 1999);
  EXPECT_EQ(config_get_duration(second, "duration"), INT32_MAX);
  EXPECT_EQ(config_get_duration_ms(second, "duration"), INT32_MAX);
  EXPECT_EQ(config_get_duration(second, "limit"), 0);
  EXPECT_EQ(config_get_duration(root.get(), "auth.idle_timeout"), 0);
  const std::pair<const char *, int> durations[] = {
      {"\"0ms\"", 0},
      {"\"007s\"", 7},
      {"\"3m\"", 180},
      {"\"12h\"", 43200},
      {"\"2d\"", 172800},
      {"\"3550w\"", 2147040000},
      {"\"2147483647s\"", INT32_MAX},
      {"\"2147483647999ms\"", INT32_MAX},
      {"-2147483648", INT32_MIN},
  };
  for (const auto &[text, seconds] : durations) {
    OwnedTree tree = load(std::string("{\"auth\":{\"idle_timeout\":") + text + "}}");
    EXPECT_EQ(config_get_duration(tree.get(), "auth.idle_timeout"), seconds) << text;
  }
  OwnedTree lowest = load("{\"auth\":{\"idle_timeout\":-2147483648}}");
  EXPECT_EQ(config_get_duration_ms(lowest.get(), "auth.idle_timeout"), INT32_MIN);
}

std::string walk(const ConfigNode *object) {
  std::string names;
  for (const ConfigNode *member = config_object_first(object); member != nullptr; member = config_object_next(member)) {
    names += config_key(member) + std::string(" ");
  }
  return names;
}

TEST(ConfigTree, MembersAndElementsComeInDocumentOrder) {
  OwnedTree root = load_sample();
  EXPECT_EQ(walk(root.get()), "system network service vpn ");
  EXPECT_EQ(walk(config_object(root.get(), "network")), "device bridge wlan route interface ");
  EXPECT_EQ(walk(config_object(root.get(), "network.device")), "eth0 eth1 ");
  EXPECT_EQ(walk(config_object(root.get(), "network.wlan.ap")), "mode type ");
  EXPECT_EQ(walk(config_object(root.get(), "vpn.openvpn.client.c")), "username ");
  EXPECT_EQ(walk(config_object(root.get(), "vpn.l2tp.lac.a")), "port lns ");
  EXPECT_EQ(walk(config_object(root.get(), "vpn.l2tp.lns.n")), "");
  EXPECT_EQ(config_object(root.get(), "network.vlan"), nullptr);
  EXPECT_EQ(config_object(root.get(), "network.route.static"), nullptr);
  EXPECT_EQ(config_object(root.get(), "system.name"), nullptr);

  const ConfigNode *routes = config_array(root.get(), "network.route.static");
  ASSERT_EQ(config_array_count(routes), 2U);
  EXPECT_EQ(config_array_first(routes), config_array_object(routes, 0));
  EXPECT_EQ(config_array_next(config_array_first(routes)), config_array_object(routes, 1));
  EXPECT_EQ(config_array_next(config_array_object(routes, 1)), nullptr);
  EXPECT_EQ(config_array_object(routes, 2), nullptr);
  EXPECT_EQ(config_array_get_string(routes, 0), nullptr);
  const ConfigNode *none = config_array(root.get(), "service.dns.allowlist");
  EXPECT_NE(none, nullptr);
  EXPECT_EQ(config_array_count(none), 0U);
  EXPECT_EQ(config_array_first(none), nullptr);
  EXPECT_EQ(config_array_get_string(none, 0), nullptr);
  EXPECT_EQ(config_array(root.get(), "auth.method"), nullptr);
  EXPECT_EQ(config_array(root.get(), "system"), nullptr);

  for (const auto &[path, joined] : {std::pair("network.interface.lan.ipv4.dns", "1.1.1.1 9.9.9.9"),
                                     {"network.interface.pass.passthrough.src", "lan pass"},
                                     {"service.dns.allowlist", ""},
                                     {"auth.method", ""},
                                     {"network.route.static", ""}}) {
    char **list = config_get_string_list(root.get(), path);
    char *text = sl_join(list, " ");
    EXPECT_NE(list, nullptr);
    EXPECT_STREQ(text != nullptr ? text : "", joined);
    free(text);
    sl_free(list);
  }
}

TEST(ConfigTree, PresenceIsNotValue) {
  OwnedTree root = load_sample();
  const ConfigNode *eth1 = config_lookup(root.get(), "network.device.eth1");
  EXPECT_TRUE(config_has_key(eth1, "name"));
  EXPECT_FALSE(config_has_key(eth1, "type"));
  EXPECT_TRUE(config_has_key(config_lookup(root.get(), "vpn.openvpn.client.c"), "username"));
  EXPECT_FALSE(config_has_key(config_lookup(root.get(), "vpn.openvpn.client.c"), "password"));
  EXPECT_FALSE(config_has_key(config_lookup(root.get(), "vpn.openvpn.server.s"), "username"));
  EXPECT_FALSE(config_has_key(root.get(), "system.name"));  // a name, not a path
  EXPECT_TRUE(config_object_has_key(root.get(), "network", "route"));
  EXPECT_FALSE(config_object_has_key(root.get(), "network", "vlan"));
  EXPECT_FALSE(config_object_has_key(root.get(), "firewall", "web_filter"));
  EXPECT_FALSE(config_object_has_key(root.get(), "network.route.static", "0"));
  EXPECT_STREQ(config_string_get(config_object_get(eth1, "name")), "");
  EXPECT_EQ(config_object_get(eth1, "mode"), nullptr);
  EXPECT_EQ(config_string_get(config_lookup(root.get(), "system.fips")), nullptr);
  EXPECT_EQ(config_string_get(root.get()), nullptr);
  EXPECT_EQ(config_int_get(config_lookup(root.get(), "network.route.static.1.metric")), -5);
  EXPECT_EQ(config_int_get(config_lookup(root.get(), "system.name")), 0);
}

TEST(ConfigTree, ReferencesLeadToTheirNodes) {
  OwnedTree root = load_sample();
  auto at = [&root](const char *path) { return config_lookup(root.get(), path); };
  const ConfigNode *ports = config_array(root.get(), "network.bridge.br0.device");
  EXPECT_EQ(config_array_get_ref(ports, 0), at("network.device.eth1"));
  EXPECT_EQ(config_array_get_ref(ports, 1), at("network.wlan.ap"));     // further down in the document
  EXPECT_EQ(config_array_get_ref(ports, 2), at("vpn.ipsec.tunnel.t"));  // a device made from a tunnel
  EXPECT_EQ(config_array_get_ref(ports, 3), nullptr);
  EXPECT_STREQ(config_array_get_string(ports, 3), "");
  EXPECT_EQ(config_array_get_string(ports, 4), nullptr);
  EXPECT_EQ(config_get_ref(root.get(), "network.bridge.br0.device.1"), at("network.wlan.ap"));
  EXPECT_EQ(config_get_ref(root.get(), "network.route.static.1.interface"), at("network.route.static.0"));
  EXPECT_STREQ(config_string_get(at("network.route.static.1.interface")), "/network/route/static/0");
  EXPECT_EQ(config_get_ref(root.get(), "network.route.static.0.interface"), nullptr);
  EXPECT_EQ(config_get_ref(root.get(), "network.wlan.ap.radio"), nullptr);
  EXPECT_EQ(config_get_ref(root.get(), "system.name"), nullptr);
  const ConfigNode *sources = config_array(root.get(), "network.interface.pass.passthrough.src");
  EXPECT_EQ(config_array_get_ref(sources, 0), at("network.interface.lan"));
  EXPECT_EQ(config_array_get_ref(sources, 1), at("network.interface.pass"));

  // Every kind of entry that is a device, and one that is not.
  OwnedTree devices =
      load(R"({"network":{"device":{"x":{}},"wlan":{"x":{}},"vlan":{"x":{}},"bridge":{"x":{}},"bond":{"x":{}},
    "macsec":{"x":{}},"vrrp":{"x":{}},"wisun":{"x":{}},"interface":{"i":{}}},"vpn":{"iptunnel":{"x":{}},
    "l2tpeth":{"t":{"session":{"x":{}}}},"wireguard":{"x":{}},"openvpn":{"client":{"x":{}},"server":{"x":{}}},
    "ipsec":{"tunnel":{"x":{}}}}})");
  for (const char *path :
       {"/network/device/x", "/network/wlan/x", "/network/vlan/x", "/network/bridge/x", "/network/bond/x",
        "/network/macsec/x", "/network/vrrp/x", "/network/wisun/x", "/vpn/iptunnel/x", "/vpn/l2tpeth/t/session/x",
        "/vpn/wireguard/x", "/vpn/openvpn/client/x", "/vpn/openvpn/server/x", "/vpn/ipsec/tunnel/x"}) {
    std::string document = config_dump(devices.get());
    document.replace(document.find("\"i\":{"), 5, std::string("\"i\":{\"device\":\"") + path + "\"");
    EXPECT_EQ(check(document, Grade::ignored), "") << path;
  }
  for (const char *path :
       {"/vpn/l2tpeth/t", "/network/interface/i", "/network/device", "/network/device/x/", "//network", "/"}) {
    std::string document = config_dump(devices.get());
    document.replace(document.find("\"i\":{"), 5, std::string("\"i\":{\"device\":\"") + path + "\"");
    EXPECT_NE(check(document, Grade::ignored), "") << path;
  }
}

TEST(ConfigTree, NodesKnowTheirPlace) {
  OwnedTree root = load_sample();
  std::vector<const ConfigNode *> open = {root.get()};
  std::vector<size_t> ids;
  while (!open.empty()) {
    const ConfigNode *node = open.back();
    open.pop_back();
    ids.push_back(config_node_id(node));
    char *path = config_path(node);
    EXPECT_EQ(config_lookup(root.get(), path), node) << path;
    free(path);
    EXPECT_EQ(config_node_get_root(node), root.get());
    for (const ConfigNode *child = config_object_first(node); child != nullptr; child = config_object_next(child)) {
      EXPECT_EQ(config_node_parent(child), node);
      open.push_back(child);
    }
    for (const ConfigNode *child = config_array_first(node); child != nullptr; child = config_array_next(child)) {
      EXPECT_EQ(config_node_parent(child), node);
      EXPECT_STREQ(config_key(child), "");
      open.push_back(child);
    }
  }
  EXPECT_EQ(ids.size(), 76U);
  std::sort(ids.begin(), ids.end());
  EXPECT_GT(ids.front(), 0U);
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
  OwnedTree again = load_sample();
  for (const char *path : {"system", "network.route.static.1", "vpn.ipsec.tunnel.t.auth.crls.0"}) {
    EXPECT_EQ(config_node_id(config_lookup(root.get(), path)), config_node_id(config_lookup(again.get(), path)));
  }

  EXPECT_EQ(config_node_parent(root.get()), nullptr);
  EXPECT_STREQ(config_key(root.get()), "");
  const std::pair<const char *, const char *> paths[] = {
      {"", ""}, {"network.route.static.0", "network.route.static.0"}, {"vpn.ipsec.tunnel.t", "vpn.ipsec.tunnel.t"}};
  for (const auto &[path, expected] : paths) {
    char *text = config_path(config_lookup(root.get(), path));
    EXPECT_STREQ(text, expected);
    free(text);
  }
}

TEST(ConfigTree, NullReadsAsAbsentData) {
  EXPECT_STREQ(config_get_string(nullptr, "name"), "");
  EXPECT_FALSE(config_get_bool(nullptr, "x"));
  EXPECT_EQ(config_get_int(nullptr, "x"), 0);
  EXPECT_EQ(config_get_number(nullptr, "x"), 0);
  EXPECT_EQ(config_get_duration(nullptr, "x"), 0);
  EXPECT_EQ(config_get_duration_ms(nullptr, "x"), 0);
  char **list = config_get_string_list(nullptr, "x");
  EXPECT_EQ(sl_len(list), 0);
  sl_free(list);
  EXPECT_FALSE(config_has_key(nullptr, "x"));
  EXPECT_FALSE(config_object_has_key(nullptr, "x", "y"));
  EXPECT_EQ(config_int_get(nullptr), 0);
  EXPECT_EQ(config_array_count(nullptr), 0U);
  EXPECT_EQ(config_node_id(nullptr), 0U);
  EXPECT_EQ(config_path(nullptr), nullptr);
  EXPECT_EQ(config_key(nullptr), nullptr);
  EXPECT_EQ(config_dump(nullptr), nullptr);
  EXPECT_EQ(config_string_get(nullptr), nullptr);
  EXPECT_EQ(config_array_get_string(nullptr, 0), nullptr);
  for (const ConfigNode *node :
       {config_get_ref(nullptr, "x"), config_object(nullptr, "x"), config_object_first(nullptr),
        config_object_next(nullptr), config_object_get(nullptr, "x"), config_array(nullptr, "x"),
        config_array_first(nullptr), config_array_next(nullptr), config_array_get_ref(nullptr, 0),
        config_array_object(nullptr, 0), config_lookup(nullptr, "x"), config_node_get_root(nullptr),
        config_node_parent(nullptr)}) {
    EXPECT_EQ(node, nullptr);
  }
  config_free(nullptr);
}

TEST(ConfigDump, IsTheSameForEqualSettings) {
  OwnedTree root = load(R"( { "vpn" : { "openvpn": {"client": {"c": {"port": 1194, "enable": true}}},
    "ipsec": {"advanced": {"connection_retry_timeout": {"limit": "1m", "duration": 90, "base": 1.50, "jitter": -3},
                           "connection_try_interval": {"base": -0.0}}}},
    "auth": {"method": ["a\u00e9\"\\\/", "b"], "user": {"b-1": {}, "B": {"2fa": {}}, "a": {}}} } )");
  EXPECT_STREQ(
      config_dump(root.get()),
      "{\"auth\":{\"method\":[\"a\xC3\xA9\\\"\\\\/\",\"b\"],\"user\":{\"B\":{\"2fa\":{}},\"a\":{},\"b-1\":{}}},"
      "\"vpn\":{\"ipsec\":{\"advanced\":{\"connection_retry_timeout\":{\"base\":1.5,\"duration\":90000,\"jitter\":-3,"
      "\"limit\":60000},\"connection_try_interval\":{\"base\":0}}},\"openvpn\":{\"client\":{\"c\":{\"enable\":true,"
      "\"port\":1194,\"username\":\"\"}}}}}");
  OwnedTree other = load(R"({"vpn":{"openvpn":{"client":{"c":{"username":"","enable":true,"port":1194}}}}})");
  const char *path = "vpn.openvpn.client.c";
  const char *dump = config_dump(config_lookup(root.get(), path));
  EXPECT_STREQ(dump, config_dump(config_lookup(other.get(), path)));
  EXPECT_EQ(dump, config_dump(config_lookup(root.get(), path)));
  OwnedTree lines = load(R"({"serial":{"s":{"ppp_dialin":{"connect":{"script":"a\r\n\tb"}}}}})");
  EXPECT_STREQ(config_dump(config_lookup(lines.get(), "serial.s.ppp_dialin.connect.script")), R"("a\r\n\tb")");
  const std::pair<const char *, const char *> numbers[] = {
      {"2", "2"},
      {"2.0", "2"},
      {"0.1", "0.1"},
      {"1e300", "1e+300"},
      {"0.30000000000000004", "0.30000000000000004"},
      {"-1.25e-7", "-1.25e-07"},
  };
  for (const auto &[written, dumped] : numbers) {
    OwnedTree tree = load(std::string("{\"vpn\":{\"ipsec\":{\"advanced\":{\"connection_try_interval\":{\"base\":") +
                          written + "}}}}}");
    EXPECT_STREQ(config_dump(config_lookup(tree.get(), "vpn.ipsec.advanced.connection_try_interval.base")), dumped);
  }
}

TEST(ConfigLoad, TakesWhatIsAtTheLimits) {
  const std::string long_name(63, 'n');
  std::string logged;
  EXPECT_NE(run(nested(64), &logged), nullptr);
  OwnedTree root = load("{\"serial\":{\"" + long_name +
                        "\":{},\"A_9\":{}},\"auth\":{\"user\":{\"-\":{}}},"
                        "\"network\":{\"vlan\":{\"1\":{\"id\":-2147483648},\"2\":{\"id\":2147483647}}},"
                        "\"system\":{\"name\":\"\\u00fc\\ud83d\\ude00 \xE2\x82\xAC\xF0\x9F\x98\x80\"}}\n\n");
  EXPECT_EQ(walk(config_object(root.get(), "serial")), long_name + " A_9 ");
  EXPECT_EQ(config_get_int(root.get(), "network.vlan.1.id"), INT32_MIN);
  EXPECT_EQ(config_get_int(root.get(), "network.vlan.2.id"), INT32_MAX);
  EXPECT_STREQ(config_get_string(root.get(), "system.name"), "\xC3\xBC\xF0\x9F\x98\x80 \xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_STREQ(config_dump(load("{}").get()), "{}");
}

TEST(ConfigLoad, ReadsEscapesWhereverTheyStand) {
  const std::pair<const char *, const char *> pieces[] = {
      {"", ""},
      {R"(\n)", "\n"},
      {R"(\u00fc)", "\xC3\xBC"},
      {R"(\u20ac\\)", "\xE2\x82\xAC\\"},
      {R"(\")", "\""},
      {"\xC3\xBC", "\xC3\xBC"},
      {R"(\ud83d\ude00)", "\xF0\x9F\x98\x80"},
  };
  for (size_t before = 0; before < 40; before++) {
    for (const auto &[first, first_read] : pieces) {
      for (const auto &[second, second_read] : pieces) {
        std::string plain(before, '=');
        std::string script = plain + first + plain + plain + second + "-" + plain;
        OwnedTree root = load("{\"serial\":{\"s\":{\"ppp_dialin\":{\"connect\":{\"script\":\"" + script + "\"}}}}}");
        EXPECT_EQ(show(config_get_string(root.get(), "serial.s.ppp_dialin.connect.script")),
                  plain + first_read + plain + plain + second_read + "-" + plain);
      }
    }
  }
}

// Large enough for a walk per lookup to run into the time limit of the test.
TEST(ConfigTree, FindsItsWayInALargeDocument) {
  constexpr int entries = 100000;
  std::string document = "{\"network\":{\"interface\":{";
  for (int i = 0; i < entries; i++) {
    document +=
        (i > 0 ? ",\"i" : "\"i") + std::to_string(i) + "\":{\"device\":\"/network/vrrp/d" + std::to_string(i) + "\"}";
  }
  document += "},\"vrrp\":{";
  for (int i = 0; i < entries; i++) document += (i > 0 ? ",\"d" : "\"d") + std::to_string(i) + "\":{}";
  document += "},\"bridge\":{\"b\":{\"device\":[";
  for (int i = 0; i < entries; i++)
    document += (i > 0 ? ",\"/network/vrrp/d" : "\"/network/vrrp/d") + std::to_string(i) + "\"";
  document += "]}}}}";
  OwnedTree root = load(document);
  const ConfigNode *interfaces = config_object(root.get(), "network.interface");
  const ConfigNode *ports = config_array(root.get(), "network.bridge.b.device");
  ASSERT_EQ(config_array_count(ports), static_cast<size_t>(entries));
  for (int i = 0; i < entries; i++) {
    const ConfigNode *device =
        config_get_ref(config_object_get(interfaces, ("i" + std::to_string(i)).c_str()), "device");
    ASSERT_STREQ(config_key(device), ("d" + std::to_string(i)).c_str());
    ASSERT_EQ(config_array_get_ref(ports, static_cast<size_t>(i)), device);
  }
  EXPECT_EQ(check(document + " x", Grade::refused),
            "1:" + std::to_string(document.size() + 2) + ": syntax error: something follows the end of the document\n");
}

}  // namespace
