// Stores a tree in a directory.
#ifndef TESSERA_PREVIEW_STORE_H
#define TESSERA_PREVIEW_STORE_H

#include <string>

#include "sandbox/fd.h"
#include "sandbox/tree.h"

// The directory for a stored tree; opened before anything runs.
struct Store {
  Fd parent;         // the directory that holds it
  std::string name;  // as the user gave it
  std::string base;  // its last component; "." when the directory exists, and `parent` is the directory itself
};

// Opens the directory for a stored tree. Ends the program unless `name` is an empty directory, or does not exist and
// its parent does.
Store open_store(const std::string &name);

// Writes the files with their modes, and creates the directory when necessary. Ends the program when that fails.
void store_files(const Store &store, const Tree &tree);

#endif
