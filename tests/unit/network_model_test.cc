// The network model of whole documents, written out as text, and the operations that search it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "config/report.h"
#include "platform/network.h"
#include "platform/tools.h"

namespace {

// A document, its findings, and the model made from it.
struct LoadedDocument {
  std::vector<Finding> findings;
  const ConfigNode *root;
  NetworkModel *model;

  explicit LoadedDocument(const std::string &path)
      : root(config_check_file(path.c_str(), &findings)), model(root != nullptr ? network_load(root) : nullptr) {}
  ~LoadedDocument() {
    network_free(model);
    config_free(root);
  }
  LoadedDocument(const LoadedDocument &) = delete;
  LoadedDocument &operator=(const LoadedDocument &) = delete;
};

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

// The models of the documents NAME.json, and what is said while they are made: NAME.expected.
TEST(NetworkModel, LaysDownDocuments) {
  for (const std::string name : {"every-kind", "left-out"}) {
    const LoadedDocument document(NETWORK_MODEL_DATA + name + ".json");
    ASSERT_NE(document.model, nullptr) << name;
    std::string text = written(document.model);
    for (const Finding &finding : document.findings)
      if (finding.grade == Grade::ignored) text += finding.path + ": " + finding.message + "\n";
    const std::unique_ptr<char, decltype(&free)> expected(file_read((NETWORK_MODEL_DATA + name + ".expected").c_str()),
                                                          free);
    EXPECT_STREQ(text.c_str(), expected.get()) << name;
  }
}

// The keys of all nodes of a type below `scope`.
std::string keys(const NetworkNode *scope, uint32_t type) {
  std::string text;
  for (const NetworkNode *node = network_first_type(scope, type); node != nullptr;
       node = network_next_type(scope, node, type))
    text += std::string(network_key(node)) + " ";
  return text;
}

TEST(NetworkModel, SearchesWithinAScope) {
  const LoadedDocument document(NETWORK_MODEL_DATA "every-kind.json");
  ASSERT_NE(document.model, nullptr);
  const NetworkModel *model = document.model;
  const auto config = [&](const char *path) { return config_lookup(document.root, path); };
  const NetworkNode *bridge = network_find_device(model, config("network.bridge.br"));
  const NetworkNode *bond = network_find_device(model, config("network.bond.bo"));
  const NetworkNode *hub = network_find_device(model, config("vpn.ipsec.tunnel.hq"));
  const NetworkNode *ipv4 = network_find_proto(model, config("network.interface.lan"), "ipv4");

  const std::tuple<const NetworkNode *, uint32_t, const char *> scopes[] = {
      {model, NETWORK_NODE_BRIDGE_PORT, "network.wlan.sta network.device.e1 network.device.e2 "},
      {bridge, NETWORK_NODE_INTERFACE, "lan "},
      {bond, NETWORK_NODE_BOND_SLAVE, "network.device.e2 network.vlan.v5 "},
      {hub, NETWORK_NODE_INTERFACE, "hq site "}};
  for (const auto &[scope, type, expected] : scopes) EXPECT_EQ(keys(scope, type), expected) << type;
  // From a node of another type the search goes on behind it.
  EXPECT_STREQ(network_key(network_next_type(model, bond, NETWORK_NODE_INTERFACE)), "sun");

  const ConfigNode *member = config("network.device.e2");
  EXPECT_EQ(network_find_parent(network_find(model, NETWORK_NODE_BRIDGE_PORT, member), NETWORK_NODE_DEVICE), bridge);
  EXPECT_EQ(network_find_parent(network_find(bond, NETWORK_NODE_BOND_SLAVE, member), NETWORK_NODE_DEVICE), bond);
  EXPECT_EQ(network_find(bond, NETWORK_NODE_BOND_SLAVE, config("network.device.e1")), nullptr);
  EXPECT_EQ(network_find_parent(ipv4, NETWORK_NODE_DEVICE), bridge);
  for (const auto &[path, family] : {std::pair("network.interface.bare", "ipv6"), {"network.interface.off", "ipv4"}})
    EXPECT_EQ(network_find_proto(model, config(path), family), nullptr) << path;
  EXPECT_STREQ(network_key(network_find_proto(model, config("network.interface.sun"), "ipv6")), "sun");
  // Of a tunnel, device and interface come from the same node.
  EXPECT_EQ(network_find_parent(network_find_proto(model, config("vpn.ipsec.tunnel.hq"), "ipv4"), NETWORK_NODE_DEVICE),
            hub);
}

TEST(NetworkModel, AnswersForNothing) {
  const std::unique_ptr<NetworkModel, decltype(&network_free)> empty(network_load(nullptr), network_free);
  ASSERT_NE(empty, nullptr);
  for (const NetworkNode *node :
       {static_cast<const NetworkNode *>(nullptr), static_cast<const NetworkNode *>(empty.get())}) {
    for (const NetworkNode *found :
         {network_first(node), network_next_child(node), network_first_type(node, NETWORK_NODE_INTERFACE),
          network_next_type(node, node, NETWORK_NODE_ROOT), network_find_parent(node, NETWORK_NODE_ROOT),
          network_find(node, NETWORK_NODE_DEVICE, nullptr), network_find_proto(node, nullptr, nullptr)})
      EXPECT_EQ(found, nullptr);
    EXPECT_EQ(network_interface_type(node), network_device_type(node));
  }
  EXPECT_EQ(network_type(nullptr), UINT32_MAX);
  EXPECT_EQ(network_name(nullptr), network_key(nullptr));
}

}  // namespace
