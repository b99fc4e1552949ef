// Resolves references: strings that name other nodes of the document.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "config/document.h"
#include "util/owned.h"

namespace {

bool is_device(const ConfigNode *node) {
  return node->kind == Kind::object && node->key->device;
}

// A reference to nothing, and its string in the document.
struct Unset {
  const ConfigNode *node;
  const char *string;
};

// The form that the value should have; null when the form is right and the node is missing.
const char *expected_form(const char *string, bool bare) {
  if (bare) return *string == '/' ? "the bare key of an entry of network.interface" : nullptr;
  return *string != '/' ? "a path such as \"/network/device/eth0\"" : nullptr;
}

// Each search for a similar name compares many names, so their number is limited.
constexpr unsigned most_searches = 100;

std::string cure_of(Document &document, const Unset &unset) {
  if (document.cures == nullptr || document.counts[Rule::dangling_reference].all >= most_searches) return "";
  return document.cures->of_reference(&document.root, *unset.node->key, unset.string);
}

void report_unset(Document &document, const Unset &unset) {
  const ConfigNode *node = unset.node;
  OwnedString path(config_path(node));
  bool bare = node->key->interface_name;
  const char *form = expected_form(unset.string, bare);
  const char *missing = bare ? "entry of network.interface" : node->key->device ? "device" : "node of the document";
  std::string message = "'" + printable(unset.string) + (form != nullptr ? "' is not " : "' names no ") +
                        (form != nullptr ? form : missing) + ", it counts as unset";
  report_words(document, Rule::dangling_reference, node->position, path.get(),
               {.message = std::move(message), .cure = cure_of(document, unset)});
}

}  // namespace

void resolve_references(Document &document, const std::vector<ConfigNode *> &references) {
  const ConfigNode *root = &document.root;
  const ConfigNode *interfaces = config_lookup(root, "network.interface");
  std::vector<Unset> unset;
  for (ConfigNode *node : references) {
    const char *string = node->value.string;
    const ConfigNode *target =
        node->key->interface_name ? config_object_get(interfaces, string) : find_by_reference(root, string);
    if (target == nullptr || (node->key->device && !is_device(target))) {
      unset.push_back({node, string});
      node->value.string = "";
      node->broken = true;
    } else {
      document.targets.emplace(node, target);
    }
  }
  // The loader collects references of inner objects first; findings come in document order.
  std::sort(unset.begin(), unset.end(),
            [](const Unset &a, const Unset &b) { return a.node->position < b.node->position; });
  for (const Unset &each : unset) report_unset(document, each);
}
