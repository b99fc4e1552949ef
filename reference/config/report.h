// Findings about a configuration document: logged during a run, collected by the checker.
#ifndef TESSERA_REFERENCE_CONFIG_REPORT_H
#define TESSERA_REFERENCE_CONFIG_REPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "check/rules.h"
#include "platform/config.h"

struct Finding {
  Rule rule;
  Grade grade;      // that of the rule
  unsigned line;    // 1-based; 0 when the finding has no place in the document
  unsigned column;  // 1-based, in bytes
  std::string path;
  std::string message;  // what is wrong
  std::string outcome;  // what comes of it, and
  std::string cure;     // what to write instead; both empty where the words of the rule say it
};

// Reports a finding about `node` (null: logged without a place). In a run, findings of rules by which it refuses or
// ignores something are logged as "FILE:LINE:COLUMN: PATH: MESSAGE", the first hundred of a rule, and all others are
// dropped; a checked document collects all of them. Nothing more is reported about a node that stands for a refused
// value or a reference to nothing, as that has been reported already.
void config_report(const ConfigNode *node, Rule rule, const char *format, ...) __attribute__((format(printf, 3, 4)));

// The same with words of its own for what comes of it and for the cure; dropped in a run.
void config_add_finding(const ConfigNode *node, Rule rule, std::string message, std::string outcome, std::string cure);

// Loads the document at `path` as a run does: null after the first refused finding, which is logged. A tree is released
// with config_free.
const ConfigNode *config_load_file(const char *path);

// Loads the document at `path` to check it: every finding is added to the list, and a refused document still gives a
// tree, in which empty values stand for the refused ones, unless its syntax is broken. Later config_report calls on its
// nodes add to the same list, which must outlive the tree. The keys of the tree are those of described_schema.
const ConfigNode *config_check_file(const char *path, std::vector<Finding> *findings);

// The same for a document that is in no file yet.
const ConfigNode *config_check_content(const std::string &content, std::vector<Finding> *findings);

// The nearest node above the value at `path`, or the value itself, that is written. `length`, unless null, gets how
// much of the path leads there.
const ConfigNode *config_nearest(const ConfigNode *node, const char *path, size_t *length = nullptr);

// The message about a key that the schema does not know, and knows none of a similar name in its place.
inline constexpr char unknown_key_message[] = "unknown key";

// Where the key at the end of that path should have stood: the path of the object that is closest of those with a key
// of that name, KEY for any entry of a map and N for any of a list; "" when there is none, or several are equally far
// away.
std::string config_place_of_key(const std::string &path);

// Prints the JSON Schema of the document, draft 2020-12. The strict form, for editors, takes no unknown keys.
void config_print_json_schema(FILE *out, bool strict);

#endif
