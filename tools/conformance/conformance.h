// Checks of a platform's libraries against what tessera relies on. Each check names the operation that it is about.
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

// Prints one line of the Test Anything Protocol and counts what fails.
void check(const char *operation, const char *promise, bool kept);

// A returned text for comparisons and joining; "" for null, which a library may wrongly give.
inline const char *shown(const char *text) {
  return text != nullptr ? text : "";
}

// Copies of a returned text or list, which are released; "(null)" for none. The entries have "|" between them.
std::string take(char *text);
std::string take_list(char **list);

// One group for each header. Trees are those of the document that comes with the program.
void check_tools();
void check_config(const ConfigNode *root);
void check_network(const ConfigNode *root);
void check_runt();

#endif
