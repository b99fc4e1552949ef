// Open directories with an owner type, and functions on paths.
#ifndef TESSERA_SANDBOX_FD_H
#define TESSERA_SANDBOX_FD_H

#include <dirent.h>

#include <memory>
#include <string>

#include "util/file.h"
#include "util/owned.h"

struct CloseDirectory {
  void operator()(DIR *directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

// The path of `name` in `directory`, in which "" means the root directory.
inline std::string path_in(const std::string &directory, const std::string &name) {
  return directory + "/" + name;
}

// Opens the directory `name` (relative to `at` unless absolute) for reading its entries. Returns null, with errno set,
// when that fails. Does not follow a symbolic link at the end of the path.
Directory open_directory(int at, const char *name);

// The next entry, without "." and ".."; null after the last one.
const dirent *next_entry(DIR *directory);

// Stores the target of the symbolic link `name`. Returns false, with errno set, when there is no such link.
bool read_link(int at, const char *name, std::string &target);

// The path without symbolic links; "", with errno set, when the file does not exist.
std::string real_path(const std::string &path);

#endif
