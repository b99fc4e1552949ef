// Finds the files that a job's commands change.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "sandbox/inside.h"

namespace {

// Adds everything below the open `directory` at `path` that is on the file system `device`.
void add_states(DIR *directory, const std::string &path, dev_t device, Snapshot &snapshot) {
  while (const dirent *entry = next_entry(directory)) {
    std::string name = path_in(path, entry->d_name);
    struct stat status;
    if (fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) give_up(name, errno);
    if (status.st_dev != device || name == runtime_directory || name == MACHINE) continue;
    if (S_ISDIR(status.st_mode)) {
      Directory below = open_directory(dirfd(directory), entry->d_name);
      if (below == nullptr) give_up(name, errno);
      add_states(below.get(), name, device, snapshot);
    }
    snapshot.emplace(std::move(name), FileState{status.st_ino, status.st_mode, status.st_size, status.st_mtim});
  }
}

// For directories compares only the mode: changes in them show as changed entries.
bool is_same(const FileState &before, const FileState &after) {
  if (before.mode != after.mode || S_ISDIR(after.mode)) return before.mode == after.mode;
  return before.inode == after.inode && before.size == after.size && before.changed.tv_sec == after.changed.tv_sec &&
         before.changed.tv_nsec == after.changed.tv_nsec;
}

File read_file(const std::string &path, mode_t mode) {
  File file = {mode, ""};
  if (S_ISLNK(mode)) {
    if (!read_link(AT_FDCWD, path.c_str(), file.content)) give_up(path, errno);
  } else if (S_ISREG(mode)) {
    Fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.is_open() || !read_all(fd.get(), &file.content)) give_up(path, errno);
  }
  return file;
}

}  // namespace

Snapshot take_snapshot() {
  Snapshot snapshot;
  Directory root = open_directory(AT_FDCWD, "/");
  struct stat status;
  if (root == nullptr || fstat(dirfd(root.get()), &status) != 0) give_up("/", errno);
  add_states(root.get(), "", status.st_dev, snapshot);
  return snapshot;
}

Tree changed_files(const Snapshot &before) {
  Snapshot after = take_snapshot();
  Tree tree;
  for (const auto &[path, state] : after) {
    auto old = before.find(path);
    if (old != before.end() && is_same(old->second, state)) continue;
    tree.emplace(path.substr(1), read_file(path, state.mode));
    for (size_t slash = path.rfind('/'); slash > 0; slash = path.rfind('/', slash - 1)) {
      std::string parent = path.substr(0, slash);
      if (!tree.try_emplace(parent.substr(1), File{after.at(parent).mode, ""}).second) break;
    }
  }
  std::string removed;
  for (const auto &[path, state] : before) {
    if (!S_ISDIR(state.mode) && after.count(path) == 0) removed += path + "\n";
  }
  if (!removed.empty()) tree.emplace(removed_list, File{S_IFREG | 0644, removed});
  return tree;
}
