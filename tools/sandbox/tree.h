// Files in memory: what a sandbox is filled with, and what a run in it wrote.
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

// Files by path, relative to the directory they were read from or will be stored in. A directory comes before what is
// in it.
using Tree = std::map<std::string, File>;

// Adds everything below the open directory `directory` to `tree`; a symbolic link is read and not followed. Of a FIFO,
// socket or device only the mode is kept. Returns "", or why the directory cannot be read, with the path of the file.
std::string read_tree(int directory, Tree &tree);

// The content of `path` in the tree, "" when it is not there.
const std::string &content_of(const Tree &tree, const std::string &path);

#endif
