// Tests the configuration library on files: what it refuses and ignores, and which values it returns.
#include "platform/config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <fstream>

#include "config/report.h"
#include "platform/tools.h"
#include "util/owned.h"

namespace {

struct TempFile {
  std::string path = testing::TempDir() + "config_test.XXXXXX";
  explicit TempFile(const std::string &content) {
    int fd = mkstemp(path.data());
    EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
    close(fd);
  }
  ~TempFile() { unlink(path.c_str()); }
};

// Loads the content as a run does. Stores the log messages without the names of the program and the file.
OwnedTree run(const std::string &content, std::string *logged) {
  TempFile file(content);
  testing::internal::CaptureStderr();
  OwnedTree root(config_load_file(file.path.c_str()));
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

// Loads the content as the checker does. Returns the findings of one grade in the same form.
std::string check(const std::string &content, Grade grade) {
  TempFile file(content);
  std::vector<Finding> findings;
  OwnedTree root(config_check_file(file.path.c_str(), &findings));
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

// Nested objects below an unknown key, so that only the depth matters.
std::string nested(int depth) {
  return repeat("{\"x\":", depth - 1) + "{}" + repeat("}", depth - 1);
}

std::string show(const char *text) {
  return text != nullptr ? text : "(null)";
}

// The columns of a row of a data file, in which "%" and two hexadecimal digits mean a byte.
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
    // A run reports an unknown key first.
    std::string logged;
    EXPECT_EQ(run(each[0], &logged), nullptr) << each[0];
    size_t last = logged.size() < 2 ? 0 : logged.rfind('\n', logged.size() - 2) + 1;
    EXPECT_EQ(logged.substr(last), message) << each[0];
    std::string found = check(each[0], Grade::refused);
    EXPECT_EQ(found.substr(0, found.find('\n') + 1), message) << each[0];
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
    EXPECT_EQ(config_load_file(path.c_str()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tessera: " + path + ": " + message + "\n");
    std::vector<Finding> findings;
    EXPECT_EQ(config_check_file(path.c_str(), &findings), nullptr);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(line_of(findings[0]), " " + message + "\n");
  }
  TempFile large("{}");
  ASSERT_EQ(truncate(large.path.c_str(), (256 << 20) + 1), 0);
  std::vector<Finding> findings;
  EXPECT_EQ(config_check_file(large.path.c_str(), &findings), nullptr);
  EXPECT_EQ(line_of(findings.at(0)), " is larger than 256 MiB\n");
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

// Findings after the load: a check lists them, except about a refused value or an unset reference; a run logs only
// findings about ignored values.
TEST(ConfigLoad, TakesLaterFindings) {
  TempFile file(R"({"network":{"vlan":{"v1":{"id":"5","device":"/network/vlan/no"}},
    "bond":{"b":{"device":["/network/vlan/v1"]}}}})");
  std::vector<Finding> findings;
  OwnedTree checked(config_check_file(file.path.c_str(), &findings));
  ASSERT_EQ(findings.size(), 2U);
  for (const char *path : {"network.vlan.v1.id", "network.vlan.v1.device", "network.bond.b.device.0"})
    config_report(config_lookup(checked.get(), path), Rule::vlan_id, "%s", "odd");
  ASSERT_EQ(findings.size(), 3U);
  EXPECT_EQ(line_of(findings[2]), "2:28: network.bond.b.device.0: odd\n");

  TempFile lines("{\n\"system\":{\"name\":\"a\"}}");
  OwnedTree root(config_load_file(lines.path.c_str()));
  const ConfigNode *name = config_lookup(root.get(), "system.name");
  testing::internal::CaptureStderr();
  config_report(name, Rule::vlan_id, "silent");
  config_report(name, Rule::unknown_word, "left out");
  config_report(root.get(), Rule::unknown_word, "all of it");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "tessera: " + lines.path + ":2:18: system.name: left out\n" +
                                                        "tessera: " + lines.path + ":1:1: all of it\n");
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
  "service": {"dns": {"allowlist": []},
              "multicast": {"m": {"interface": ["", "", "", "", "", "", "", "", "", "/network/interface/lan"]}}},
  "vpn": {
    "ipsec": {"tunnel": {"t": {"auth": {"crls": [{"crl": "a\nb"}]}}},
              "advanced": {"connection_retry_timeout": {"base": 1.5}}},
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

TEST(ConfigTree, StringsAreHeldEmptyOrUndefined) {
  OwnedTree root = load_sample();
  // Path and string; "(null)" when the table of keys has no such string.
  for (const std::string row :
       {"system.name gw", "network.device.eth1.name ", "network.interface.lan.ipv4.dns.1 9.9.9.9",
        "network.bridge.br0.device.0 /network/device/eth1", "network.interface.pass.passthrough.src.0 lan",
        "network.route.static.0.dst 10.0.0.0/8", "service.multicast.m.interface.9 /network/interface/lan",
        "network.wlan.client.type x", "vpn.ipsec.tunnel.t.auth.crls.0.crl a\nb",
        // Known keys that are left out: of any entry, past the end, and of a reference to nothing.
        "network.device.eth0.mode ", "network.device.eth9.mode ", "network.wlan.a.mode ",
        "network.interface.lan.ipv6.dhcp_server.lease_start ", "network.route.static.0.interface ",
        "network.route.static.7.dst ", "network.interface.lan.ipv4.dns.2 ", "network.bridge.br0.device.3 ",
        // Always held.
        "network.wlan.ap.type wlan", "vpn.openvpn.client.c.username ",
        // Not an index, not a member of this variant, not a string, not a member, not a name.
        "network.interface.lan.ipv4.dns.01 (null)", "network.interface.lan.ipv4.dns.x (null)",
        "vpn.openvpn.server.s.username (null)", "vpn.openvpn.server.s.password (null)", "vpn.l2tp.lns.n.lns (null)",
        "vpn.l2tp.lac.a.lac (null)", "system.fips (null)", "system (null)", "network.vlan.v.id (null)",
        "system.nam (null)", "system.name.x (null)", "system. (null)", ".system (null)", " (null)",
        "network.device..type (null)"}) {
    size_t end = row.find(' ');
    EXPECT_EQ(show(config_get_string(root.get(), row.substr(0, end).c_str())), row.substr(end + 1)) << row;
  }
  EXPECT_STREQ(config_get_string(config_lookup(root.get(), "system"), "name"), "gw");
  EXPECT_STREQ(config_get_string(config_lookup(root.get(), "system.name"), ""), "gw");
}

TEST(ConfigTree, NumbersAndDurations) {
  OwnedTree root = load_sample();
  EXPECT_TRUE(config_get_bool(root.get(), "system.fips"));
  EXPECT_FALSE(config_get_bool(root.get(), "system.name"));
  EXPECT_EQ(config_get_int(root.get(), "network.route.static.1.metric"), -5);
  EXPECT_EQ(config_get_int(root.get(), "network.route.static.0.metric"), 0);
  EXPECT_EQ(config_int_get(config_lookup(root.get(), "network.route.static.1.metric")), -5);
  EXPECT_EQ(config_int_get(config_lookup(root.get(), "system.name")), 0);
  const ConfigNode *retry = config_lookup(root.get(), "vpn.ipsec.advanced.connection_retry_timeout");
  EXPECT_EQ(config_get_number(retry, "base"), 1.5);
  EXPECT_EQ(config_get_number(retry, "jitter"), 0);
  EXPECT_EQ(config_get_int(retry, "duration"), 0);
  EXPECT_EQ(config_get_duration(root.get(), "auth.idle_timeout"), 0);
  const struct {
    const char *text;
    int32_t seconds, milliseconds;
  } durations[] = {{"0", 0, 0},
                   {"-7", -7, -7000},
                   {"\"0w\"", 0, 0},
                   {"\"1999ms\"", 1, 1999},
                   {"\"007s\"", 7, 7000},
                   {"\"3m\"", 180, 180000},
                   {"\"12h\"", 43200, 43200000},
                   {"\"2d\"", 172800, 172800000},
                   {"\"3550w\"", 2147040000, INT32_MAX},
                   {"\"2147483647999ms\"", INT32_MAX, INT32_MAX},
                   {"2147483647", INT32_MAX, INT32_MAX},
                   {"-2147483648", INT32_MIN, INT32_MIN}};
  for (const auto &[text, seconds, milliseconds] : durations) {
    OwnedTree tree = load(std::string("{\"auth\":{\"idle_timeout\":") + text + "}}");
    EXPECT_EQ(config_get_duration(tree.get(), "auth.idle_timeout"), seconds) << text;
    EXPECT_EQ(config_get_duration_ms(tree.get(), "auth.idle_timeout"), milliseconds) << text;
  }
}

// The names of all members below a node, in their order, "-" for an element. Checks the path, parent and root of each.
std::string outline(const ConfigNode *root, const ConfigNode *node, std::vector<size_t> *ids) {
  ids->push_back(config_node_id(node));
  std::unique_ptr<char, decltype(&free)> path(config_path(node), free);
  EXPECT_EQ(config_lookup(root, path.get()), node) << path.get();
  EXPECT_EQ(config_node_get_root(node), root);
  std::string names;
  const ConfigNode *member = config_object_first(node);
  const ConfigNode *element = config_array_first(node);
  EXPECT_TRUE(member == nullptr || element == nullptr) << path.get();
  for (; member != nullptr || element != nullptr;
       member = config_object_next(member), element = config_array_next(element)) {
    const ConfigNode *child = member != nullptr ? member : element;
    EXPECT_EQ(config_node_parent(child), node);
    std::string key = config_key(child);
    names += (names.empty() ? "" : " ") + (member != nullptr ? key : key + "-") + outline(root, child, ids);
  }
  return names.empty() ? "" : "{" + names + "}";
}

TEST(ConfigTree, NodesKnowTheirPlace) {
  OwnedTree root = load_sample();
  std::vector<size_t> ids, again;
  EXPECT_EQ(
      outline(root.get(), root.get(), &ids),
      "{system{name fips} network{device{eth0{type} eth1{name}} bridge{br0{device{- - - -}}} "
      "wlan{ap{mode type} client{type}} route{static{-{dst} -{interface metric}}} "
      "interface{lan{ipv4{dns{- -} dhcp_server{lease_time}}} pass{passthrough{src{- -}}}}} "
      "service{dns{allowlist} multicast{m{interface{- - - - - - - - - -}}}} vpn{ipsec{tunnel{t{auth{crls{-{crl}}}}} "
      "advanced{connection_retry_timeout{base}}} openvpn{client{c{username}} server{s}} "
      "l2tp{lac{a{port lns}} lns{n}}}}");
  OwnedTree other = load_sample();
  outline(other.get(), other.get(), &again);
  EXPECT_EQ(ids, again);
  std::sort(ids.begin(), ids.end());
  EXPECT_GT(ids.front(), 0U);
  EXPECT_EQ(std::to_string(ids.front()).size(), std::to_string(ids.back()).size());
  EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
  EXPECT_EQ(config_node_parent(root.get()), nullptr);
  EXPECT_STREQ(config_key(root.get()), "");
  std::unique_ptr<char, decltype(&free)> path(config_path(config_lookup(root.get(), "network.route.static.0")), free);
  EXPECT_STREQ(path.get(), "network.route.static.0");
}

TEST(ConfigTree, OtherKindsReadAsAbsent) {
  OwnedTree root = load_sample();
  auto at = [&root](const char *path) { return config_lookup(root.get(), path); };
  for (const char *path : {"network.vlan", "network.route.static", "system.name"})
    EXPECT_EQ(config_object(root.get(), path), nullptr) << path;
  for (const char *path : {"auth.method", "system"}) EXPECT_EQ(config_array(root.get(), path), nullptr) << path;
  EXPECT_EQ(config_array_get_string(config_array(root.get(), "network.route.static"), 0), nullptr);
  const ConfigNode *none = config_array(root.get(), "service.dns.allowlist");
  EXPECT_TRUE(none != nullptr && config_array_count(none) == 0 && config_array_get_string(none, 0) == nullptr);
  for (const auto &[path, joined] : {std::pair("network.interface.lan.ipv4.dns", "1.1.1.1 9.9.9.9"),
                                     {"network.interface.pass.passthrough.src", "lan pass"},
                                     {"service.dns.allowlist", "(null)"},
                                     {"auth.method", "(null)"},
                                     {"network.route.static", "(null)"}}) {
    char **list = config_get_string_list(root.get(), path);
    char *text = sl_join(list, " ");
    EXPECT_NE(list, nullptr);
    EXPECT_EQ(show(text), joined);
    free(text);
    sl_free(list);
  }
  EXPECT_FALSE(config_has_key(root.get(), "system.name"));  // a name, not a path
  for (const auto &[path, key] : {std::pair("network", "vlan"), {"firewall", "x"}, {"network.route.static", "0"}})
    EXPECT_FALSE(config_object_has_key(root.get(), path, key)) << path;
  EXPECT_STREQ(config_string_get(config_object_get(at("network.device.eth1"), "name")), "");
  EXPECT_EQ(config_string_get(at("system.fips")), nullptr);
}

TEST(ConfigTree, ReferencesLeadToTheirNodes) {
  OwnedTree root = load_sample();
  for (const auto &[path, target] : {std::pair("network.bridge.br0.device.0", "network.device.eth1"),
                                     {"network.bridge.br0.device.1", "network.wlan.ap"},  // further down
                                     {"network.bridge.br0.device.2", "vpn.ipsec.tunnel.t"},
                                     {"network.bridge.br0.device.3", "nowhere"},
                                     {"network.route.static.1.interface", "network.route.static.0"},
                                     {"network.route.static.0.interface", "nowhere"},
                                     {"network.wlan.ap.radio", "nowhere"},
                                     {"system.name", "nowhere"},
                                     {"network.interface.pass.passthrough.src.0", "network.interface.lan"},
                                     {"network.interface.pass.passthrough.src.1", "network.interface.pass"}})
    EXPECT_EQ(config_get_ref(root.get(), path), config_lookup(root.get(), target)) << path;
}

TEST(ConfigTree, NullReadsAsAbsentData) {
  EXPECT_STREQ(config_get_string(nullptr, "name"), "");
  char **list = config_get_string_list(nullptr, "x");
  EXPECT_EQ(sl_len(list), 0);
  sl_free(list);
  for (bool absent :
       {!config_get_bool(nullptr, "x"), !config_has_key(nullptr, "x"), !config_object_has_key(nullptr, "x", "y"),
        config_get_int(nullptr, "x") == 0, config_get_number(nullptr, "x") == 0, config_int_get(nullptr) == 0,
        config_get_duration(nullptr, "x") == 0, config_get_duration_ms(nullptr, "x") == 0,
        config_array_count(nullptr) == 0, config_node_id(nullptr) == 0})
    EXPECT_TRUE(absent);
  for (const void *nothing : std::initializer_list<const void *>{
           config_path(nullptr), config_key(nullptr), config_dump(nullptr), config_string_get(nullptr),
           config_array_get_string(nullptr, 0), config_get_ref(nullptr, "x"), config_object(nullptr, "x"),
           config_object_first(nullptr), config_object_next(nullptr), config_object_get(nullptr, "x"),
           config_array(nullptr, "x"), config_array_first(nullptr), config_array_next(nullptr),
           config_array_get_ref(nullptr, 0), config_array_object(nullptr, 0), config_lookup(nullptr, "x"),
           config_node_get_root(nullptr), config_node_parent(nullptr)})
    EXPECT_EQ(nothing, nullptr);
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
  OwnedTree zero = load(R"({"vpn":{"ipsec":{"advanced":{"connection_try_interval":{"base":-0}}}}})");
  EXPECT_FALSE(std::signbit(config_get_number(zero.get(), "vpn.ipsec.advanced.connection_try_interval.base")));
}

TEST(ConfigLoad, TakesWhatIsAtTheLimits) {
  const std::string long_name(63, 'n');
  std::string logged;
  EXPECT_NE(run(nested(64), &logged), nullptr);
  OwnedTree root = load("{\"serial\":{\"" + long_name +
                        "\":{},\"A_9\":{}},\"auth\":{\"user\":{\"-\":{}}},"
                        "\"network\":{\"vlan\":{\"1\":{\"id\":-2147483648},\"2\":{\"id\":2147483647}}},"
                        "\"system\":{\"name\":\"\\u00fc\\ud83d\\ude00 \xE2\x82\xAC\xF0\x9F\x98\x80\"}}\n\n");
  EXPECT_EQ(config_dump(config_object(root.get(), "serial")), "{\"A_9\":{},\"" + long_name + "\":{}}");
  EXPECT_EQ(config_get_int(root.get(), "network.vlan.1.id"), INT32_MIN);
  EXPECT_EQ(config_get_int(root.get(), "network.vlan.2.id"), INT32_MAX);
  EXPECT_STREQ(config_get_string(root.get(), "system.name"), "\xC3\xBC\xF0\x9F\x98\x80 \xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_STREQ(config_dump(load("{}").get()), "{}");
}

}  // namespace
