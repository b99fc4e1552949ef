// Tests edits of a document: which bytes they change, and which mistakes they refuse.
#include "tools/config/edit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "platform/tools.h"
#include "unit/private_mounts.h"

namespace {

// The content after an edit such as "set PATH VALUE", or the problem.
std::string edited(const std::string &content, const std::string &words, bool json = true) {
  Edit edit{.command = words.substr(0, words.find(' ')), .path = {}, .value = {}, .json = json, .create = true};
  edit.path = words.substr(edit.command.size() + 1);
  size_t space = edit.path.find(' ');
  if (space != std::string::npos) edit.value = edit.path.substr(space + 1);
  edit.path = edit.path.substr(0, space);
  Value root;
  if (!parse(content, &root)) return "no JSON";
  Edited outcome = (edit.command == "set"     ? set_value
                    : edit.command == "unset" ? unset_value
                                              : rename_entry)(content, root, edit);
  return outcome.problem.empty() ? outcome.content : outcome.problem;
}

struct Row {
  const char *before;
  const char *edit;
  const char *after;
};

TEST(Edit, ChangesItsPlaceAlone) {
  const Row rows[] = {
      {"{}", "set system.fips true", R"({"system": {"fips": true}})"},
      {"{ }", "set system.name \"\"", R"({ "system": {"name": ""} })"},
      {"{\n}\n", "set system.fips true", "{\n  \"system\": {\"fips\": true}\n}\n"},
      {R"({"system":{"name":"a"}})", "set system.fips true", R"({"system":{"name":"a","fips":true}})"},
      {R"({"system":{"fips":true}})", "set system.name \"b\"", R"({"system":{"name":"b","fips":true}})"},
      {R"({"system": {"fips": true}})", "set system.name \"b\"", R"({"system": {"name": "b", "fips": true}})"},
      {"{\"system\" :\t{ \"n\\u0061me\" : \"x\" } }", "set system.name \"\u00FC\"",
       "{\"system\" :\t{ \"n\\u0061me\" : \"\u00FC\" } }"},
      {"{\r\n\t\"system\": {},\r\n\t\"vpn\": {}\r\n}", "set network.interface.lan.mtu 9",
       "{\r\n\t\"system\": {},\r\n\t\"network\": {\r\n\t\t\"interface\": {\r\n\t\t\t\"lan\": {\r\n\t\t\t\t\"mtu\": "
       "9\r\n\t\t\t}\r\n\t\t}\r\n\t},\r\n\t\"vpn\": {}\r\n}"},
      {"{\n    \"service\": {\n        \"dns\": {\n            \"allowlist\": [\n                \"a\"\n            "
       "]\n        }\n    }\n}",
       "set service.dns.allowlist.+ \"b\"",
       "{\n    \"service\": {\n        \"dns\": {\n            \"allowlist\": [\n                \"a\",\n              "
       "  \"b\"\n            ]\n        }\n    }\n}"},
      {"{\n  \"service\": {}\n}", "set service.dns.server.+ {\n    \"domain\": \"\",\n    \"address\": \"::1\"\n}",
       "{\n  \"service\": {\n    \"dns\": {\n      \"server\": [\n        {\n            \"domain\": \"\",\n           "
       " \"address\": \"::1\"\n        }\n      ]\n    }\n  }\n}"},
      {R"({"service": {"dns": {"allowlist": ["a", "b", "c"]}}})", "set service.dns.allowlist.1 \"x\"",
       R"({"service": {"dns": {"allowlist": ["a", "x", "c"]}}})"},
      {R"({"service": {"dns": {"allowlist": ["a", "b", "c"]}}})", "unset service.dns.allowlist.0",
       R"({"service": {"dns": {"allowlist": ["b", "c"]}}})"},
      {R"({"service": {"dns": {"allowlist": ["a" , "b" ]}}})", "unset /service/dns/allowlist/1",
       R"({"service": {"dns": {"allowlist": ["a" ]}}})"},
      {"{\"system\": {\n \"fips\": true\n}, \"ghost\": [{}]}", "unset system.fips",
       "{\"system\": {}, \"ghost\": [{}]}"},
      {"{\"system\": {}, \"ghost\": [{}]}", "unset ghost.0", "{\"system\": {}, \"ghost\": []}"},
      {R"({"network":{"interface":{"a":{},"l\u0061n":{}},"route":{"static":[{"interface":"/network/interface/l\u0061n"}]}},)"
       R"("vpn":{"ipsec":{"tunnel":{"lan":{"local":{"interface":"lan"},"ipsec_failover":"lan"}}}}})",
       "rename network.interface.lan lan2",
       R"({"network":{"interface":{"a":{},"lan2":{}},"route":{"static":[{"interface":"/network/interface/lan2"}]}},)"
       R"("vpn":{"ipsec":{"tunnel":{"lan":{"local":{"interface":"lan2"},"ipsec_failover":"lan"}}}}})"},
      {R"({"network":{"route":{"service":{"nhrp":{"network":[{"ipsec":"a t b"}]}}}},"vpn":{"ipsec":{"tunnel":{"t":{}}}}})",
       "rename vpn.ipsec.tunnel.t up",
       R"({"network":{"route":{"service":{"nhrp":{"network":[{"ipsec":"a up b"}]}}}},"vpn":{"ipsec":{"tunnel":{"up":{}}}}})"},
      {R"({"network":{"interface":{"w":{"passthrough":{"src":["w","ww"]}},"ww":{}}}})", "rename network.interface.w v",
       R"({"network":{"interface":{"v":{"passthrough":{"src":["v","ww"]}},"ww":{}}}})"},
  };
  for (const Row &row : rows) EXPECT_EQ(edited(row.before, row.edit), row.after) << row.edit;
}

TEST(Edit, ReadsValuesByTheirKind) {
  const std::string empty = "{}";
  for (const Row &row :
       {Row{"fips", "set system.fips yes", "system.fips: expected a boolean"},
        {"", "set network.interface.a.mtu 010", "network.interface.a.mtu: expected an integer"},
        {"", "set network.interface.a.mtu -5", R"({"network": {"interface": {"a": {"mtu": -5}}}})"},
        {"", "set system.name a\"\\\t\x01", R"({"system": {"name": "a\"\\\t\u0001"}})"},
        {"", "set serial.p.idle_timeout 90", R"({"serial": {"p": {"idle_timeout": 90}}})"},
        {"", "set serial.p.idle_timeout 90s", R"({"serial": {"p": {"idle_timeout": "90s"}}})"},
        {"", "set system.name \xFF", "system.name: expected a value in UTF-8"},
        {"", "set service.dns {}", "service.dns: expected an object, which --json takes, or the path of what is in it"},
        {"", "set system.nmae a", "system.nmae: there is no such key, did you mean 'name'?"},
        {"", "set system.name.x a", "system.name.x: system.name is a string, which has no members"},
        {"", "set network.interface.a-b.mtu 1",
         "network.interface.a-b: expected a name of 1 to 63 letters, digits and '_'"},
        {"", "set service.dns.server.0.domain a",
         "service.dns.server.0: expected + or the index of an element; there are 0"},
        {"", "unset system.name", "system.name: is not set"},
        {"", "rename system.name x", "system.name: only an entry of a map can be renamed"}})
    EXPECT_EQ(edited(empty, row.edit, false), row.after);
  EXPECT_EQ(edited(R"({"system":{"name":"a","n\u0061me":"b"}})", "unset system.name"),
            "system.name: the file has this key twice; remove one of them in an editor");
  EXPECT_EQ(edited(R"({"network":{"interface":{"a":{},"b":{}}}})", "rename network.interface.a b"),
            "network.interface.a: there is an entry 'b' already");
  EXPECT_EQ(edited(R"({"ghost":[{}]})", "unset ghost.1"), "ghost.1: there is no such key");
  EXPECT_EQ(edited(R"({"network":{"interface":{"la\u001bn":{}}}})", "unset network.interface.lan"),
            "network.interface.lan: there is no such entry, did you mean 'la\\x1bn'?");
}

