#include "ipsec/staging.h"

#include <dirent.h>
#include <linux/close_range.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "main/strings.h"
#include "output/files.h"

namespace {

constexpr unsigned directory_mode = 0755;

const char *const staging_directories[] = {
    IPSEC_STAGING_TREE,
    IPSEC_STAGING_TREE "/conf",
    IPSEC_STAGING_TREE "/secrets",
    IPSEC_STAGING_TREE "/private",
    IPSEC_STAGING_TREE "/certs",
    IPSEC_STAGING_TREE "/cacerts",
    IPSEC_STAGING_TREE "/acerts",
    IPSEC_STAGING_TREE "/aacerts",
    IPSEC_STAGING_TREE "/ocspcerts",
    IPSEC_STAGING_TREE "/crls",
};

// True for a directory, false for a link to one.
bool is_directory(const char *path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// Removes files that an interrupted run has left in a directory: the secrets of removed tunnels must not come into use
// together with the files of this run.
void remove_leftovers(const char *path) {
  DIR *directory = opendir(path);
  if (directory == nullptr) return;
  while (const dirent *entry = readdir(directory))
    if (entry->d_type != DT_DIR) remove_file(format("%s/%s", path, entry->d_name).c_str());
  closedir(directory);
}

// Creates a directory, or empties one that exists. Replaces a file or link at this path.
void ensure_directory(const char *path) {
  if (create_directory(path, directory_mode) || errno != EEXIST) return;
  if (is_directory(path))
    remove_leftovers(path);
  else if (unlink(path) == 0)
    create_directory(path, directory_mode);
}

void remove_replaced_tree() {
  // The shell must not inherit files that this run or its caller has open.
  syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
  int status = system("rm -rf " IPSEC_REPLACED_TREE);
  static_cast<void>(status);  // what is left of the old tree does no harm
}

// Removes the file or link at `path`, if there is one. False when that fails.
bool clear_path(const char *path) {
  return unlink(path) == 0 || errno == ENOENT;
}

}  // namespace

void create_staging_tree() {
  for (const char *path : staging_directories) ensure_directory(path);
}

void swap_staging_tree() {
  bool moved = rename(IPSEC_TREE, IPSEC_REPLACED_TREE) == 0;
  if (!moved && errno != ENOENT) {
    // A run that was interrupted at its end has left the tree that it had replaced.
    remove_replaced_tree();
    moved = rename(IPSEC_TREE, IPSEC_REPLACED_TREE) == 0;
  }
  if (rename(IPSEC_STAGING_TREE, IPSEC_TREE) != 0 && moved) {
    rename(IPSEC_REPLACED_TREE, IPSEC_TREE);  // old tunnels are better than none
    return;
  }
  remove_replaced_tree();
}

OwnedStream stage_stream(const char *path) {
  return clear_path(path) ? open_output(path) : nullptr;
}

bool stage_file(const char *path, const char *content) {
  return clear_path(path) && file_write(path, content);
}

bool stage_link(const char *path, const char *target) {
  return clear_path(path) && symlink(target, path) == 0;
}
