// References: texts that name other nodes of the document, before or after them.
#include <algorithm>

#include "config/document.h"

namespace {

bool is_device(const ConfigNode *node) {
  return node->kind == Kind::object && node->key->device;
}

// A reference that names nothing, and the text that it has in the document.
struct Unset {
  ConfigNode *node;
  const char *text;
};

// How the value should have been written; null when only what it names is missing.
const char *expected_form(const char *text, bool bare) {
  if (bare) return *text == '/' ? "the bare key of an entry of network.interface" : nullptr;
  return *text != '/' ? "a path such as \"/network/device/eth0\"" : nullptr;
}

void report_unset(Document &document, const Unset &unset) {
  const ConfigNode *node = unset.node;
  std::unique_ptr<char, void (*)(void *)> path(config_path(node), free);
  bool bare = node->key->interface_name;
  const char *form = expected_form(unset.text, bare);
  const char *missing = bare ? "entry of network.interface" : node->key->device ? "device" : "node of the document";
  report_at(document, Grade::ignored, node->position, path.get(), "'%s' %s %s, it counts as unset",
            printable(unset.text).c_str(), form != nullptr ? "is not" : "names no", form != nullptr ? form : missing);
}

}  // namespace

void resolve_references(Document &document, const Growing<uint32_t> &references) {
  const ConfigNode *root = node_at(document, document.root);
  const ConfigNode *interfaces = config_lookup(root, "network.interface");
  std::vector<Unset> unset;
  for (uint32_t i = 0; i < references.used; i++) {
    ConfigNode *node = &document.cells.data.get()[references.data.get()[i]].node;
    const char *text = node->value.text;
    bool bare = node->key->interface_name;
    const ConfigNode *target = bare ? config_object_get(interfaces, text) : find_by_reference(root, text);
    if (target == nullptr || (node->key->device && !is_device(target))) {
      unset.push_back({node, text});
      node->value.text = "";
      node->flags |= node_broken;
    } else {
      node->link = cell_number(target);
    }
  }
  // They were collected from the inside of the document outwards.
  std::sort(unset.begin(), unset.end(),
            [](const Unset &a, const Unset &b) { return a.node->position < b.node->position; });
  for (const Unset &each : unset) report_unset(document, each);
}