struct Walk {
  std::vector<std::string> paths = {};    // of all values but the root
  std::vector<std::string> missing = {};  // members that the document does not have
  std::vector<std::string> entries = {};

  void visit(const Value &value, const Place &place, const std::string &path) {
    for (const std::string &name : value.nests() ? names_below(place, &value) : std::vector<std::string>()) {
      bool twice = false;
      if (child_of(value, name, &twice) == nullptr) missing.push_back(path + name);
      if (place.kind == Kind::map) entries.push_back(path + name);
    }
    for (size_t i = 0; i < value.children.size(); i++) {
      const std::string name = value.type == Value::Type::array ? std::to_string(i) : value.children[i].name;
      paths.push_back(path + name);
      visit(value.children[i], place_below(place, name), path + name + ".");
    }
  }
};

TEST(Edit, IsUndoneByItsOpposite) {
  for (const char *example : {"branch-office", "cellular-gateway", "ipsec-hub", "openvpn-concentrator"}) {
    const std::string content = take(file_read((std::string(EXAMPLES) + example + "/config.json").c_str()));
    Value root;
    ASSERT_TRUE(parse(content, &root));
    Walk walk;
    walk.visit(root, Place(), "");
    std::mt19937 random(1);
    std::shuffle(walk.missing.begin(), walk.missing.end(), random);
    if (walk.missing.size() > 100) walk.missing.resize(100);
    for (const std::string &path : walk.missing) {
      const std::string more = edited(content, "set " + path + " {\n \"a\": 1\n}");
      EXPECT_NE(more, content);
      EXPECT_EQ(edited(more, "unset " + path), content) << path;
    }
    for (const std::string &path : walk.entries) {
      const std::string renamed = edited(content, "rename " + path + " r");
      EXPECT_EQ(edited(renamed, "rename " + path.substr(0, path.rfind('.')) + ".r " + path.substr(path.rfind('.') + 1)),
                content)
          << path;
    }
    for (int round = 0; round < 100; round++) {
      const std::string &path = walk.paths[random() % walk.paths.size()];
      const std::string changed = edited(content, "set " + path + " [7]");
      Found old;
      Found now;
      Value after;
      size_t depth = 0;
      std::string problem;
      ASSERT_TRUE(parse(changed, &after) && find(after, components_of(path), &now, &depth, &problem)) << path;
      ASSERT_TRUE(find(root, components_of(path), &old, &depth, &problem));
      // All bytes except those of the value are the same.
      EXPECT_EQ(changed.substr(0, now.value->begin) + changed.substr(now.value->end),
                content.substr(0, old.value->begin) + content.substr(old.value->end))
          << path;
      // Removing the value leaves all other values; the elements after a removed element move up.
      const std::string less = edited(changed, "unset " + path);
      Value rest;
      ASSERT_TRUE(parse(less, &rest)) << path;
      Walk kept;
      kept.visit(rest, Place(), "");
      std::vector<std::string> expected = walk.paths;
      std::erase_if(expected, [&](const std::string &other) {
        return (other + ".").compare(0, path.size() + 1, path + ".") == 0;
      });
      EXPECT_EQ(kept.paths.size(), expected.size()) << path;
      EXPECT_TRUE(old.parent->type == Value::Type::array || kept.paths == expected) << path;
    }
  }
}

}  // namespace
