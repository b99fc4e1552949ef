// tessera-conformance: checks the platform's libraries that it is linked with, as tessera is.
//
// The device has to hold the configuration that lies beside this program's source. Nothing else is needed, and nothing
// is left behind: files go to a directory of its own, live facts below the key "tessera_conformance".
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "conformance.h"

static int checks = 0;
static int failures = 0;

void check(const char *operation, const char *promise, bool kept) {
  checks++;
  if (!kept) failures++;
  printf("%s %d - %s: %s\n", kept ? "ok" : "not ok", checks, operation, promise);
}

std::string take(char *text) {
  std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}

std::string take_list(char **list) {
  std::string joined = take(sl_join(list, "|"));
  sl_free(list);
  return joined;
}

int main(int argc, char **) {
  if (argc != 1) {
    fputs("usage: tessera-conformance\n", stderr);
    return 2;
  }
  setvbuf(stdout, nullptr, _IOLBF, 0);  // a crash shall not take the lines before it along
  check_tools();
  check_runt();
  OwnedTree root(config_load());
  const char *name = config_get_string(root.get(), "system.name");
  bool prepared = name != nullptr && strcmp(name, "conformance") == 0;
  check("config_load", "loads the configuration made for these checks (system.name is \"conformance\")", prepared);
  if (prepared) {
    check_config(root.get());
    check_network(root.get());
  }
  printf("1..%d\n", checks);
  if (failures != 0) fprintf(stderr, "tessera-conformance: %d of %d checks failed\n", failures, checks);
  return failures != 0 ? 1 : 0;
}
