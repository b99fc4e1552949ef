#include "sandbox/tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "sandbox/fd.h"

namespace {

// Adds everything below the open directory at `path`, which is "" or ends in a slash. Returns false, with errno set and
// the path in `failed`, when something cannot be read.
bool add_files(DIR *directory, const std::string &path, Tree &tree, std::string &failed) {
  while (const dirent *entry = next_entry(directory)) {
    int at = dirfd(directory);
    const char *name = entry->d_name;
    failed = path + name;
    struct stat status;
    if (fstatat(at, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    File &file = tree[path + name] = {status.st_mode, ""};
    if (S_ISLNK(status.st_mode)) {
      if (!read_link(at, name, file.content)) return false;
    } else if (S_ISREG(status.st_mode)) {
      Fd fd(openat(at, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
      if (!fd.is_open() || !read_all(fd.get(), &file.content)) return false;
    } else if (S_ISDIR(status.st_mode)) {
      Directory below = open_directory(at, name);
      if (below == nullptr || !add_files(below.get(), path + name + "/", tree, failed)) return false;
    }
  }
  return true;
}

}  // namespace

std::string read_tree(int directory, Tree &tree) {
  std::string failed = ".";
  Directory top = open_directory(directory, ".");
  if (top != nullptr && add_files(top.get(), "", tree, failed)) return "";
  return failed + ": " + strerror(errno);
}

const std::string &content_of(const Tree &tree, const std::string &path) {
  static const std::string none;
  auto entry = tree.find(path);
  return entry != tree.end() ? entry->second.content : none;
}
