// Selects tunnels and resolves their ends.
#include "ipsec/tunnel.h"

#include <strings.h>

#include <cstring>

#include "main/strings.h"
#include "platform/ranges.h"

namespace {

const char interface_prefix[] = "network.interface.";
constexpr size_t interface_prefix_length = sizeof interface_prefix - 1;

constexpr int32_t primary_ready = 1;
constexpr int32_t primary_unknown = 2;

// True when the primary tunnel works: one address family is ready, and no family reports 0.
bool primary_is_up(const char *primary) {
  int32_t ipv4 = runt_get_int_pathf(primary_unknown, "vpn.ipsec.tunnel.%s.ipv4.ready", primary);
  int32_t ipv6 = runt_get_int_pathf(primary_unknown, "vpn.ipsec.tunnel.%s.ipv6.ready", primary);
  return ipv4 != 0 && ipv6 != 0 && (ipv4 == primary_ready || ipv6 == primary_ready);
}

// The interface of the best default route of the family; empty when there is none.
std::optional<std::string> read_default_route_interface(const std::string &family) {
  OwnedEntries routes(runt_get_entries(("network.route.default.metric." + family).c_str(), 0, 0, 0, 0));
  for (const RuntEntry *route : entries(routes.get())) {
    const char *value = or_empty(route->value);
    if (strncmp(value, interface_prefix, interface_prefix_length) == 0) return value + interface_prefix_length;
  }
  return std::nullopt;
}

std::optional<std::string> default_route_interface(IpsecRun &run, const char *family) {
  auto [place, is_new] = run.default_route_interfaces.try_emplace(family);
  if (is_new) place->second = read_default_route_interface(family);
  return place->second;
}

// The interface of the tunnel's local end; empty when there is none.
std::optional<std::string> local_interface(IpsecRun &run, const ConfigNode *config, const char *family) {
  const char *type = string_at(config, "local.type");
  if (equals(type, "defaultroute")) return default_route_interface(run, family);
  if (equals(type, "interface")) return string_at(config, "local.interface");
  return std::nullopt;
}

bool resolve_local_end(IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel) {
  std::optional<std::string> interface = local_interface(run, config, tunnel.family);
  if (!interface) {
    log_error("tunnel '%s' local endpoint interface not available. Skipping tunnel", tunnel.name);
    return false;
  }
  const std::string facts = format("network.interface.%s.%s", interface->c_str(), tunnel.family);
  if (runt_get_int_pathf(0, "%s.ready", facts.c_str()) == 0) {
    log_error("tunnel '%s' local endpoint interface not ready. Skipping tunnel", tunnel.name);
    return false;
  }
  bool passthrough = runt_get_int_pathf(0, "%s.passthrough", facts.c_str()) != 0;
  OwnedString address(runt_get_string_pathf("%s.address", facts.c_str()));
  if (passthrough) {
    // The address belongs to the host behind this device.
    tunnel.left = tunnel.is_ipv6 ? "::" : "0.0.0.0";
    tunnel.passthrough_address = or_empty(address.get());
  } else {
    tunnel.left = or_empty(address.get());
  }
  if (!tunnel.left.empty()) return true;
  log_error("tunnel '%s' local endpoint address is not available. Skipping tunnel", tunnel.name);
  return false;
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
  const char *primary = string_at(config, "ipsec_failover");
  if (*primary != '\0' && strcmp(primary, name) != 0 && primary_is_up(primary)) return false;
  return config_get_bool(config, "enable");
}

bool resolve_endpoints(IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel) {
  tunnel.family = string_at(config, "remote.ip_version");
  tunnel.is_ipv6 = equals(tunnel.family, "ipv6");
  if (runt_get_int_pathf(0, "vpn.ipsec.tunnel.%s.skip_peer.active", tunnel.name) != 0)
    tunnel.skip_host.reset(runt_get_string_pathf("vpn.ipsec.tunnel.%s.skip_peer.hostname", tunnel.name));
  if (!resolve_local_end(run, config, tunnel)) return false;
  resolve_remote_end(config, tunnel);
  tunnel.local_id = ipsec_identity(config_object(config, "local"));
  tunnel.remote_id = ipsec_identity(config_object(config, "remote"));
  tunnel.secret_local = tunnel.local_id.empty() ? tunnel.left : tunnel.local_id;
  tunnel.secret_remote = tunnel.remote_id.empty() ? tunnel.right : tunnel.remote_id;
  tunnel.auth_type = string_at(config, "auth.type");
  return true;
}
