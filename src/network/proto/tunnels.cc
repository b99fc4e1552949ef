// Sections of tunnel devices. The interface manager creates them, so each is an interface of its own to it.
#include "main/text.h"
#include "network/proto/proto.h"
#include "network/uci.h"

namespace {

const OptionRow l2tpeth_tunnel_rows[] = {
    {"tunnel_id", "tunnel_id", OptionKind::text},
    {"peer_tunnel_id", "peer_tunnel_id", OptionKind::text},
    {"encapsulation", "encapsulation", OptionKind::text},
    {"udp_source_port", "udp_source_port", OptionKind::integer},
    {"udp_destination_port", "udp_destination_port", OptionKind::integer},
    {"udp_checksum", "udp_checksum", OptionKind::boolean},
    {"", "", OptionKind::text},
};

const OptionRow l2tpeth_session_rows[] = {
    {"session_id", "session_id", OptionKind::text},
    {"peer_session_id", "peer_session_id", OptionKind::text},
    {"cookie", "cookie", OptionKind::text},
    {"peer_cookie", "peer_cookie", OptionKind::text},
    {"l2spec_type", "l2spec_type", OptionKind::text},
    {"seq", "seq", OptionKind::text},
    {"", "", OptionKind::text},
};

// The runtime text `item` of the interface that the tunnel's `local` names; null when there is none.
OwnedText local_fact(const ConfigNode *tunnel, const char *item) {
  OwnedText path(config_path(config_get_ref(tunnel, "local")));
  if (path == nullptr) return nullptr;
  return OwnedText(runt_get_string_pathf("%s.%s", path.get(), item));
}

// Begins the section of a device that runs over the tunnel's `local` interface and gives that interface's address.
// Null, and no section, while the tunnel is off or the interface has no address.
OwnedText begin_tunnel(FILE *out, const NetworkNode *device, const ConfigNode *tunnel) {
  if (!config_get_bool(tunnel, "enable")) return nullptr;
  OwnedText address = local_fact(tunnel, "ipv4.address");
  if (address != nullptr) uci_write_section(out, "interface", "%s", or_empty(network_name(device)));
  return address;
}

void write_name(FILE *out, const NetworkNode *device) {
  uci_write_value(out, "name", network_name(device));
}

void write_local_device(FILE *out, const ConfigNode *tunnel) {
  OwnedText device = local_fact(tunnel, "device");
  if (device != nullptr) uci_write_value(out, "device", device.get());
}

}  // namespace

void iptunnel_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  OwnedText address = begin_tunnel(out, device, config);
  if (address == nullptr) return;
  write_name(out, device);
  uci_write_value(out, "proto", "iptunnel");
  uci_write_option_text(out, "mode", config, "type");
  uci_write_option_text(out, "remote", config, "remote");
  uci_write_value(out, "local", address.get());
  write_local_device(out, config);
  uci_write_option_bool(out, "keepalive", config_get_bool(config, "keepalive"));
  if (is_set(config_get_string(config, "key"))) uci_write_option_text(out, "key", config, "key");
}

void macsec_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  OwnedText address = begin_tunnel(out, device, config);
  if (address == nullptr) return;
  if (equals(config_get_string(config, "type"), "manual")) {
    uci_write_option_text(out, "cak", config, "association.cak");
    uci_write_option_text(out, "ckn", config, "association.ckn");
  }
  uci_write_value(out, "local_ip", address.get());
  uci_write_option_text(out, "type", config, "type");
  write_name(out, device);
  uci_write_value(out, "proto", "macsec");
  write_local_device(out, config);
}

void l2tpeth_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *session = network_config(device);
  const ConfigNode *tunnel = config_node_parent(config_node_parent(session));
  OwnedText address = begin_tunnel(out, device, tunnel);
  if (address == nullptr) return;
  uci_write_value(out, "proto", "l2tpeth");
  uci_write_option_text(out, "remote", tunnel, "remote");
  uci_write_value(out, "local", address.get());
  uci_write_options(out, tunnel, l2tpeth_tunnel_rows);
  uci_write_options(out, session, l2tpeth_session_rows);
}

void wireguard_write_device(FILE *out, const NetworkNode *device) {
  const ConfigNode *config = network_config(device);
  if (!config_get_bool(config, "enable")) return;
  const NetworkNode *created = network_find_device(network_find_parent(device, NETWORK_NODE_ROOT), config);
  uci_write_section(out, "interface", "%s", or_empty(network_name(device)));
  write_name(out, created);
  uci_write_value(out, "proto", "wireguard");
  uci_write_ifname(out, created);
}
