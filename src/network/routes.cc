// Writes the sections of routes.
#include <arpa/inet.h>

#include "main/strings.h"
#include "network/network.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

void write_target(FILE *out, const char *destination) {
  if (!is_set(destination)) return;
  in_addr address;
  int32_t prefix_length;
  char target[INET_ADDRSTRLEN];
  if (!xip4_parse_network(destination, &address, &prefix_length) ||
      inet_ntop(AF_INET, &address, target, sizeof target) == nullptr)
    return;
  uci_write_option_string(out, "target", target);
  if (prefix_length != 32) uci_write_option_int(out, "netmask", prefix_length);
}

void write_interface(FILE *out, const ConfigNode *interface) {
  if (interface == nullptr) return;
  const NetworkNode *proto = network_find_proto(network_run->model.get(), interface, "ipv4");
  if (proto == nullptr) return;
  uci_write_option_string(out, "interface", network_interface_name(proto));
  if (network_interface_type(proto) != NETWORK_INTERFACE_STATIC) return;
  const char *address = config_get_string(network_config(proto), "address");
  if (is_set(address)) uci_write_option_string(out, "source", string_before(address, '/').c_str());
}

}  // namespace

void uci_write_route(FILE *out, const ConfigNode *route, const ConfigNode *interface) {
  uci_write_section_anon(out, "route");
  write_target(out, config_get_string(route, "dst"));
  write_interface(out, interface);
  const char *gateway = config_get_string(route, "gateway");
  if (is_set(gateway)) {
    uci_write_option_string(out, "gateway", gateway);
    uci_write_option_bool(out, "onlink", config_get_bool(route, "onlink"));
  }
  int32_t mtu = config_get_int(route, "mtu");
  if (mtu != 0) uci_write_option_int(out, "mtu", mtu);
  uci_write_option_int(out, "metric", config_get_int(route, "metric"));
}

void uci_write_static_routes(FILE *out, const ConfigNode *root) {
  for (const ConfigNode *route : elements(config_array(root, "network.route.static")))
    if (config_get_bool(route, "enable")) uci_write_route(out, route, config_get_ref(route, "interface"));
}

void uci_write_multicast_routes(FILE *out, const ConfigNode *root) {
  if (!config_object_has_key(root, "service", "multicast")) return;
  for (const ConfigNode *route : members(config_object(root, "service.multicast"))) {
    if (!config_get_bool(route, "enable")) continue;
    for (const ConfigNode *interface : reference_elements(config_array(route, "interface")))
      uci_write_route(out, route, interface);
  }
}
