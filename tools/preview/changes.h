// What a run changed: files below the inside's root directory, and keys of the runtime store.
#ifndef TESSERA_PREVIEW_CHANGES_H
#define TESSERA_PREVIEW_CHANGES_H

#include <sys/types.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// One file: what it holds, or where a symbolic link leads to. A directory's content is empty.
struct File {
  mode_t mode;  // with its type
  std::string content;
};

// Files by path, relative to the directory they were read from or will be stored in; directories come before what is
// in them.
using Tree = std::map<std::string, File>;

// The name, in a Tree, of the list of files that a run removed.
inline constexpr const char *removed_list = "removed";

// The name, in a Tree, of the runtime store as a flat JSON object.
inline constexpr const char *runtime_dump = "runtime.json";

// Where the runtime store is; never part of a Tree itself.
inline constexpr const char *runtime_directory = "/var/run/runt";

// The state of everything on the inside's own file system, to compare a later one with.
struct FileState {
  ino_t inode;
  mode_t mode;
  off_t size;
  timespec changed;
};
using Snapshot = std::map<std::string, FileState>;
Snapshot take_snapshot();

// The files that are new or changed since `before` with the directories on the way to them, new directories, and, under
// the name removed_list, a line for each file that is gone.
Tree produced_files(const Snapshot &before);

// Everything below the open directory `directory`.
Tree read_tree(int directory);

// The members of a flat JSON object of texts in their order: name and value as they are written, with their quotes.
// Empty for a text that is no such object.
std::vector<std::pair<std::string_view, std::string_view>> flat_members(std::string_view json);

#endif
