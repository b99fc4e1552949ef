// Writes options that sections of several kinds share.
#include <cstring>

#include "main/strings.h"
#include "network/network.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

const int32_t worst_metric = INT32_MAX;

const char ipsec_tunnel_prefix[] = "vpn.ipsec.tunnel.";

// False for an IPsec tunnel whose health check has not passed; true for anything else.
bool tunnel_is_healthy(const ConfigNode *config) {
  OwnedString path(config_path(config));
  const size_t prefix_length = sizeof ipsec_tunnel_prefix - 1;
  if (strncmp(or_empty(path.get()), ipsec_tunnel_prefix, prefix_length) != 0) return true;
  OwnedString passed(runt_get_string_pathf("vigil.ipsec_%s.passed", path.get() + prefix_length));
  return equals(passed.get(), "y");
}

// The configured name of the router, or else the first word that /bin/hostname prints.
std::string router_name(const ConfigNode *root) {
  const char *configured = string_at(config_lookup(root, "system"), "name");
  if (is_set(configured)) return configured;
  static const char separators[] = " \n";
  const char *name = hostname_output().c_str();
  name += strspn(name, separators);
  return std::string(name, strcspn(name, separators));
}

}  // namespace

void uci_write_interface_section(FILE *out, const NetworkNode *node) {
  uci_write_section(out, "interface", "%s", or_empty(network_interface_name(node)));
}

void uci_write_ifname(FILE *out, const NetworkNode *node) {
  if (node == nullptr || network_find_parent(node, NETWORK_NODE_RADIO) != nullptr) return;
  uci_write_option_string(out, "ifname", network_name(node));
}

void uci_write_metric(FILE *out, const ConfigNode *config) {
  int32_t metric = config_get_int(config, "metric");
  if (metric == 0) return;
  if (config_get_bool(config, "vigil.enable") && !tunnel_is_healthy(config)) metric = worst_metric;
  uci_write_option_int(out, "metric", metric);
}

bool uci_write_passthrough(FILE *out, const NetworkNode *node) {
  const NetworkNode *owner =
      network_type(node) == NETWORK_NODE_PROTO ? network_find_parent(node, NETWORK_NODE_INTERFACE) : node;
  auto found = network_run->passthrough_keys.find(config_node_id(network_config(owner)));
  if (found == network_run->passthrough_keys.end()) return false;
  uci_write_option_string(out, "passthrough", found->second);
  return true;
}

const std::string &hostname_output() {
  std::optional<std::string> &hostname = network_run->hostname;
  if (!hostname) {
    OwnedString output(_process_capture(-1, -1, 1, 0, 0, "/bin/hostname", nullptr));
    hostname = or_empty(output.get());
  }
  return *hostname;
}

void uci_write_hostname(FILE *out, const ConfigNode *config) {
  std::string name = router_name(config_node_get_root(config));
  if (name.empty()) return;
  uci_write_option_string(out, "hostname", name.c_str());
  uci_write_option_bool(out, "dhcp_hostname", config_get_bool(config, "dhcp_hostname"));
}

void uci_write_mtu(FILE *out, const ConfigNode *config) {
  const ConfigNode *mtu = config_object_get(config, "mtu");
  if (mtu == nullptr) return;
  uci_write_option_int(out, "mtu", config_int_get(mtu));
  uci_write_option_string(out, "reqopts", "mtu");
}

void uci_write_link_options(FILE *out, const ConfigNode *config) {
  const char *mac = config_has_key(config, "mac") ? config_get_string(config, "mac") : nullptr;
  if (is_set(mac)) uci_write_option_string(out, "macaddr", mac);
  uci_write_mtu(out, config);
  if (config_has_key(config, "promisc")) uci_write_option_bool(out, "promisc", config_get_bool(config, "promisc"));
}
