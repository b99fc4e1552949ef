// tessera-conformance: checks the libraries of the platform. It is linked with them in the same way as tessera.
//
// The device has to hold the configuration config.json of this folder, and needs nothing else. The program leaves
// nothing behind: it writes files only in a new directory, and live facts only below the key "tessera_conformance".
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "conformance.h"

// The counters, in memory that all processes share: each group runs in its own process.
struct Counts {
  int checks;
  int failures;
  bool finished;  // the group ran to its end
  bool prepared;  // the device holds the configuration made for these checks
};
static Counts *counts;

void check(const char *operation, const char *promise, bool kept) {
  counts->checks++;
  if (!kept) counts->failures++;
  printf("%s %d - %s: %s\n", kept ? "ok" : "not ok", counts->checks, operation, promise);
}

std::string take(char *string) {
  std::string copy = string != nullptr ? string : "(null)";
  free(string);
  return copy;
}

std::string take_list(char **list) {
  std::string joined = take(sl_join(list, "|"));
  sl_free(list);
  return joined;
}

static void load_and_check_config() {
  OwnedTree root(config_load());
  counts->prepared = strcmp(shown(config_get_string(root.get(), "system.name")), "conformance") == 0;
  check("config_load", "loads the configuration made for these checks (system.name is \"conformance\")",
        counts->prepared);
  if (counts->prepared) check_config(root.get());
}

static void load_and_check_network() {
  if (counts->prepared) check_network(OwnedTree(config_load()).get());
}

struct Group {
  const char *header;
  void (*run)();
};
static const Group groups[] = {{"tools.h", check_tools},
                               {"runt.h", check_runt},
                               {"config.h", load_and_check_config},
                               {"network.h", load_and_check_network},
                               {nullptr, nullptr}};

// Runs a group in its own process, so that a crash ends only this group.
static void run_group(const Group &group) {
  counts->finished = false;
  pid_t child = fork();
  if (child == 0) {
    group.run();
    counts->finished = true;
    exit(0);
  }
  int status = 0;
  bool ended = child > 0 && waitpid(child, &status, 0) == child;
  if (ended && status == 0 && counts->finished) return;
  std::string where = std::string("crashed in ") + group.header;
  check(where.c_str(), ended && WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "ended early", false);
}

static const char usage[] =
    "Usage: tessera-conformance [--help | --version]\n"
    "Checks the libraries of a device. The device has to hold the configuration that is installed with this program.\n";

static int answer(const char *option) {
  bool version = strcmp(option, "--version") == 0;
  bool help = strcmp(option, "--help") == 0;
  if (version) puts("tessera-conformance " TESSERA_VERSION);
  if (!version) fputs(usage, help ? stdout : stderr);
  return (help || version) && fflush(stdout) == 0 ? 0 : 2;
}

int main(int argc, char **argv) {
  if (argc != 1) return answer(argc == 2 ? argv[1] : "");
  setvbuf(stdout, nullptr, _IOLBF, 0);  // a crash must not lose the lines before it
  void *shared = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) {
    perror("tessera-conformance");
    return 2;
  }
  counts = static_cast<Counts *>(shared);
  for (const Group *group = groups; group->header != nullptr; group++) run_group(*group);
  printf("1..%d\n", counts->checks);
  if (!counts->prepared)
    fputs(
        "tessera-conformance: this device holds another configuration, so the checks of config.h and network.h did "
        "not run\n",
        stderr);
  if (counts->failures != 0)
    fprintf(stderr, "tessera-conformance: %d of %d checks failed\n", counts->failures, counts->checks);
  return counts->failures != 0 ? 1 : 0;
}
