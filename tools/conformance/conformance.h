// Checks whether a platform's libraries keep the promises that tessera needs. Each check names its operation.
#ifndef TESSERA_TOOLS_CONFORMANCE_CONFORMANCE_H
#define TESSERA_TOOLS_CONFORMANCE_CONFORMANCE_H

#include <memory>
#include <string>

#include "platform/config.h"
#include "platform/tools.h"

struct ReleaseTree {
  void operator()(const ConfigNode *root) const { config_free(root); }
};
using OwnedTree = std::unique_ptr<const ConfigNode, ReleaseTree>;

// Prints one line of the Test Anything Protocol, and counts failures.
void check(const char *operation, const char *promise, bool kept);

// The string; "" for null, which a library may wrongly return.
inline const char *shown(const char *string) {
  return string != nullptr ? string : "";
}

// A copy of a returned string, or of a list with "|" between its entries. Releases the argument. "(null)" for null, and
// for an empty list.
std::string take(char *string);
std::string take_list(char **list);

// The groups of checks, one for each header. `root` is the tree of config.json.
void check_tools();
void check_config(const ConfigNode *root);
void check_network(const ConfigNode *root);
void check_runt();

#endif
