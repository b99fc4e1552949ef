// Shows or stores what a run produced.
#ifndef TESSERA_PREVIEW_OUTPUT_H
#define TESSERA_PREVIEW_OUTPUT_H

#include <string>

#include "preview/changes.h"
#include "preview/fd.h"

// Prints every file under a header line.
void print_files(const Tree &tree);

// Prints the runtime keys that differ between the two dumps; nothing when none does.
void print_runtime_changes(const std::string &before, const std::string &after);

// Prints the differences from `old`, the tree stored in the directory that the user calls `old_name`.
void print_differences(std::string old_name, const Tree &old, const Tree &tree);

// The place for a stored tree, found before the machine's directories are left behind.
struct Store {
  Fd parent;         // where to make the directory
  std::string name;  // as the user gave it
  std::string base;  // its last component
};

// Ends the preview unless `name` is an empty directory or can become one.
Store open_store(const std::string &name);

// Writes the files with their modes.
void store_files(const Store &store, const Tree &tree);

#endif
