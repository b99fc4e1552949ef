#include "main/mappers.h"
#include "platform/tools.h"

int32_t map_dnsmasq(const ConfigNode *, int32_t, char **) {
  log_error("the dnsmasq service is not supported by this version");
  return 1;
}
