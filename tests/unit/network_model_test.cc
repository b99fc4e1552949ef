// Tests the operations that search the network model. The whole run golden/network-model tests its content.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "config/report.h"
#include "platform/network.h"

namespace {

// The keys of all nodes of a type below `scope`.
std::string keys(const NetworkNode *scope, uint32_t type) {
  std::string text;
  for (const NetworkNode *node = network_first_type(scope, type); node != nullptr;
       node = network_next_type(scope, node, type))
    text += std::string(network_key(node)) + " ";
  return text;
}

TEST(NetworkModel, SearchesWithinAScope) {
  std::vector<Finding> findings;
  const std::unique_ptr<const ConfigNode, decltype(&config_free)> root(
      config_check_file(NETWORK_MODEL_DATA "config.json", &findings), config_free);
  const std::unique_ptr<NetworkModel, decltype(&network_free)> loaded(network_load(root.get()), network_free);
  const NetworkModel *model = loaded.get();
  ASSERT_NE(model, nullptr);
  const auto config = [&](const char *path) { return config_lookup(root.get(), path); };
  const NetworkNode *bridge = network_find_device(model, config("network.bridge.br"));
  const NetworkNode *bond = network_find_device(model, config("network.bond.bo"));
  const NetworkNode *hub = network_find_device(model, config("vpn.ipsec.tunnel.hq"));
  const NetworkNode *ipv4 = network_find_proto(model, config("network.interface.lan"), "ipv4");

  const std::tuple<const NetworkNode *, uint32_t, const char *> scopes[] = {
      {model, NETWORK_NODE_BRIDGE_PORT, "network.device.e1 network.device.e2 network.vlan.absent "},
      {bridge, NETWORK_NODE_INTERFACE, "lan "},
      {bond, NETWORK_NODE_BOND_SLAVE, "network.device.e2 network.vlan.v5 "},
      {hub, NETWORK_NODE_INTERFACE, "hq "}};
  for (const auto &[scope, type, expected] : scopes) EXPECT_EQ(keys(scope, type), expected) << type;
  // The search may start at a node of another type.
  EXPECT_STREQ(network_key(network_next_type(model, bond, NETWORK_NODE_INTERFACE)), "sun");

  const ConfigNode *member = config("network.device.e2");
  EXPECT_EQ(network_find_parent(network_find(model, NETWORK_NODE_BRIDGE_PORT, member), NETWORK_NODE_DEVICE), bridge);
  EXPECT_EQ(network_find_parent(network_find(bond, NETWORK_NODE_BOND_SLAVE, member), NETWORK_NODE_DEVICE), bond);
  EXPECT_EQ(network_find(bond, NETWORK_NODE_BOND_SLAVE, config("network.device.e1")), nullptr);
  EXPECT_EQ(network_find_parent(ipv4, NETWORK_NODE_DEVICE), bridge);
  for (const auto &[path, family] : {std::pair("network.interface.bare", "ipv6"), {"network.interface.off", "ipv4"}})
    EXPECT_EQ(network_find_proto(model, config(path), family), nullptr) << path;
  EXPECT_STREQ(network_key(network_find_proto(model, config("network.interface.sun"), "ipv6")), "sun");
  // The device and the interface of a tunnel come from the same configuration entry.
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
