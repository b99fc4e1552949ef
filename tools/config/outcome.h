// The findings of the checker in a document before and after an edit.
#ifndef TESSERA_TOOLS_CONFIG_OUTCOME_H
#define TESSERA_TOOLS_CONFIG_OUTCOME_H

#include <string>
#include <vector>

#include "config/report.h"

// All findings of the checker in a document with that content.
std::vector<Finding> find_problems(const std::string &content);

bool is_error(const Finding &finding);

// The findings of `after` that are not in `before`. An element of an array counts as the same at any index, and, with
// `renamed`, an entry counts as the same with any name.
std::vector<Finding> new_findings(const std::vector<Finding> &before, const std::vector<Finding> &after, bool renamed);

// Prints a finding as the command check does.
void print_finding(FILE *out, const char *file, const Finding &finding);

// Each prints on standard error: all findings, or only the errors.
void print_findings(const char *file, const std::vector<Finding> &findings);
void print_errors(const char *file, const std::vector<Finding> &findings);

#endif
