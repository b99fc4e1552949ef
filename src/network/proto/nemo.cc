// Sections of network-mobility interfaces: a mobile router, its home agent and the networks that it takes along.
#include "main/text.h"
#include "network/proto/proto.h"
#include "network/uci.h"

namespace {

const OptionRow mobility_rows[] = {
    {"home_agent", "home_agent", OptionKind::text},
    {"key", "key", OptionKind::text},
    {"spi", "spi", OptionKind::text},
    {"lifetime", "lifetime", OptionKind::integer},
    {"metric", "metric", OptionKind::integer},
    {"mtu_discovery", "mtu_discovery", OptionKind::boolean},
    {"", "", OptionKind::text},
};

void write_care_of_address(FILE *out, const ConfigNode *config) {
  const char *type = text_at(config, "coaddress.type");
  uci_write_value(out, "coaddress_type", type);
  if (equals(type, "interface"))
    uci_write_option_text(out, "coaddress", config, "coaddress.interface");
  else if (equals(type, "ip"))
    uci_write_option_text(out, "coaddress", config, "coaddress.address");
}

void write_local_end(FILE *out, const ConfigNode *config) {
  bool named = equals(config_get_string(config, "tun_local.type"), "interface");
  uci_write_option_text(out, "tun_local", config, named ? "tun_local.interface" : "tun_local.type");
}

// ADDRESS/NETMASK of every interface in `network` that has both at the moment.
OwnedList advertised_networks(const ConfigNode *config) {
  OwnedList networks;
  const ConfigNode *interfaces = config_array(config, "network");
  size_t count = config_array_count(interfaces);
  for (size_t i = 0; i < count; i++) {
    const char *name = or_empty(config_array_get_string(interfaces, i));
    OwnedText address(runt_get_string_pathf("network.interface.%s.ipv4.address", name));
    OwnedText netmask(runt_get_string_pathf("network.interface.%s.ipv4.netmask", name));
    if (address != nullptr && netmask != nullptr)
      append(networks, format("%s/%s", address.get(), netmask.get()).c_str());
  }
  return networks;
}

}  // namespace

void nemo_write_interface(FILE *out, const NetworkNode *node) {
  const ConfigNode *config = network_config(node);
  if (!config_get_bool(config, "enable")) return;
  uci_write_interface_section(out, node);
  uci_write_value(out, "proto", "nemo");
  uci_write_option_text(out, "home_address", config, "home_address");
  write_care_of_address(out, config);
  write_local_end(out, config);
  uci_write_options(out, config, mobility_rows);
  if (!config_get_bool(config, "mtu_discovery")) uci_write_option_int(out, "mtu", config_get_int(config, "mtu"));
  OwnedList networks = advertised_networks(config);
  uci_write_option_int(out, "num_adv_networks", sl_len(networks.get()));
  uci_write_option_list(out, "adv_networks", networks.get(), ",");
}
