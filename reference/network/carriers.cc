// Collects the devices, radios and modems of the model.
#include <cstring>
#include <vector>

#include "network/build.h"
#include "platform/ranges.h"

namespace {

// A map whose entries become carriers.
struct Source {
  const char *path;
  void (*add)(Builder &build, const ConfigNode *entry, const Source &source);
  NetworkNodeType type;
  NetworkDeviceType device_type;  // meaningless for radios and modems
  const char *prefix;             // as in Carrier
};

Carrier &add_carrier(Builder &build, const ConfigNode *entry, const Source &source) {
  NetworkNode &node = new_node(build.store, source.type, source.device_type, entry);
  node.key = node.name = config_key(entry);
  Carrier &carrier = build.carriers.emplace_back();
  carrier.node = &node;
  carrier.prefix = source.prefix;
  build.made_from.emplace(entry, &carrier);
  return carrier;
}

void add_plain(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source);
}

struct HardwareKind {
  const char *type;
  NetworkDeviceType device_type;
};
constexpr HardwareKind hardware_kinds[] = {
    {"ethernet", NETWORK_DEVICE_ETHERNET},
    {"usb_ethernet", NETWORK_DEVICE_ETHERNET},
    {"loopback", NETWORK_DEVICE_LOOPBACK},
    {"vnet", NETWORK_DEVICE_VNET},
};

void add_hardware(Builder &build, const ConfigNode *entry, const Source &source) {
  Carrier &carrier = add_carrier(build, entry, source);
  const char *type = config_get_string(entry, "type");
  const char *name = config_get_string(entry, "name");
  const HardwareKind *kind = find_row(hardware_kinds, type);
  if (kind == nullptr) {
    report_type(entry, type, "device type", hardware_kinds, "the device is left out");
    carrier.in_model = false;
  } else {
    carrier.node->detail = kind->device_type;
  }
  if (is_set(name))
    carrier.node->name = name;
  else if (type != nullptr && strcmp(type, "usb_ethernet") == 0)
    carrier.node->name = "";  // the adapter is not plugged in
}

void add_vlan(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).named = false;
}

void add_l2tpeth_sessions(Builder &build, const ConfigNode *tunnel, const Source &source) {
  for (const ConfigNode *session : members(config_object(tunnel, "session"))) {
    NetworkNode &node = *add_carrier(build, session, source).node;
    node.name = keep(build.store, config_key(tunnel), "_", node.key);
  }
}

void add_openvpn(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).in_model = config_get_bool(entry, "enable");
}

void add_ipsec_tunnel(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).node->name = keep(build.store, "ipsec", std::to_string(++build.tunnels));
}

// In model order.
constexpr Source sources[] = {
    {"network.device", add_hardware, NETWORK_NODE_DEVICE, NETWORK_DEVICE_ETHERNET, nullptr},
    {"network.radio", add_plain, NETWORK_NODE_RADIO, NETWORK_DEVICE_WLAN, nullptr},
    {"network.wlan", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WLAN, nullptr},
    {"network.vlan", add_vlan, NETWORK_NODE_DEVICE, NETWORK_DEVICE_VLAN, nullptr},
    {"network.bridge", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_BRIDGE, nullptr},
    {"network.bond", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_BOND, nullptr},
    {"network.macsec", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_MACSEC, nullptr},
    {"network.vrrp", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_VRRP, nullptr},
    {"network.wisun", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WISUN, nullptr},
    {"vpn.iptunnel", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_IPTUNNEL, nullptr},
    {"vpn.l2tpeth", add_l2tpeth_sessions, NETWORK_NODE_DEVICE, NETWORK_DEVICE_L2TPETH, nullptr},
    {"vpn.wireguard", add_plain, NETWORK_NODE_DEVICE, NETWORK_DEVICE_WIREGUARD, nullptr},
    {"vpn.openvpn.client", add_openvpn, NETWORK_NODE_DEVICE, NETWORK_DEVICE_OPENVPN, "openvpn_client_"},
    {"vpn.openvpn.server", add_openvpn, NETWORK_NODE_DEVICE, NETWORK_DEVICE_OPENVPN, "openvpn_server_"},
    {"vpn.ipsec.tunnel", add_ipsec_tunnel, NETWORK_NODE_DEVICE, NETWORK_DEVICE_IPSEC, ""},
    {"network.modem", add_plain, NETWORK_NODE_MODEM, NETWORK_DEVICE_ETHERNET, nullptr},
};

void add_sources(Builder &build) {
  for (const Source &source : sources) {
    for (const ConfigNode *entry : members(config_object(build.root, source.path))) source.add(build, entry, source);
  }
}

Carrier *base_of(Builder &build, const Carrier *vlan) {
  return find_carrier(build, config_get_ref(vlan->node->config, "device"), NETWORK_NODE_DEVICE);
}

void leave_out_vlan(Carrier *vlan, const char *reason) {
  config_report(config_nearest(vlan->node->config, "device"), Rule::vlan_base, "the VLAN is left out: %s", reason);
  vlan->node->name = "";
  vlan->in_model = false;
}

// Gives names to the VLAN and the VLANs below it, or leaves them out. `chain` is empty scratch space.
void name_vlan(Builder &build, Carrier *vlan, std::vector<Carrier *> &chain) {
  Carrier *base = vlan;
  while (base != nullptr && !base->named && !base->visiting) {
    base->visiting = true;
    chain.push_back(base);
    base = base_of(build, base);
  }
  // The first VLAN of a circle, if there is one; the members of the circle are at the end of the chain.
  const Carrier *circle = base != nullptr && base->visiting ? base : nullptr;
  for (; !chain.empty(); chain.pop_back()) {
    Carrier *carrier = chain.back();
    carrier->visiting = false;
    carrier->named = true;
    if (base == nullptr)
      leave_out_vlan(carrier, "it has no base device");
    else if (circle != nullptr)
      leave_out_vlan(carrier, "its base device leads back to itself");
    else if (!base->in_model)
      leave_out_vlan(carrier, "its base device is left out");
    else
      carrier->node->name =
          keep(build.store, base->node->name, ".", std::to_string(config_get_int(carrier->node->config, "id")));
    if (carrier == circle) circle = nullptr;
    base = carrier;
  }
}

void name_vlans(Builder &build) {
  std::vector<Carrier *> chain;
  for (Carrier &carrier : build.carriers)
    if (!carrier.named) name_vlan(build, &carrier, chain);
}

// The parent of a carrier: its radio for a wireless device that has one, otherwise the root.
NetworkNode &parent_of(Builder &build, const NetworkNode &node) {
  if (node.type != NETWORK_NODE_DEVICE || node.detail != NETWORK_DEVICE_WLAN) return build.store.nodes.front();
  const Carrier *radio = find_carrier(build, config_get_ref(node.config, "radio"), NETWORK_NODE_RADIO);
  return radio != nullptr ? *radio->node : build.store.nodes.front();
}

}  // namespace

Carrier *find_carrier(Builder &build, const ConfigNode *config, NetworkNodeType type) {
  const auto found = build.made_from.find(config);
  return found != build.made_from.end() && found->second->node->type == type ? found->second : nullptr;
}

bool is_usable(const Carrier *device) {
  return device != nullptr && device->in_model && *device->node->name != '\0';
}

void place_carriers(Builder &build) {
  add_sources(build);
  name_vlans(build);
  for (Carrier &carrier : build.carriers) {
    if (carrier.in_model) append_child(parent_of(build, *carrier.node), *carrier.node);
  }
}
