// Findings about a configuration document: logged during a run, collected by the checker.
#ifndef TESSERA_REFERENCE_CONFIG_REPORT_H
#define TESSERA_REFERENCE_CONFIG_REPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "platform/config.h"

enum class Grade {
  refused,       // the document cannot be used
  ignored,       // the run goes on without what the finding names
  questionable,  // silent in a run
};

struct Finding {
  Grade grade;
  unsigned line;    // 1-based; 0 when the finding has no place in the document
  unsigned column;  // 1-based, in bytes
  std::string path;
  std::string message;
};

// Reports a finding about `node` (null: logged without a place). In a run, refused and ignored findings are logged as
// "FILE:LINE:COLUMN: PATH: MESSAGE" and questionable ones are dropped; a checked document collects all of them. Nothing
// more is reported about a node that stands for a refused value or a reference to nothing: what it reads as is no one's
// doing.
void config_report(const ConfigNode *node, Grade grade, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Loads the document at `path` as a run does: null after the first refused finding, which is logged. A tree is released
// with config_free.
const ConfigNode *config_load_file(const char *path);

// Loads the document at `path` to check it: every finding is added to the list, and a refused document still gives a
// tree, in which empty values stand for the refused ones, unless its syntax is broken. Later config_report calls on its
// nodes add to the same list, which must outlive the tree. The keys of the tree are those of described_schema.
const ConfigNode *config_check_file(const char *path, std::vector<Finding> *findings);

// The message about a key that the schema does not know, and knows none of a similar name in its place.
inline constexpr char unknown_key_message[] = "unknown key";

// Where the key at the end of that path should have stood: the path of the object that is closest of those with a key
// of that name, KEY for any entry of a map and N for any of a list; "" when there is none, or several are equally far
// away.
std::string config_place_of_key(const std::string &path);

// Reports as questionable every text that is none of the words listed for its key, unless any text is usual there.
// What is switched off is left out, and so is what has a finding already.
void config_check_words(const ConfigNode *root);

// Prints the JSON Schema of the document, draft 2020-12. The strict form, for editors, takes no unknown keys.
void config_print_json_schema(FILE *out, bool strict);

#endif
