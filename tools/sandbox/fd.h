// Directories with an owner, and what paths lead to.
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

// The path of `name` in `directory`, "" being the root directory.
inline std::string path_in(const std::string &directory, const std::string &name) {
  return directory + "/" + name;
}

// Opens the directory `name` (relative to `at` unless absolute) for reading its entries; null, with errno, when that
// fails. A symbolic link in the last place is not followed.
Directory open_directory(int at, const char *name);

// The next entry but "." and "..", null after the last.
const dirent *next_entry(DIR *directory);

// The target of the symbolic link `name`; false, with errno, when there is no such link.
bool read_link(int at, const char *name, std::string &target);

// The path without symbolic links; "" with errno when there is nothing.
std::string real_path(const std::string &path);

#endif
