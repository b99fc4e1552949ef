// Stores a tree in a directory.
#ifndef TESSERA_PREVIEW_STORE_H
#define TESSERA_PREVIEW_STORE_H

#include <string>

#include "sandbox/fd.h"
#include "sandbox/tree.h"

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
