// Bridges, bonds, VLANs and tunnel devices.
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "check/check.h"
#include "check/findings.h"
#include "check/values.h"
#include "platform/ranges.h"

namespace {

using Masters = std::unordered_map<const ConfigNode *, const ConfigNode *>;

// The kernel lets a device have only one master.
void check_members(Masters &masters, const NetworkNode *master, uint32_t member_type) {
  const ConfigNode *config = network_config(master);
  for (const NetworkNode *member : nodes_of_type(master, member_type)) {
    const ConfigNode *device = network_config(member);
    if (device == config) report(config_nearest(config, "device"), Rule::own_member, {network_key(member)});
    const auto [row, is_new] = masters.emplace(device, config);
    if (!is_new)
      report(config_nearest(config, "device"), Rule::two_masters, {network_key(member), path_of(row->second)});
  }
}

void check_bridge(Masters &masters, const NetworkNode *bridge) {
  static constexpr ValueRule stp_rules[] = {in_range("stp.forward_delay")};
  const ConfigNode *config = network_config(bridge);
  if (!config_get_bool(config, "enable")) return;
  if (config_get_bool(config, "stp.enable")) check_rules(config, stp_rules, Rule::uci_value);
  if (!string_equals(config, "mode", "switch")) check_members(masters, bridge, NETWORK_NODE_BRIDGE_PORT);
}

void check_bond(Masters &masters, const NetworkNode *bond) {
  static constexpr ValueRule bond_rules[] = {one_of("mode", "active-backup round-robin")};
  const ConfigNode *config = network_config(bond);
  if (!config_get_bool(config, "enable")) return;
  check_rules(config, bond_rules, Rule::bond_left_out);
  check_members(masters, bond, NETWORK_NODE_BOND_SLAVE);
  if (string_equals(config, "mode", "active-backup") &&
      network_find(bond, NETWORK_NODE_BOND_SLAVE, config_get_ref(config, "device.0")) == nullptr)
    report(config_nearest(config, "device.0"), Rule::bond_left_out,
           {"the first member cannot be the primary", "put a device first that is always present"});
}

constexpr ValueRule vlan_rules[] = {in_range("id")};

constexpr ValueRule local_rules[] = {rule("local", Test::filled)};

constexpr ValueRule iptunnel_rules[] = {rule("local", Test::filled), rule("type", Test::filled),
                                        rule("remote", Test::ipv4)};

constexpr ValueRule macsec_rules[] = {rule("association.cak", Test::hexadecimal),
                                      rule("association.ckn", Test::hexadecimal)};
constexpr Variant macsec_variants[] = {{"manual", macsec_rules}};

constexpr ValueRule l2tpeth_rules[] = {rule("local", Test::filled), rule("remote", Test::address),
                                       rule("tunnel_id", Test::filled), rule("peer_tunnel_id", Test::filled),
                                       rule("encapsulation", Test::filled)};
constexpr ValueRule l2tpeth_ports[] = {in_range("udp_source_port"), in_range("udp_destination_port")};
constexpr Variant l2tpeth_variants[] = {{"udp", l2tpeth_ports}};
constexpr ValueRule session_rules[] = {rule("session_id", Test::filled), rule("peer_session_id", Test::filled)};

void check_iptunnel(const ConfigNode *config) {
  if (config_get_bool(config, "enable")) check_rules(config, iptunnel_rules, Rule::uci_missing);
}

void check_macsec(const ConfigNode *config) {
  if (!config_get_bool(config, "enable")) return;
  check_rules(config, local_rules, Rule::uci_missing);
  check_variants(config, "type", macsec_variants, Rule::uci_missing);
}

// Each session of a tunnel is a device. The settings of the tunnel are checked with its first session.
void check_l2tpeth(const ConfigNode *session) {
  const ConfigNode *sessions = config_node_parent(session);
  const ConfigNode *tunnel = config_node_parent(sessions);
  if (!config_get_bool(tunnel, "enable")) return;
  if (session == config_object_first(sessions)) {
    check_rules(tunnel, l2tpeth_rules, Rule::uci_missing);
    check_variants(tunnel, "encapsulation", l2tpeth_variants, Rule::uci_missing);
  }
  check_rules(session, session_rules, Rule::uci_missing);
}

}  // namespace

void check_devices(const NetworkModel *model) {
  Masters masters;
  for (const NetworkNode *device : nodes_of_type(model, NETWORK_NODE_DEVICE)) {
    const ConfigNode *config = network_config(device);
    switch (network_device_type(device)) {
      case NETWORK_DEVICE_BRIDGE:
        check_bridge(masters, device);
        break;
      case NETWORK_DEVICE_BOND:
        check_bond(masters, device);
        break;
      case NETWORK_DEVICE_VLAN:
        check_rules(config, vlan_rules, Rule::vlan_id);
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
