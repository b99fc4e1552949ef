// Prints findings in several forms.
#ifndef TESSERA_TOOLS_CONFIG_FORMS_H
#define TESSERA_TOOLS_CONFIG_FORMS_H

#include <string>
#include <vector>

#include "config/report.h"

// A finding and the name of its file, as the user gave it.
struct Listed {
  std::string file;
  Finding finding;
};

// The consequence of a finding, and what to write instead: its own words or those of its rule.
const char *outcome_of(const Finding &finding);
const char *cure_of(const Finding &finding);

// "error", "warning" or "note".
const char *severity_name(Severity severity);

// Each prints all findings on standard output.
void print_text(const std::vector<Listed> &listed);
void print_json(const std::vector<Listed> &listed);
void print_github(const std::vector<Listed> &listed);
void print_sarif(const std::vector<Listed> &listed);

// Each prints one line, or one object, for each rule and path, those with the most findings first. The object holds the
// names of all files, the line those of the first ones.
void print_summary(const std::vector<Listed> &listed);
void print_summary_json(const std::vector<Listed> &listed);

// The rules, for the manual page.
void print_rules();

#endif
