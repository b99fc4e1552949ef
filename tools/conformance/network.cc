// Checks the network model.
#include "platform/network.h"

#include <cstring>

#include "conformance.h"

struct ReleaseModel {
  void operator()(NetworkModel *model) const { network_free(model); }
};
using OwnedModel = std::unique_ptr<NetworkModel, ReleaseModel>;

static bool same(const char *string, const char *expected) {
  return string != nullptr && strcmp(string, expected) == 0;
}

// The keys of all nodes of one type, in the order of the operations.
static std::string keys_of(const NetworkNode *scope, uint32_t type) {
  std::string keys;
  for (const NetworkNode *node = network_first_type(scope, type); node != nullptr;
       node = network_next_type(scope, node, type))
    keys += std::string(shown(network_key(node))) + " ";
  return keys;
}

static const NetworkNode *device_of(const NetworkModel *model, const ConfigNode *root, const char *path) {
  return network_find_device(model, config_lookup(root, path));
}

static void check_devices(const NetworkModel *model, const ConfigNode *root) {
  struct Row {
    const char *path, *name, *key;
    uint32_t type;
  };
  const Row rows[] = {{"network.device.eth1", "eth1", "eth1", NETWORK_DEVICE_ETHERNET},
                      {"network.device.eth0", "wan0", "eth0", NETWORK_DEVICE_ETHERNET},
                      {"network.device.lo", "lo", "lo", NETWORK_DEVICE_LOOPBACK},
                      {"network.wlan.guest", "guest", "guest", NETWORK_DEVICE_WLAN},
                      {"network.vlan.office", "wan0.7", "office", NETWORK_DEVICE_VLAN},
                      {"network.bridge.switch", "switch", "switch", NETWORK_DEVICE_BRIDGE},
                      {"network.bond.pair", "pair", "pair", NETWORK_DEVICE_BOND},
                      {"vpn.openvpn.client.office", "office", "office", NETWORK_DEVICE_OPENVPN},
                      {"vpn.ipsec.tunnel.lab", "ipsec2", "lab", NETWORK_DEVICE_IPSEC}};
  bool found = true, named = true, keyed = true, typed = true, made = true;
  for (const Row &row : rows) {
    const NetworkNode *device = device_of(model, root, row.path);
    found = found && device != nullptr && network_type(device) == NETWORK_NODE_DEVICE;
    named = named && same(network_name(device), row.name);
    keyed = keyed && same(network_key(device), row.key);
    typed = typed && network_device_type(device) == row.type;
    made = made && network_config(device) == config_lookup(root, row.path);
  }
  check("network_find_device", "finds the device of every kind of entry", found);
  check("network_name", "gives the system's name of a device", named);
  check("network_key", "gives the key of the entry", keyed);
  check("network_device_type", "gives the fixed number of the kind", typed);
  check("network_config", "gives the entry it was made from, none for the model",
        made && network_config(model) == nullptr);
  check("network_find_device", "gives null for an entry that is no device",
        device_of(model, root, "network.interface.lan") == nullptr);
}

