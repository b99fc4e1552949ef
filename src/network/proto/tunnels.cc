// Writes the sections of tunnel devices. The interface manager creates these devices, so each has a section of its own.
#include "main/owned.h"
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"

namespace {

const OptionRow l2tpeth_tunnel_rows[] = {
    {"tunnel_id", "tunnel_id"},
    {"peer_tunnel_id", "peer_tunnel_id"},
    {"encapsulation", "encapsulation"},
    {"udp_source_port", "udp_source_port", OptionKind::integer},
    {"udp_destination_port", "udp_destination_port", OptionKind::integer},
    {"udp_checksum", "udp_checksum", OptionKind::boolean},
};

const OptionRow l2tpeth_session_rows[] = {
    {"session_id", "session_id"},   {"peer_session_id", "peer_session_id"}, {"cookie", "cookie"},
    {"peer_cookie", "peer_cookie"}, {"l2spec_type", "l2spec_type"},         {"seq", "seq"},
};

// The runtime fact of the interface that the tunnel's `local` names; null when there is none.
OwnedString local_fact(const ConfigNode *tunnel, const char *fact) {
  OwnedString path(config_path(config_get_ref(tunnel, "local")));
  if (path == nullptr) return nullptr;
  return OwnedString(runt_get_string_pathf("%s.%s", path.get(), fact));
}

// Writes the section header of a device over the tunnel's `local` interface and returns the address of that interface.
// Returns null, and writes nothing, when the tunnel is disabled or the interface has no address.
OwnedString begin_tunnel(FILE *out, const NetworkNode *device, const ConfigNode *tunnel) {
  if (!config_get_bool(tunnel, "enable")) return nullptr;
  OwnedString address = local_fact(tunnel, "ipv4.address");
  if (address != nullptr) uci_write_section(out, "interface", "%s", or_empty(network_name(device)));
  return address;
}

void write_name(FILE *out, const NetworkNode *device) {
  uci_write_option_string(out, "name", network_name(device));
}

void write_local_device(FILE *out, const ConfigNode *tunnel) {
  OwnedString device = local_fact(tunnel, "device");
  if (device != nullptr) uci_write_option_string(out, "device", device.get());
}

}  // namespace

void iptunnel_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  OwnedString address = begin_tunnel(out, device, config);
  if (address == nullptr) return;
  write_name(out, device);
  uci_write_option_string(out, "proto", "iptunnel");
  uci_write_option_string(out, "mode", config_get_string(config, "type"));
  uci_write_option_string(out, "remote", config_get_string(config, "remote"));
  uci_write_option_string(out, "local", address.get());
  write_local_device(out, config);
  uci_write_option_bool(out, "keepalive", config_get_bool(config, "keepalive"));
  if (is_set(config_get_string(config, "key"))) uci_write_option_string(out, "key", config_get_string(config, "key"));
}

void macsec_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  OwnedString address = begin_tunnel(out, device, config);
  if (address == nullptr) return;
  if (equals(config_get_string(config, "type"), "manual")) {
    uci_write_option_string(out, "cak", config_get_string(config, "association.cak"));
    uci_write_option_string(out, "ckn", config_get_string(config, "association.ckn"));
  }
  uci_write_option_string(out, "local_ip", address.get());
  uci_write_option_string(out, "type", config_get_string(config, "type"));
  write_name(out, device);
  uci_write_option_string(out, "proto", "macsec");
  write_local_device(out, config);
}

void l2tpeth_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *session = network_config(device);
  const ConfigNode *tunnel = config_node_parent(config_node_parent(session));
  OwnedString address = begin_tunnel(out, device, tunnel);
  if (address == nullptr) return;
  uci_write_option_string(out, "proto", "l2tpeth");
  uci_write_option_string(out, "remote", config_get_string(tunnel, "remote"));
  uci_write_option_string(out, "local", address.get());
  uci_write_options(out, tunnel, l2tpeth_tunnel_rows);
  uci_write_options(out, session, l2tpeth_session_rows);
}

void wireguard_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  if (!config_get_bool(config, "enable")) return;
  const NetworkNode *created = network_find_device(network_find_parent(device, NETWORK_NODE_ROOT), config);
  uci_write_section(out, "interface", "%s", or_empty(network_name(device)));
  write_name(out, created);
  uci_write_option_string(out, "proto", "wireguard");
  uci_write_ifname(out, created);
}
