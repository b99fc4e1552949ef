// Entry of the program: finds the mapper of the named service, loads the configuration and runs the mapper on it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "main/mappers.h"
#include "platform/config.h"

namespace {

struct MapperRow {
  const char *name;
  Mapper *handler;
};

const MapperRow mapper_table[] = {
    {"dnsmasq", map_dnsmasq}, {"ipsec", map_ipsec}, {"network", map_network}, {"pam", map_pam}, {nullptr, nullptr},
};

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fputs("Usage: tessera <name>\n", stderr);
    exit(1);
  }
  for (const MapperRow *row = mapper_table; row->name != nullptr; row++) {
    if (strcmp(row->name, argv[1]) != 0) continue;
    const ConfigNode *root = config_load();
    if (root == nullptr) return 1;
    int32_t status = row->handler(root, argc - 2, argv + 2);
    config_free(root);
    return status;
  }
  return 0;  // An unknown service is nobody's business here: a firmware may name services that other programs serve.
}
