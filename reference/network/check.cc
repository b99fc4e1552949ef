// Questions about a configuration, all subjects in turn.
#include "network/check.h"

#include "config/report.h"

void network_check(const ConfigNode *root, const NetworkModel *model) {
  check_names(model);
  check_devices(model);
  check_interfaces(model);
  check_routes(root, model);
  check_vpn(root);
  check_services(root);
  config_check_words(root);
}
