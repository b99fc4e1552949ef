// Shows what a run produced.
#ifndef TESSERA_PREVIEW_OUTPUT_H
#define TESSERA_PREVIEW_OUTPUT_H

#include <string>
#include <vector>

#include "preview/plan.h"
#include "preview/verify.h"

// Prints every file under a header line.
void print_files(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints the runtime keys that changed; nothing when none did.
void print_runtime_changes(const std::vector<RuntimeChange> &changes, bool is_coloured);

// Prints the differences from an earlier tree and how many files there are of each fate.
void print_differences(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints a line for each file that does not stay as it is, and how many files there are of each fate.
void print_summary(const std::vector<PlannedFile> &plan, bool is_coloured);

// Prints what the checkers said.
void print_verdicts(const std::vector<Verdict> &verdicts, bool is_coloured);

#endif