static void check_walks(const NetworkModel *model, const ConfigNode *root) {
  const NetworkNode *bridge = device_of(model, root, "network.bridge.switch");
  const NetworkNode *port = network_first(bridge);
  const NetworkNode *second = network_next_child(port);
  check("network_first", "starts with the first member of a bridge",
        network_type(port) == NETWORK_NODE_BRIDGE_PORT && same(network_name(port), "wan0.7"));
  check("network_next_child", "continues with the next port, then with the interfaces",
        same(network_name(second), "eth1") && same(network_key(second), "network.device.eth1") &&
            network_type(network_next_child(second)) == NETWORK_NODE_INTERFACE);
  check("network_first_type", "finds the slaves of a bond",
        network_first_type(device_of(model, root, "network.bond.pair"), NETWORK_NODE_BOND_SLAVE) != nullptr);
  check("network_first_type", "stays below its scope", network_first_type(bridge, NETWORK_NODE_BOND_SLAVE) == nullptr);
  check("network_next_type", "visits interfaces depth first and leaves out disabled ones, except PPPoE",
        keys_of(model, NETWORK_NODE_INTERFACE) == "through wan dsl lan office hq lab mobile ");
  const NetworkNode *lan = network_find(model, NETWORK_NODE_INTERFACE, config_lookup(root, "network.interface.lan"));
  check("network_find", "finds an interface by its entry", lan != nullptr && same(network_key(lan), "lan"));
  check("network_find", "gives null for another type of node",
        network_find(model, NETWORK_NODE_MODEM, config_lookup(root, "network.interface.lan")) == nullptr);
  check("network_find_parent", "leads to the device, not to the node itself",
        network_find_parent(lan, NETWORK_NODE_DEVICE) == bridge &&
            network_find_parent(bridge, NETWORK_NODE_DEVICE) == nullptr);
  check("network_type", "recognizes radios and modems",
        keys_of(model, NETWORK_NODE_RADIO) == "radio0 " && keys_of(model, NETWORK_NODE_MODEM) == "cell ");
  check("network_type", "gives UINT32_MAX for null", network_type(nullptr) == UINT32_MAX);
}

static void check_interfaces(const NetworkModel *model, const ConfigNode *root) {
  struct Row {
    const char *path, *name;
    uint32_t type;
  };
  const Row rows[] = {{"network.interface.lan", "interface_lan", NETWORK_INTERFACE_ETHERNET},
                      {"network.interface.dsl", "interface_dsl", NETWORK_INTERFACE_PPPOE},
                      {"network.interface.mobile", "interface_mobile", NETWORK_INTERFACE_MODEM},
                      {"network.interface.through", "interface_through", NETWORK_INTERFACE_PASSTHROUGH},
                      {"vpn.openvpn.client.office", "openvpn_client_office", NETWORK_INTERFACE_OPENVPN},
                      {"vpn.ipsec.tunnel.hq", "hq", NETWORK_INTERFACE_IPSEC}};
  bool typed = true, named = true;
  for (const Row &row : rows) {
    const NetworkNode *interface = network_find(model, NETWORK_NODE_INTERFACE, config_lookup(root, row.path));
    typed = typed && network_interface_type(interface) == row.type;
    named = named && same(network_interface_name(interface), row.name);
  }
  check("network_interface_type", "gives the fixed number of the kind", typed);
  check("network_interface_name", "gives the interface manager's name", named);

  const ConfigNode *lan = config_lookup(root, "network.interface.lan");
  const NetworkNode *part = network_find_proto(model, lan, "ipv4");
  check("network_find_proto", "finds the part of a family",
        network_type(part) == NETWORK_NODE_PROTO && network_interface_type(part) == NETWORK_INTERFACE_STATIC &&
            network_interface_type(network_find_proto(model, lan, "ipv6")) == NETWORK_INTERFACE_DHCPV6);
  check("network_find_proto", "gives null for a family that is off",
        network_find_proto(model, config_lookup(root, "network.interface.wan"), "ipv6") == nullptr);
  const ConfigNode *mobile = config_lookup(root, "network.interface.mobile");
  check("network_find_proto", "gives the interface itself when it has no parts",
        network_type(network_find_proto(model, mobile, "ipv4")) == NETWORK_NODE_INTERFACE);
  check("network_interface_name", "of a part begins with the family",
        same(network_interface_name(part), "ipv4_interface_lan") && same(network_key(part), "ipv4") &&
            same(network_name(part), "lan"));
}

void check_network(const ConfigNode *root) {
  OwnedModel model(network_load(root));
  check("network_load", "builds a model", network_type(model.get()) == NETWORK_NODE_ROOT);
  check_devices(model.get(), root);
  check_walks(model.get(), root);
  check_interfaces(model.get(), root);
  model.reset();
  network_free(nullptr);
  check("network_free", "leaves the tree as it was, and takes null",
        same(config_get_string(root, "system.name"), "conformance"));
}
