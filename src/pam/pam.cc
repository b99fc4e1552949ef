#include "main/mappers.h"
#include "platform/tools.h"

int32_t map_pam(const ConfigNode *, int32_t, char **) {
  log_error("the pam service is not supported by this version");
  return 1;
}
