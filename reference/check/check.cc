#include "check/check.h"

#include <cstdlib>
#include <memory>

#include "util/owned.h"

void network_check(const ConfigNode *root, const NetworkModel *model, bool lan_mode) {
  check_names(model);
  check_devices(model);
  check_layers(model);
  check_interfaces(model);
  check_subnets(model);
  check_dhcp(model, root, lan_mode);
  check_routes(root, model);
  check_ipsec(root);
  check_vpn(root);
  check_services(root);
  check_switches(root);
  check_empty_options(root);
  check_words(root);
}

std::string path_of(const ConfigNode *node) {
  const OwnedString path(config_path(node));
  return path.get();
}
