// Static, multicast and policy routes, and the networks that NHRP serves.
#include <cstring>

#include "config/report.h"
#include "network/check.h"
#include "network/rules.h"

namespace {

constexpr Rule global_rules[] = {optional(rule("network.advanced.ula_prefix", Test::ipv6_network)), end_of_rules};
constexpr Rule route_rules[] = {optional(rule("dst", Test::destination)), optional(rule("gateway", Test::ipv4)),
                                range("mtu", 0, 65535), end_of_rules};
constexpr Rule multicast_rules[] = {rule("dst", Test::filled), rule("interface", Test::texts), end_of_rules};
constexpr Rule domain_policy_rules[] = {rule("dst.domain", Test::texts), rule("ip_version", Test::filled),
                                        line("ipset={dst.domain#1}/domain-policy-9,domain6-policy-9", dnsmasq_line),
                                        end_of_rules};

// A route over that interface is written without it unless something serves IPv4 there.
void check_route_interface(const NetworkModel *model, const ConfigNode *value, const ConfigNode *interface) {
  if (interface != nullptr && network_find_proto(model, interface, "ipv4") == nullptr)
    config_report(value, Grade::questionable, "nothing serves IPv4 on that interface, the route is written without it");
}

void check_static_route(const NetworkModel *model, const ConfigNode *route) {
  if (!config_get_bool(route, "enable")) return;
  check_rules(route, route_rules);
  const ConfigNode *interface = config_get_ref(route, "interface");
  check_route_interface(model, written(route, "interface"), interface);
  if (interface == nullptr && text_equals(route, "gateway", ""))
    config_report(route, Grade::questionable, "the route has neither an interface nor a gateway");
}

void check_multicast_route(const NetworkModel *model, const ConfigNode *route) {
  if (!config_get_bool(route, "enable")) return;
  check_rules(route, route_rules);
  check_rules(route, multicast_rules);
  const ConfigNode *interfaces = config_array(route, "interface");
  const size_t count = config_array_count(interfaces);
  for (size_t index = 0; index < count; ++index)
    check_route_interface(model, interfaces, config_array_get_ref(interfaces, index));
}

void check_policy(const ConfigNode *policy) {
  if (!config_get_bool(policy, "enable") || !text_equals(policy, "dst.type", "domain")) return;
  check_rules(policy, domain_policy_rules);
  check_texts(policy, "dst.domain", optional(rule("", Test::without, " /,\"")));
}

// A tunnel counts as NHRP's when the network's text holds its name anywhere.
void check_nhrp_network(const ConfigNode *tunnels, const ConfigNode *network) {
  const char *text = config_get_string(network, "ipsec");
  bool matched = *text == '\0';
  for_each_member(tunnels, [&](const ConfigNode *tunnel) {
    if (strstr(text, config_key(tunnel)) == nullptr) return;
    matched = true;
    if (!is_word_of(config_key(tunnel), text))
      config_report(tunnel, Grade::questionable, "the tunnel counts as run by NHRP, as its name is a part of '%s'",
                    text);
  });
  if (!matched) config_report(written(network, "ipsec"), Grade::questionable, "'%s' names no IPsec tunnel", text);
}

}  // namespace

void check_routes(const ConfigNode *root, const NetworkModel *model) {
  check_rules(root, global_rules);
  for_each_element(config_array(root, "network.route.static"),
                   [model](const ConfigNode *route) { check_static_route(model, route); });
  for_each_member(config_object(root, "service.multicast"),
                  [model](const ConfigNode *route) { check_multicast_route(model, route); });
  for_each_element(config_array(root, "network.route.policy"), check_policy);
  const ConfigNode *tunnels = config_object(root, "vpn.ipsec.tunnel");
  for_each_element(config_array(root, "network.route.service.nhrp.network"),
                   [tunnels](const ConfigNode *network) { check_nhrp_network(tunnels, network); });
}
