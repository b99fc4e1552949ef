#include "network/network.h"

#include "main/mappers.h"
#include "platform/tools.h"

NetworkModel *network_model;

int32_t map_network(const ConfigNode *, int32_t, char **) {
  log_error("the network service is not supported by this version");
  return 1;
}
