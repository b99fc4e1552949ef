#include "main/mappers.h"
#include "platform/tools.h"

int32_t map_ipsec(const ConfigNode *, int32_t, char **) {
  log_error("the ipsec service is not supported by this version");
  return 1;
}
