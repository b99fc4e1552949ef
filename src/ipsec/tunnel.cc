// Selection of tunnels and resolution of their ends.
#include "ipsec/tunnel.h"

#include <strings.h>

#include <cstring>

#include "ipsec/notation.h"

namespace {

const char interface_prefix[] = "network.interface.";
constexpr size_t interface_prefix_length = sizeof interface_prefix - 1;

constexpr int32_t primary_ready = 1;
constexpr int32_t primary_unknown = 2;

// True when the primary tunnel works: one family is ready and the other does not report trouble.
bool primary_is_up(const char *primary) {
  int32_t ipv4 = runt_get_int_pathf(primary_unknown, "vpn.ipsec.tunnel.%s.ipv4.ready", primary);
  int32_t ipv6 = runt_get_int_pathf(primary_unknown, "vpn.ipsec.tunnel.%s.ipv6.ready", primary);
  return ipv4 != 0 && ipv6 != 0 && (ipv4 == primary_ready || ipv6 == primary_ready);
}

// The interface that holds the best default route of the family.
bool default_route_interface(const char *family, std::string &interface) {
  std::string routes = format("network.route.default.metric.%s", family);
  OwnedEntries entries(runt_get_entries(routes.c_str(), 0, 0, 0, 0));
  if (entries == nullptr) return false;
  for (RuntEntry **entry = entries.get(); *entry != nullptr; entry++) {
    const char *value = or_empty((*entry)->value);
    if (strncmp(value, interface_prefix, interface_prefix_length) != 0) continue;
    interface = value + interface_prefix_length;
    return true;
  }
  return false;
}

// The interface of the tunnel's local end; false when there is none.
bool local_interface(const ConfigNode *config, const char *family, std::string &interface) {
  const char *type = text_at(config, "local.type");
  if (equals(type, "defaultroute")) return default_route_interface(family, interface);
  if (!equals(type, "interface")) return false;
  interface = text_at(config, "local.interface");
  return true;
}

Step resolve_local_end(const ConfigNode *config, TunnelContext &tunnel) {
  std::string interface;
  if (!local_interface(config, tunnel.family, interface)) {
    log_error("tunnel '%s' local endpoint interface not available. Skipping tunnel", tunnel.name);
    return Step::skip;
  }
  if (runt_get_int_pathf(0, "network.interface.%s.%s.ready", interface.c_str(), tunnel.family) == 0) {
    log_error("tunnel '%s' local endpoint interface not ready. Skipping tunnel", tunnel.name);
    return Step::skip;
  }
  bool passthrough =
      runt_get_int_pathf(0, "network.interface.%s.%s.passthrough", interface.c_str(), tunnel.family) != 0;
  OwnedText address(runt_get_string_pathf("network.interface.%s.%s.address", interface.c_str(), tunnel.family));
  if (passthrough) {
    // The address belongs to the host behind this device.
    tunnel.left = tunnel.is_ipv6 ? "::" : "0.0.0.0";
    tunnel.passthrough_address = or_empty(address.get());
  } else {
    tunnel.left = or_empty(address.get());
  }
  if (tunnel.left.empty()) {
    log_error("tunnel '%s' local endpoint address is not available. Skipping tunnel", tunnel.name);
    return Step::skip;
  }
  return Step::go_on;
}

void resolve_remote_end(const ConfigNode *config, TunnelContext &tunnel) {
  tunnel.right = remote_host_list(config, tunnel.skip_host.get(), tunnel.is_ipv6);
  tunnel.initiate = config_get_bool(config, "ike.initiate");
  if (strcasecmp(tunnel.right.c_str(), "any") != 0) return;
  tunnel.right = "%any";
  if (tunnel.initiate) {
    log_error("cannot initiate tunnel '%s' with 'any' remote end-point, disabling initiate option.", tunnel.name);
    tunnel.initiate = false;
  }
}

}  // namespace

bool tunnel_is_wanted(const ConfigNode *config, const char *name) {
  const char *primary = text_at(config, "ipsec_failover");
  if (*primary != '\0' && strcmp(primary, name) != 0 && primary_is_up(primary)) return false;
  return config_get_bool(config, "enable");
}

Step resolve_endpoints(const ConfigNode *config, TunnelContext &tunnel) {
  tunnel.family = text_at(config, "remote.ip_version");
  tunnel.is_ipv6 = equals(tunnel.family, "ipv6");
  if (runt_get_int_pathf(0, "vpn.ipsec.tunnel.%s.skip_peer.active", tunnel.name) != 0)
    tunnel.skip_host.reset(runt_get_string_pathf("vpn.ipsec.tunnel.%s.skip_peer.hostname", tunnel.name));
  if (resolve_local_end(config, tunnel) == Step::skip) return Step::skip;
  resolve_remote_end(config, tunnel);
  tunnel.local_id = ipsec_identity(config_object(config, "local"));
  tunnel.remote_id = ipsec_identity(config_object(config, "remote"));
  tunnel.secret_local = tunnel.local_id.empty() ? tunnel.left : tunnel.local_id;
  tunnel.secret_remote = tunnel.remote_id.empty() ? tunnel.right : tunnel.remote_id;
  tunnel.auth_type = text_at(config, "auth.type");
  return Step::go_on;
}
