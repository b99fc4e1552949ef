// Bridges, bonds, VLANs and tunnel devices.
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "config/report.h"
#include "network/check.h"
#include "network/rules.h"

namespace {

using Masters = std::unordered_map<const ConfigNode *, const ConfigNode *>;

// The kernel lets a device have one master only.
void check_members(Masters &masters, const NetworkNode *master, uint32_t member_type) {
  const ConfigNode *config = network_config(master);
  const NetworkNode *member = network_first_type(master, member_type);
  for (; member != nullptr; member = network_next_type(master, member, member_type)) {
    const ConfigNode *device = network_config(member);
    if (device == config)
      config_report(written(config, "device"), Grade::questionable, "%s is a member of itself", network_key(member));
    const auto [row, is_new] = masters.emplace(device, config);
    if (is_new) continue;
    const std::unique_ptr<char, decltype(&free)> other(config_path(row->second), free);
    config_report(written(config, "device"), Grade::questionable, "%s is already a member of %s", network_key(member),
                  other.get());
  }
}

void check_bridge(Masters &masters, const NetworkNode *bridge) {
  static constexpr Rule stp_rules[] = {range("stp.forward_delay", 2, 30), end_of_rules};
  const ConfigNode *config = network_config(bridge);
  if (!config_get_bool(config, "enable")) return;
  if (config_get_bool(config, "stp.enable")) check_rules(config, stp_rules);
  if (!text_equals(config, "mode", "switch")) check_members(masters, bridge, NETWORK_NODE_BRIDGE_PORT);
}

void check_bond(Masters &masters, const NetworkNode *bond) {
  static constexpr Rule bond_rules[] = {rule("mode", Test::filled), end_of_rules};
  const ConfigNode *config = network_config(bond);
  if (!config_get_bool(config, "enable")) return;
  check_rules(config, bond_rules);
  check_members(masters, bond, NETWORK_NODE_BOND_SLAVE);
  if (text_equals(config, "mode", "active-backup") &&
      network_find(bond, NETWORK_NODE_BOND_SLAVE, config_get_ref(config, "device.0")) == nullptr)
    config_report(written(config, "device.0"), Grade::questionable,
                  "the first member is none that can be the primary, the bond is left out");
}

constexpr Rule vlan_rules[] = {range("id", 1, 4094), end_of_rules};

constexpr Rule local_rules[] = {rule("local", Test::filled), end_of_rules};

constexpr Rule iptunnel_rules[] = {rule("local", Test::filled), rule("type", Test::filled), rule("remote", Test::ipv4),
                                   end_of_rules};

constexpr Rule macsec_rules[] = {secret(rule("association.cak", Test::hexadecimal)),
                                 rule("association.ckn", Test::hexadecimal), end_of_rules};
constexpr Variant macsec_variants[] = {{"manual", macsec_rules}, {nullptr, nullptr}};

constexpr Rule l2tpeth_rules[] = {rule("local", Test::filled),         rule("remote", Test::address),
                                  rule("tunnel_id", Test::filled),     rule("peer_tunnel_id", Test::filled),
                                  rule("encapsulation", Test::filled), end_of_rules};
constexpr Rule l2tpeth_ports[] = {range("udp_source_port", 1, 65535), range("udp_destination_port", 1, 65535),
                                  end_of_rules};
constexpr Variant l2tpeth_variants[] = {{"udp", l2tpeth_ports}, {nullptr, nullptr}};
constexpr Rule session_rules[] = {rule("session_id", Test::filled), rule("peer_session_id", Test::filled),
                                  end_of_rules};

void check_iptunnel(const ConfigNode *config) {
  if (config_get_bool(config, "enable")) check_rules(config, iptunnel_rules);
}

void check_macsec(const ConfigNode *config) {
  if (!config_get_bool(config, "enable")) return;
  check_rules(config, local_rules);
  check_variants(config, "type", macsec_variants);
}

// The sessions of a tunnel are the devices; what they share is checked with the first one.
void check_l2tpeth(const ConfigNode *session) {
  const ConfigNode *sessions = config_node_parent(session);
  const ConfigNode *tunnel = config_node_parent(sessions);
  if (!config_get_bool(tunnel, "enable")) return;
  if (session == config_object_first(sessions)) {
    check_rules(tunnel, l2tpeth_rules);
    check_variants(tunnel, "encapsulation", l2tpeth_variants);
  }
  check_rules(session, session_rules);
}

}  // namespace

void check_devices(const NetworkModel *model) {
  Masters masters;
  const NetworkNode *device = network_first_type(model, NETWORK_NODE_DEVICE);
  for (; device != nullptr; device = network_next_type(model, device, NETWORK_NODE_DEVICE)) {
    const ConfigNode *config = network_config(device);
    switch (network_device_type(device)) {
      case NETWORK_DEVICE_BRIDGE:
        check_bridge(masters, device);
        break;
      case NETWORK_DEVICE_BOND:
        check_bond(masters, device);
        break;
      case NETWORK_DEVICE_VLAN:
        check_rules(config, vlan_rules);
        break;
      case NETWORK_DEVICE_IPTUNNEL:
        check_iptunnel(config);
        break;
      case NETWORK_DEVICE_MACSEC:
        check_macsec(config);
        break;
      case NETWORK_DEVICE_L2TPETH:
        check_l2tpeth(config);
        break;
      default:
        break;
    }
  }
}
