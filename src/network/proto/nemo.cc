// Writes the sections of network mobility (NEMO) interfaces: a mobile router, its home agent and its mobile networks.
#include "main/owned.h"
#include "main/strings.h"
#include "network/network.h"
#include "network/proto/proto.h"
#include "output/uci.h"
#include "platform/ranges.h"

namespace {

const OptionRow mobility_rows[] = {
    {"home_agent", "home_agent"},
    {"key", "key"},
    {"spi", "spi"},
    {"lifetime", "lifetime", OptionKind::integer},
    {"metric", "metric", OptionKind::integer},
    {"mtu_discovery", "mtu_discovery", OptionKind::boolean},
};

void write_care_of_address(FILE *out, const ConfigNode *config) {
  const char *type = string_at(config, "coaddress.type");
  uci_write_option_string(out, "coaddress_type", type);
  if (equals(type, "interface"))
    uci_write_option_string(out, "coaddress", config_get_string(config, "coaddress.interface"));
  else if (equals(type, "ip"))
    uci_write_option_string(out, "coaddress", config_get_string(config, "coaddress.address"));
}

void write_local_end(FILE *out, const ConfigNode *config) {
  bool named = equals(config_get_string(config, "tun_local.type"), "interface");
  uci_write_option_string(out, "tun_local",
                          config_get_string(config, named ? "tun_local.interface" : "tun_local.type"));
}

// ADDRESS/NETMASK of every interface in `network` that has both at present.
OwnedList advertised_networks(const ConfigNode *config) {
  OwnedList networks;
  for (const char *interface : string_elements(config_array(config, "network"))) {
    const char *name = or_empty(interface);
    OwnedString address(runt_get_string_pathf("network.interface.%s.ipv4.address", name));
    OwnedString netmask(runt_get_string_pathf("network.interface.%s.ipv4.netmask", name));
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
  uci_write_option_string(out, "proto", "nemo");
  uci_write_option_string(out, "home_address", config_get_string(config, "home_address"));
  write_care_of_address(out, config);
  write_local_end(out, config);
  uci_write_options(out, config, mobility_rows);
  if (!config_get_bool(config, "mtu_discovery")) uci_write_option_int(out, "mtu", config_get_int(config, "mtu"));
  OwnedList networks = advertised_networks(config);
  uci_write_option_int(out, "num_adv_networks", sl_len(networks.get()));
  uci_write_option_list(out, "adv_networks", networks.get(), ",");
}
