// Files in memory: those that a sandbox gets, and those that its programs wrote.
#ifndef TESSERA_SANDBOX_TREE_H
#define TESSERA_SANDBOX_TREE_H

#include <sys/types.h>

#include <map>
#include <string>

// One file: its content, or the target of a symbolic link. A directory's content is empty.
struct File {
  mode_t mode;  // with its type
  std::string content;
};

// Files by path, relative to the directory from which they were read or in which they will be stored. A directory comes
// before its entries.
using Tree = std::map<std::string, File>;

// Adds everything below the open directory `directory` to `tree`. A symbolic link is read but not followed; a FIFO,
// socket or device has no content. Returns "", or the path that cannot be read and why.
std::string read_tree(int directory, Tree &tree);

// The content of `path` in the tree; "" when it is not there.
const std::string &content_of(const Tree &tree, const std::string &path);

#endif
