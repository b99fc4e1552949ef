// Static, multicast and policy routes, and the networks that NHRP serves.
#include <cstring>
#include <set>

#include "check/check.h"
#include "check/findings.h"
#include "check/ipv4.h"
#include "check/values.h"
#include "config/characters.h"
#include "platform/ranges.h"

namespace {

constexpr ValueRule global_rules[] = {optional(rule("network.advanced.ula_prefix", Test::ipv6_network))};
constexpr ValueRule route_rules[] = {optional(rule("gateway", Test::ipv4)), in_range("mtu")};
constexpr ValueRule domain_policy_rules[] = {
    rule("dst.domain", Test::strings), rule("ip_version", Test::filled),
    as(Rule::dnsmasq_value, line("ipset={dst.domain#1}/domain-policy-9,domain6-policy-9", dnsmasq_line))};
constexpr ValueRule domain_rules[] = {as(Rule::dnsmasq_value, rule("", Test::closed)),
                                      as(Rule::dnsmasq_value, rule("", Test::domain)),
                                      rule("", Test::without, " /,\"")};

// A destination may have a prefix length, but not a mask.
void check_destination(const ConfigNode *route) {
  const char *string = config_get_string(route, "dst");
  const ConfigNode *value = config_nearest(route, "dst");
  if (*string == '\0') {
    report(value, Rule::route_no_dst);
    return;
  }
  const std::optional<Ipv4Network> network = ipv4_network(string);
  const char *slash = strchr(string, '/');
  if (!network.has_value() || (slash != nullptr && strchr(slash, '.') != nullptr))
    report(value, Rule::route_dst, {printable(string)});
  else if (network->first() != network->address)
    report(value, Rule::route_host_bits, {string, ipv4_string(*network)});
}

// A route is written without its interface when that has no IPv4.
void check_route_interface(const NetworkModel *model, const ConfigNode *value, const ConfigNode *interface) {
  if (interface == nullptr)
    report(value, Rule::route_no_interface, {"interface is not set"});
  else if (network_find_proto(model, interface, "ipv4") == nullptr)
    report(value, Rule::route_no_interface, {"that interface has no IPv4, and the route is written without it"});
}

void check_static_route(const NetworkModel *model, const ConfigNode *route) {
  if (!config_get_bool(route, "enable")) return;
  check_destination(route);
  check_rules(route, route_rules, Rule::route_value);
  check_route_interface(model, config_nearest(route, "interface"), config_get_ref(route, "interface"));
}

void check_multicast_route(const NetworkModel *model, const ConfigNode *route) {
  if (!config_get_bool(route, "enable")) return;
  check_destination(route);
  check_rules(route, route_rules, Rule::route_value);
  const ConfigNode *interfaces = config_array(route, "interface");
  const size_t count = config_array_count(interfaces);
  if (count == 0) report(config_nearest(route, "interface"), Rule::route_no_interface, {"interface is not set"});
  if (count > 1) report(interfaces, Rule::multicast_interfaces, {std::to_string(count)});
  for (const ConfigNode *element : elements(interfaces))
    check_route_interface(model, element, config_get_ref(element, ""));
}

void check_policy(const ConfigNode *policy) {
  if (!config_get_bool(policy, "enable") || !string_equals(policy, "dst.type", "domain")) return;
  check_rules(policy, domain_policy_rules, Rule::policy_value);
  check_strings(policy, "dst.domain", domain_rules, Rule::policy_value);
}

// The IPsec tunnels, and the lengths of their names for the search below.
struct Tunnels {
  const ConfigNode *map;
  std::set<size_t> name_lengths;
};

Tunnels tunnels_of(const ConfigNode *root) {
  Tunnels tunnels{config_object(root, "vpn.ipsec.tunnel"), {}};
  for (const ConfigNode *tunnel : members(tunnels.map)) tunnels.name_lengths.insert(strlen(config_key(tunnel)));
  return tunnels;
}

// The tunnels whose name is a part of the string.
std::set<const ConfigNode *> tunnels_named_in(const std::string &string, const Tunnels &tunnels) {
  std::set<const ConfigNode *> named;
  for (size_t length : tunnels.name_lengths) {
    for (size_t start = 0; start + length <= string.size(); start++) {
      const ConfigNode *tunnel = config_object_get(tunnels.map, string.substr(start, length).c_str());
      if (tunnel != nullptr) named.insert(tunnel);
    }
  }
  return named;
}

// NHRP runs each tunnel whose name is a part of the network's string, so names may match by accident.
void check_nhrp_network(const Tunnels &tunnels, const ConfigNode *network) {
  const std::string string = config_get_string(network, "ipsec");
  const std::vector<std::string_view> listed = split(string, ' ');
  const std::set<std::string_view> words(listed.begin(), listed.end());
  const std::set<const ConfigNode *> named = tunnels_named_in(string, tunnels);
  for (const ConfigNode *tunnel : named) {
    if (words.count(config_key(tunnel)) == 0)
      report(tunnel, Rule::nhrp_name,
             {"the tunnel counts as run by NHRP, as its name is a part of '" + printable(string) + "'"});
  }
  if (named.empty() && !string.empty())
    report(config_nearest(network, "ipsec"), Rule::nhrp_name, {"'" + printable(string) + "' names no IPsec tunnel"});
}

}  // namespace

void check_routes(const ConfigNode *root, const NetworkModel *model) {
  check_rules(root, global_rules, Rule::uci_value);
  for (const ConfigNode *route : entries_at(root, "network.route.static")) check_static_route(model, route);
  for (const ConfigNode *route : entries_at(root, "service.multicast")) check_multicast_route(model, route);
  for (const ConfigNode *policy : entries_at(root, "network.route.policy")) check_policy(policy);
  const Tunnels tunnels = tunnels_of(root);
  for (const ConfigNode *network : entries_at(root, "network.route.service.nhrp.network"))
    check_nhrp_network(tunnels, network);
}
