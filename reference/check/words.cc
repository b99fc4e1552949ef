// Strings that are not among the words listed for their key.
#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_set>

#include "check/check.h"
#include "check/findings.h"
#include "config/characters.h"
#include "config/document.h"
#include "util/owned.h"
#include "util/strings.h"

namespace {

using Paths = std::unordered_set<std::string>;

void report_word(const ConfigNode *node, const SchemaKey &key, const char *string) {
  const std::string shown = printable(string);
  if (key.others == OtherWords::useless) {
    report(node, Rule::useless_word, {shown, key.words});
    return;
  }
  Meant meant(string);
  for (const std::string_view word : split(key.words, ' ')) meant.look_at(word);
  report(node, Rule::doubtful_word, {shown, meant.hint()});
}

void check_word(const ConfigNode *node, const Paths &found) {
  const SchemaKey &key = *node->key;
  if (key.words == nullptr || key.others == OtherWords::usual) return;
  const char *string = config_string_get(node);
  if (string == nullptr || *string == '\0' || is_word_of(string, key.words)) return;
  OwnedString path(config_path(node));
  if (found.count(path.get()) == 0) report_word(node, key, string);
}

// True for an object that has a key `enable` and is not enabled.
bool is_off(const ConfigNode *node) {
  return node->kind == Kind::object && schema_member(*node->key, "enable") != nullptr &&
         !config_get_bool(node, "enable");
}

void check_below(const ConfigNode *node, const Paths &found) {
  if (node->kind == Kind::string) check_word(node, found);
  if (is_off(node)) return;
  for (const ConfigNode &child : children_of(node)) check_below(&child, found);
}

}  // namespace

void check_words(const ConfigNode *root) {
  const std::vector<Finding> *findings = document_of(root).findings;
  if (findings == nullptr) return;
  Paths found;
  for (const Finding &finding : *findings) found.insert(finding.path);
  check_below(root, found);
}
