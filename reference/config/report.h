// Findings about a configuration document: logged during a run, collected by the checker.
#ifndef TESSERA_REFERENCE_CONFIG_REPORT_H
#define TESSERA_REFERENCE_CONFIG_REPORT_H

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "config/rules.h"
#include "platform/config.h"

struct Finding {
  Rule rule;
  Grade grade;      // of the rule
  unsigned line;    // 1-based; 0 when the finding has no place in the document
  unsigned column;  // 1-based, in bytes
  std::string path;
  std::string message;  // what is wrong
  std::string outcome;  // what it leads to; "" for the outcome in the row of the rule
  std::string cure;     // what to write instead; "" for the cure in the row of the rule
};

// The number of findings of a rule that list_finding was given, and the index of the last one in the list.
struct FindingCount {
  unsigned all = 0;
  size_t last = 0;
};
using FindingCounts = std::map<Rule, FindingCount>;

inline constexpr unsigned most_listed = 1000;

// Adds a finding to the list, at most `most` of each rule. One more finding of the rule, without a path, then says how
// many others there are.
void list_finding(std::vector<Finding> &list, FindingCounts &counts, Finding finding, unsigned most = most_listed);

// Reports a finding about `node`. A check collects findings. A run logs findings of the grades refused and ignored
// as "FILE:LINE:COLUMN: PATH: MESSAGE", the first hundred of each rule, and drops the others. A finding about a null
// node is logged without a place. Reports nothing about a node whose value was refused or is a reference to nothing,
// because that has been reported already.
void config_report(const ConfigNode *node, Rule rule, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Reports a finding with an outcome and a cure of its own. Dropped in a run.
void config_add_finding(const ConfigNode *node, Rule rule, std::string message, std::string outcome, std::string cure);

// Loads the document at `path` as a run does. Null after the first refused finding, which is logged. The caller
// releases the tree with config_free.
const ConfigNode *config_load_file(const char *path);

// Loads the document at `path` to check it, and adds findings to the list (see list_finding). A refused document also
// gives a tree, with empty values for the refused ones; null when the file cannot be read or its syntax is broken.
// Later config_report calls on the nodes add to the same list, which must outlive the tree. The keys of the tree are
// from described_schema.
const ConfigNode *config_check_file(const char *path, std::vector<Finding> *findings);

// Checks the content of a document that is not in a file. The list gets every finding.
const ConfigNode *config_check_content(const std::string &content, std::vector<Finding> *findings);

// The node at `path`, or the nearest node above it that the document holds. Stores in `length`, unless it is null, how
// many bytes of the path lead to that node.
const ConfigNode *config_nearest(const ConfigNode *node, const char *path, size_t *length = nullptr);

// The message about an unknown key; a hint may follow.
inline constexpr char unknown_key_message[] = "unknown key";

// Where the last key of that path belongs: the path of the closest object that has a key of that name, with KEY for an
// entry of a map and N for an element of an array. "" when there is no such object, or several are equally close.
std::string config_place_of_key(const std::string &path);

// Prints the JSON Schema of the document, draft 2020-12. The strict form, for editors, allows no unknown keys.
void config_print_json_schema(FILE *out, bool strict);

#endif
