// Writes the sections of IPsec tunnels.
#include <algorithm>

#include "ipsec/staging.h"
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/digest.h"
#include "network/proto/proto.h"
#include "output/files.h"
#include "output/quote.h"
#include "output/uci.h"

namespace {

// Settings of the times between attempts to connect, and their options.
struct BackoffRow {
  const char *path;
  const char *initial;
  const char *limit;
  const char *jitter;
  const char *base;
};
const BackoffRow backoffs[] = {
    {"vpn.ipsec.advanced.connection_retry_timeout", "retry_timeout_initial", "retry_timeout_limit",
     "retry_timeout_jitter", "retry_timeout_base"},
    {"vpn.ipsec.advanced.connection_try_interval", "try_interval_initial", "try_interval_limit", "try_interval_jitter",
     "try_interval_base"},
};

void write_backoffs(FILE *out, const ConfigNode *root) {
  for (const BackoffRow &row : backoffs) {
    const ConfigNode *settings = config_lookup(root, row.path);
    uci_write_option_int(out, row.initial, config_get_duration(settings, "duration"));
    uci_write_option_int(out, row.limit, config_get_duration(settings, "limit"));
    uci_write_option_int(out, row.jitter, config_get_int(settings, "jitter"));
    uci_write_option(out, row.base, "%lf", config_get_number(settings, "base"));
  }
}

int32_t count_hosts(const ConfigNode *config, const char *name) {
  size_t count = config_array_count(config_array(config, "remote.peers"));
  if (count > 1 && runt_get_int_pathf(0, "vpn.ipsec.tunnel.%s.skip_peer.active", name) != 0) count--;
  return static_cast<int32_t>(count);
}

// Writes the digest of all files of the tunnel. When it changes, the interface manager restarts the interface.
void write_digest(FILE *out, const char *name) {
  if (!is_plain_word(name)) return;
  std::string command = format("cat " IPSEC_TREE "/*/%s.* 2>/dev/null | md5sum", name);
  OwnedString output(_process_capture(-1, -1, 1, 0, 0, "sh", "-c", command.c_str(), nullptr));
  uci_write_md5sum(out, "conf_md5sum", output.get());
}

}  // namespace

void uci_write_ipsec_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  const ConfigNode *root = config_node_get_root(config);
  const char *name = or_empty(config_key(config));
  if (tunnel_managed_by_nhrp(network_run->nhrp, name)) return;
  if (!is_there(format(IPSEC_TREE "/conf/%s.conf", name).c_str())) return;

  uci_write_interface_section(out, node);
  uci_write_option_string(out, "proto", "ipsec");
  uci_write_ifname(out, network_find_device(network_find_parent(node, NETWORK_NODE_ROOT), config));
  uci_write_metric(out, config);
  uci_write_option_string(out, "initiate", config_get_bool(config, "ike.initiate") ? "initiate" : "route");
  size_t policies = config_array_count(config_array(config, "policy"));
  uci_write_option_int(out, "policies", static_cast<int32_t>(std::max<size_t>(policies, 1)));
  uci_write_option_int(out, "num_hosts", count_hosts(config, name));
  write_backoffs(out, root);
  write_digest(out, name);
}
