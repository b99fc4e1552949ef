// Writes the IKE daemon's configuration: two main files, and a tree with the files of all tunnels. For each tunnel the
// main files include a connection file and a secrets file of the tree. The tree is built under another name and
// replaces the old one at the end.
#include <cerrno>
#include <cstring>

#include "ipsec/staging.h"
#include "ipsec/tunnel.h"
#include "main/mappers.h"
#include "main/strings.h"
#include "output/files.h"
#include "platform/ranges.h"

bool fips_mode;

namespace {

const char main_conf_path[] = "/var/run/ipsec.conf";
const char main_secrets_path[] = "/var/run/ipsec.secrets";

// Writes the connection file of the tunnel. False, after a message, when it is incomplete; the caller removes it then.
bool write_connection_file(const IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel) {
  tunnel.conf_path = format(IPSEC_STAGING_TREE "/conf/%s.conf", tunnel.name);
  OwnedStream out = stage_stream(tunnel.conf_path.c_str());
  if (out == nullptr) {
    log_error("error opening tunnel conf file %s: %s", tunnel.conf_path.c_str(), strerror(errno));
    return false;
  }
  if (!write_connections(out.get(), run, config, tunnel)) return false;
  if (close_output(std::move(out))) return true;
  log_error("error writing tunnel conf file %s: %s. Skipping tunnel", tunnel.conf_path.c_str(), strerror(errno));
  return false;
}

// Writes all files of one tunnel. True when they are complete; otherwise removes the connection file.
bool write_tunnel_files(IpsecRun &run, const ConfigNode *config, TunnelContext &tunnel) {
  bool complete = resolve_endpoints(run, config, tunnel) && write_credentials(config, tunnel) &&
                  find_peer_ca(config, tunnel) && write_connection_file(run, config, tunnel);
  if (!complete && !tunnel.conf_path.empty()) remove_file(tunnel.conf_path.c_str());
  return complete;
}

// Writes the files of one tunnel and its lines in the main files. False for a tunnel that is skipped or not wanted.
bool write_tunnel(IpsecRun &run, const ConfigNode *config, int32_t index, FILE *conf, FILE *secrets) {
  TunnelContext tunnel;
  tunnel.name = or_empty(config_key(config));
  tunnel.index = index;
  if (!tunnel_is_wanted(config, tunnel.name)) return false;
  if (!is_path_component(tunnel.name)) {
    log_error("tunnel '%s' has a name that cannot name files. Skipping tunnel", tunnel.name);
    return false;
  }
  if (!write_tunnel_files(run, config, tunnel)) return false;
  fprintf(conf, "include " IPSEC_TREE "/conf/%s.conf\n", tunnel.name);
  fprintf(secrets, "include " IPSEC_TREE "/secrets/%s.secret\n", tunnel.name);
  return true;
}

bool close_main_file(OwnedStream stream, const char *path) {
  if (close_output(std::move(stream))) return true;
  log_error("error writing %s: %s", path, strerror(errno));
  return false;
}

// Writes everything; returns the exit status.
int32_t generate(const ConfigNode *root) {
  IpsecRun run(root);
  fips_mode = config_object_has_key(root, "system", "fips") && config_get_bool(root, "system.fips");
  OwnedStream conf = open_output(main_conf_path);
  if (conf == nullptr) return 1;
  OwnedStream secrets = open_output(main_secrets_path);
  if (secrets == nullptr) return 1;
  if (runt_init() != 0) log_error("failed to initialize runt interface");

  create_staging_tree();
  fprintf(conf.get(), "config setup\n\n");
  bool any_complete = false;
  int32_t index = 0;
  for (const ConfigNode *tunnel : members(config_object(root, "vpn.ipsec.tunnel")))
    if (write_tunnel(run, tunnel, ++index, conf.get(), secrets.get())) any_complete = true;

  bool conf_written = close_main_file(std::move(conf), main_conf_path);
  bool secrets_written = close_main_file(std::move(secrets), main_secrets_path);
  swap_staging_tree();
  runt_deinit();
  return any_complete && conf_written && secrets_written ? 0 : 1;
}

}  // namespace

int32_t map_ipsec(const ConfigNode *root, int32_t /*argc*/, char ** /*argv*/) {
  log_init("tessera_ipsec", 0, 0);
  return generate(root);
}
