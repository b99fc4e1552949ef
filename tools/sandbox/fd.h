// Directories with an owner, and whole-file operations on descriptors.
#ifndef TESSERA_SANDBOX_FD_H
#define TESSERA_SANDBOX_FD_H

#include <dirent.h>

#include <memory>
#include <string>

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

// More than any of the files that are read here can sensibly hold.
inline constexpr size_t largest_file = 256U << 20;

// Reads to the end; false, with errno, when that fails or there is more than a largest file.
bool read_all(int fd, std::string &content);

// Writes everything; false, with errno, when that fails.
bool write_all(int fd, const std::string &content);

// The target of the symbolic link `name`; false, with errno, when there is no such link.
bool read_link(int at, const char *name, std::string &target);

// The path without symbolic links; "" with errno when there is nothing.
std::string real_path(const std::string &path);

#endif
