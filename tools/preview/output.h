// Prints the result of a preview for people. `is_coloured`: with colours for a terminal.
#ifndef TESSERA_PREVIEW_OUTPUT_H
#define TESSERA_PREVIEW_OUTPUT_H

#include <string>
#include <vector>

#include "preview/plan.h"
#include "preview/verify.h"

// Prints every file, with a heading.
void print_files(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints the keys of the runtime store that changed; nothing when none changed.
void print_runtime_changes(const std::vector<RuntimeChange> &changes, bool is_coloured);

// Prints the differences from an earlier tree and how many files there are of each fate.
void print_differences(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints a line for each file that changes, and how many files there are of each fate.
void print_summary(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints the findings of the checkers.
void print_verdicts(const std::vector<Verdict> &verdicts, bool is_coloured);

#endif
