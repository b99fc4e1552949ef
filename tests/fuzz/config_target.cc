// Fuzz target: the configuration loader on any bytes. A document that it accepts is written again from the tree, and
// the result loaded again.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "check/check.h"
#include "config/document.h"
#include "fuzz/stand_ins.h"
#include "platform/network.h"
#include "util/owned.h"

namespace {

OwnedTree load(std::string_view text, std::vector<Finding> *findings = nullptr) {
  document_text = text;
  return OwnedTree(findings != nullptr ? config_check_file("fuzz", findings) : config_load_file("fuzz"));
}

std::string duration_text(int64_t milliseconds) {
  if (milliseconds < 0) return std::to_string(milliseconds / 1000);
  bool fits = milliseconds % 1000 == 0;
  return '"' + std::to_string(fits ? milliseconds / 1000 : milliseconds) + (fits ? "s\"" : "ms\"");
}

// Writes the node as JSON, in the order of the document. Every node has to be found again by its path.
void write(std::string &out, const ConfigNode *root, const ConfigNode *node) {
  std::unique_ptr<char, void (*)(void *)> path(config_path(node), free);
  if (config_lookup(root, path.get()) != node) wrong("a path leads elsewhere", path.get());
  Kind kind = node->kind;
  bool array = kind == Kind::array;
  if (kind == Kind::duration) {
    out += duration_text(node->value.milliseconds);
  } else if (!array && kind != Kind::object && kind != Kind::map) {
    out += config_dump(node);
  } else {
    out += array ? '[' : '{';
    for (const ConfigNode *child = array ? config_array_first(node) : config_object_first(node); child != nullptr;
         child = array ? config_array_next(child) : config_object_next(child)) {
      if (config_node_parent(child) != node) wrong("a node has another parent", path.get());
      if (child != children_of(node).data()) out += ',';
      if (!array) out.append("\"").append(config_key(child)).append("\":");
      write(out, root, child);
    }
    out += array ? ']' : '}';
  }
}

// Runs the checker, which has to refuse the same documents as a run.
void check(std::string_view text, bool refused_by_run) {
  std::vector<Finding> findings;
  OwnedTree root = load(text, &findings);
  bool refused = false;
  for (const Finding &finding : findings) refused |= finding.grade == Grade::refused;
  if (refused != refused_by_run) wrong("a run and a check do not agree", text);
  if (root == nullptr) return;
  OwnedModel model(network_load(root.get()));
  network_check(root.get(), model.get());
}

void write_again(const ConfigNode *root) {
  std::string text;
  write(text, root, root);
  std::string dump = config_dump(root);
  OwnedTree again = load(text);
  if (again == nullptr) wrong("refused, although it was written from an accepted document", text);
  if (dump != config_dump(again.get())) wrong("the written document reads differently", text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  std::string_view text(reinterpret_cast<const char *>(bytes), size);
  OwnedTree root = load(text);
  if (size % 4 == 0) check(text, root == nullptr);
  if (root != nullptr) write_again(root.get());
  return 0;
}
