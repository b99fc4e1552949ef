// Subnets of interfaces with fixed addresses: which ones overlap, and which addresses do not fit their own subnet.
#include <algorithm>
#include <cstring>
#include <vector>

#include "check/check.h"
#include "check/findings.h"
#include "check/ipv4.h"
#include "check/values.h"
#include "platform/ranges.h"

namespace {

struct Subnet {
  const ConfigNode *part;
  Ipv4Network network;
};

// The subnets in document order.
std::vector<Subnet> collect_subnets(const NetworkModel *model) {
  std::vector<Subnet> subnets;
  for (const NetworkNode *node : nodes_of_type(model, NETWORK_NODE_PROTO)) {
    const uint32_t type = network_interface_type(node);
    if (type != NETWORK_INTERFACE_STATIC && type != NETWORK_INTERFACE_HYBRID) continue;
    const std::optional<Ipv4Network> network = ipv4_network(config_get_string(network_config(node), "address"));
    if (network.has_value()) subnets.push_back({network_config(node), *network});
  }
  return subnets;
}

void check_own(const Subnet &subnet) {
  const Ipv4Network &network = subnet.network;
  const ConfigNode *address = config_object_get(subnet.part, "address");
  if (network.last() - network.first() > 1 && (network.address == network.first() || network.address == network.last()))
    report(address, Rule::address_ends,
           {ipv4_string(network.address), network.address == network.first() ? "first" : "last"});
  const std::optional<uint32_t> gateway = ipv4_address(config_get_string(subnet.part, "gateway"));
  if (gateway.has_value() && !network.holds(*gateway))
    report(config_object_get(subnet.part, "gateway"), Rule::gateway_outside,
           {ipv4_string(*gateway), ipv4_string(network)});
}

// Reports the later one in the document of two overlapping subnets. If it overlaps several, the finding names one.
void check_overlaps(std::vector<Subnet> subnets) {
  std::stable_sort(subnets.begin(), subnets.end(),
                   [](const Subnet &a, const Subnet &b) { return a.network.first() < b.network.first(); });
  const Subnet *widest = nullptr;
  for (const Subnet &subnet : subnets) {
    if (widest != nullptr && subnet.network.first() <= widest->network.last()) {
      const bool later = config_node_id(subnet.part) > config_node_id(widest->part);
      const Subnet &reported = later ? subnet : *widest;
      const Subnet &other = later ? *widest : subnet;
      report(config_object_get(reported.part, "address"), Rule::subnet_twice,
             {ipv4_string(reported.network), path_of(config_node_parent(other.part))});
    }
    if (widest == nullptr || subnet.network.last() > widest->network.last()) widest = &subnet;
  }
}

}  // namespace

void check_subnets(const NetworkModel *model) {
  const std::vector<Subnet> subnets = collect_subnets(model);
  for (const Subnet &subnet : subnets) check_own(subnet);
  check_overlaps(subnets);
}
