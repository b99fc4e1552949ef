// What the checker says about a document before and after an edit.
#ifndef TESSERA_TOOLS_CONFIG_OUTCOME_H
#define TESSERA_TOOLS_CONFIG_OUTCOME_H

#include <string>
#include <vector>

#include "config/report.h"

// Everything that check finds in a document with that content.
std::vector<Finding> find_problems(const std::string &content);

bool is_error(const Finding &finding);

// The findings of `after` that are not among `before`. An element of an array counts as the same at any index, and an
// entry under any name when `renamed`.
std::vector<Finding> new_findings(const std::vector<Finding> &before, const std::vector<Finding> &after, bool renamed);

// Prints a finding as the command check does.
void print_finding(FILE *out, const char *file, const Finding &finding);

// Print findings, or the errors among them, on standard error.
void print_findings(const char *file, const std::vector<Finding> &findings);
void print_errors(const char *file, const std::vector<Finding> &findings);

#endif
