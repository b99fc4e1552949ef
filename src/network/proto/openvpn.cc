// Writes the sections of OpenVPN interfaces.
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/digest.h"
#include "network/proto/openvpn_files.h"
#include "network/proto/proto.h"
#include "output/uci.h"

void openvpn_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  const char *key = config_key(config);
  const NetworkNode *device = network_find_device(network_find_parent(node, NETWORK_NODE_ROOT), config);
  // Only clients have the key `username`, which may be empty.
  bool is_client = config_has_key(config, "username");

  uci_write_interface_section(out, node);
  uci_write_option_string(out, "proto", is_client ? "openvpn" : "openvpn_server");
  uci_write_ifname(out, device);
  uci_write_option_int(out, "metric", config_get_int(config, "metric"));
  if (!is_client) uci_write_option_string(out, "server_network", config_get_string(config, "server_address"));
  uci_write_config_digest(out, config);

  if (!is_path_component(key)) return;
  if (is_client) {
    openvpn_write_userpass(config, key);
    openvpn_write_client_file(config, key);
  } else if (openvpn_write_server_file(config, key, or_empty(network_name(device)))) {
    openvpn_write_template(config, key, string_before(hostname_output().c_str(), '\n').c_str());
  }
}
