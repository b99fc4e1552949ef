// Entry of the program: finds the mapper of the named service, loads the configuration and runs the mapper on it.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

#include "main/mappers.h"
#include "main/owned.h"
#include "output/lock.h"
#include "platform/config.h"

namespace {

struct MapperRow {
  const char *name;
  Mapper *handler;
};

const MapperRow mapper_table[] = {
    {"dnsmasq", map_dnsmasq}, {"ipsec", map_ipsec}, {"network", map_network}, {"pam", map_pam}, {nullptr, nullptr},
};

// Standard streams may be closed, or be pipes that nobody reads. Then a log line must not go to an output file that got
// descriptor 2, and must not end the run half-way.
void protect_streams() {
  pollfd streams[] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
  if (poll(streams, 3, 0) < 0) _exit(1);
  for (const pollfd &stream : streams)
    if ((stream.revents & POLLNVAL) != 0 && open("/dev/null", O_RDWR) < 0) _exit(1);
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);
  sigaction(SIGXFSZ, &ignore, nullptr);  // a write beyond the file size limit then fails as on a full file system
}

// The configuration holds secrets: they must not go to a core file, and other processes must not read them.
void keep_memory_private() {
  const rlimit nothing = {0, 0};
  setrlimit(RLIMIT_CORE, &nothing);
  prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

// Loads the configuration under the lock: a run that waited must not write an older configuration than the run before.
int32_t run_mapper(const MapperRow &row, int32_t argc, char **argv) {
  ServiceLock lock;
  bool writes = row.handler != map_network || !is_network_query(argv);
  if (writes && !take_lock(lock, row.name)) return 1;
  const ConfigNode *root = config_load();
  if (root == nullptr) return 1;
  int32_t status = row.handler(root, argc, argv);
  config_free(root);
  return status;
}

// Answers --help and --version. True when it did.
bool answer_information_option(const char *word) {
  if (strcmp(word, "--help") == 0) {
    puts(
        "Usage: tessera <name>\n"
        "Writes the files of one service: dnsmasq, ipsec, network or pam. See tessera(8).");
    return true;
  }
  if (strcmp(word, "--version") == 0) puts("tessera " TESSERA_VERSION);
  return strcmp(word, "--version") == 0;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "Usage: tessera <name>\n");
    return 1;
  }
  if (answer_information_option(argv[1])) return fflush(stdout) == 0 ? 0 : 1;
  for (const MapperRow *row = mapper_table; row->name != nullptr; row++) {
    if (strcmp(row->name, argv[1]) != 0) continue;
    std::set_new_handler(end_without_memory);
    protect_streams();
    keep_memory_private();
    return run_mapper(*row, argc - 2, argv + 2);
  }
  return 0;  // a firmware may pass names of services that other programs write
}
