// Collects the devices, radios and modems of the model.
#include <algorithm>
#include <cstring>

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
  const char *key = config_key(entry);
  return build.carriers.emplace_back(Carrier{.config = entry,
                                             .id = config_node_id(entry),
                                             .key = key,
                                             .name = key,
                                             .prefix = source.prefix,
                                             .below = {},
                                             .type = source.type,
                                             .device_type = source.device_type});
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
    carrier.device_type = kind->device_type;
  }
  if (is_set(name))
    carrier.name = name;
  else if (type != nullptr && strcmp(type, "usb_ethernet") == 0)
    carrier.name = "";  // the adapter is not plugged in
}

void add_vlan(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).name = nullptr;
}

void add_l2tpeth_sessions(Builder &build, const ConfigNode *tunnel, const Source &source) {
  for (const ConfigNode *session : members(config_object(tunnel, "session"))) {
    Carrier &carrier = add_carrier(build, session, source);
    carrier.name = build.store.strings.join(config_key(tunnel), "_", carrier.key);
  }
}

void add_openvpn(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).in_model = config_get_bool(entry, "enable");
}

void add_ipsec_tunnel(Builder &build, const ConfigNode *entry, const Source &source) {
  add_carrier(build, entry, source).name = build.store.strings.join("ipsec", std::to_string(int64_t{++build.tunnels}));
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
    const size_t begin = build.carriers.size();
    for (const ConfigNode *entry : members(config_object(build.root, source.path))) source.add(build, entry, source);
    if (build.carriers.size() > begin) build.stretches.push_back({begin, build.carriers.size()});
  }
}

Carrier *base_of(Builder &build, const Carrier *vlan) {
  return find_carrier(build, config_get_ref(vlan->config, "device"), NETWORK_NODE_DEVICE);
}

void leave_out_vlan(Carrier *vlan, const char *reason) {
  config_report(config_nearest(vlan->config, "device"), Rule::vlan_base, "the VLAN is left out: %s", reason);
  vlan->name = "";
  vlan->in_model = false;
}

// Gives names to the VLAN and the VLANs below it, or leaves them out. `chain` is empty scratch space.
void name_vlan(Builder &build, Carrier *vlan, std::vector<Carrier *> &chain) {
  Carrier *base = vlan;
  while (base != nullptr && base->name == nullptr && !base->visiting) {
    base->visiting = true;
    chain.push_back(base);
    base = base_of(build, base);
  }
  // The first VLAN of a circle, if there is one; the members of the circle are at the end of the chain.
  const Carrier *circle = base != nullptr && base->visiting ? base : nullptr;
  for (; !chain.empty(); chain.pop_back()) {
    Carrier *carrier = chain.back();
    carrier->visiting = false;
    if (base == nullptr)
      leave_out_vlan(carrier, "it has no base device");
    else if (circle != nullptr)
      leave_out_vlan(carrier, "its base device leads back to itself");
    else if (!base->in_model)
      leave_out_vlan(carrier, "its base device is left out");
    else
      carrier->name =
          build.store.strings.join(base->name, ".", std::to_string(int64_t{config_get_int(carrier->config, "id")}));
    if (carrier == circle) circle = nullptr;
    base = carrier;
  }
}

void name_vlans(Builder &build) {
  std::vector<Carrier *> chain;
  for (Carrier &carrier : build.carriers)
    if (carrier.name == nullptr) name_vlan(build, &carrier, chain);
}

void put_devices_in_radios(Builder &build) {
  for (uint32_t index = 0; index < build.carriers.size(); ++index) {
    Carrier &carrier = build.carriers[index];
    if (carrier.type != NETWORK_NODE_DEVICE || carrier.device_type != NETWORK_DEVICE_WLAN) continue;
    Carrier *radio = find_carrier(build, config_get_ref(carrier.config, "radio"), NETWORK_NODE_RADIO);
    if (radio == nullptr) continue;
    carrier.in_radio = true;
    enqueue(radio->below, build.carriers, index);
  }
}

}  // namespace

Carrier *find_carrier(Builder &build, const ConfigNode *config, NetworkNodeType type) {
  if (config == nullptr) return nullptr;
  const size_t id = config_node_id(config);
  for (const Stretch &stretch : build.stretches) {
    Carrier *begin = &build.carriers[stretch.begin];
    Carrier *end = begin + (stretch.end - stretch.begin);
    if (id < begin->id || id > end[-1].id) continue;
    Carrier *carrier =
        std::lower_bound(begin, end, id, [](const Carrier &each, size_t wanted) { return each.id < wanted; });
    return carrier->id == id && carrier->type == type ? carrier : nullptr;
  }
  return nullptr;
}

bool is_usable(const Carrier *device) {
  return device != nullptr && device->in_model && *device->name != '\0';
}

void collect_carriers(Builder &build) {
  add_sources(build);
  name_vlans(build);
  put_devices_in_radios(build);
}
