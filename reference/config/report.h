// Findings about a configuration document: logged during a run, collected by the checker.
#ifndef TESSERA_REFERENCE_CONFIG_REPORT_H
#define TESSERA_REFERENCE_CONFIG_REPORT_H

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

// Reports a finding about `node` (null: the document as a whole). In a run, refused and ignored findings are logged as
// "FILE:LINE:COLUMN: PATH: MESSAGE" and questionable ones are dropped; a checked document collects all of them.
void config_report(const ConfigNode *node, Grade grade, const char *format, ...) __attribute__((format(printf, 3, 4)));

// Loads the document at `path` and adds every finding to `findings` (null: they are logged as in a run). Null when it
// is refused; else the root, to be released with config_free, and later config_report calls on its nodes are collected
// in the same list, which must outlive the tree.
const ConfigNode *config_load_file(const char *path, std::vector<Finding> *findings);

// Prints the JSON Schema of the document, draft 2020-12, to standard output.
void config_print_json_schema();

#endif
