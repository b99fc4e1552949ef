#include <arpa/inet.h>

#include "main/text.h"
#include "network/network.h"
#include "network/uci.h"

namespace {

void write_target(FILE *out, const char *destination) {
  if (!is_set(destination)) return;
  in_addr address;
  int32_t prefix_length;
  char text[INET_ADDRSTRLEN];
  if (!xip4_parse_network(destination, &address, &prefix_length) ||
      inet_ntop(AF_INET, &address, text, sizeof text) == nullptr)
    return;
  uci_write_value(out, "target", text);
  if (prefix_length != 32) uci_write_option_int(out, "netmask", prefix_length);
}

void write_interface(FILE *out, const ConfigNode *interface) {
  if (interface == nullptr) return;
  const NetworkNode *proto = network_find_proto(network_model, interface, "ipv4");
  if (proto == nullptr) return;
  uci_write_value(out, "interface", network_interface_name(proto));
  if (network_interface_type(proto) != NETWORK_INTERFACE_STATIC) return;
  const char *address = config_get_string(network_config(proto), "address");
  if (is_set(address)) uci_write_value(out, "source", text_before(address, '/').c_str());
}

}  // namespace

void uci_write_route(FILE *out, const ConfigNode *route, const ConfigNode *interface) {
  uci_write_section_anon(out, "route");
  write_target(out, config_get_string(route, "dst"));
  write_interface(out, interface);
  const char *gateway = config_get_string(route, "gateway");
  if (is_set(gateway)) {
    uci_write_value(out, "gateway", gateway);
    uci_write_option_bool(out, "onlink", config_get_bool(route, "onlink"));
  }
  int32_t mtu = config_get_int(route, "mtu");
  if (mtu != 0) uci_write_option_int(out, "mtu", mtu);
  uci_write_option_int(out, "metric", config_get_int(route, "metric"));
}

void uci_write_static_routes(FILE *out, const ConfigNode *root) {
  for (const ConfigNode *route = config_array_first(config_array(root, "network.route.static")); route != nullptr;
       route = config_array_next(route))
    if (config_get_bool(route, "enable")) uci_write_route(out, route, config_get_ref(route, "interface"));
}

void uci_write_multicast_routes(FILE *out, const ConfigNode *root) {
  if (!config_object_has_key(root, "service", "multicast")) return;
  for (const ConfigNode *route = config_object_first(config_object(root, "service.multicast")); route != nullptr;
       route = config_object_next(route)) {
    if (!config_get_bool(route, "enable")) continue;
    const ConfigNode *interfaces = config_array(route, "interface");
    size_t count = config_array_count(interfaces);
    for (size_t i = 0; i < count; i++) uci_write_route(out, route, config_array_get_ref(interfaces, i));
  }
}
