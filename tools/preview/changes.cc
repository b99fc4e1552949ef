#include "preview/changes.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "preview/fail.h"
#include "preview/fd.h"

namespace {

// Adds everything below `directory`, the open one at `path`, that lies on the file system `device`.
void add_states(DIR *directory, const std::string &path, dev_t device, Snapshot &snapshot) {
  while (const dirent *entry = next_entry(directory)) {
    std::string name = path_in(path, entry->d_name);
    if (entry->d_type == DT_LNK) {  // Its inode says it all: where a link leads to cannot be changed.
      snapshot.emplace(std::move(name), FileState{entry->d_ino, S_IFLNK | 0777, 0, {}});
      continue;
    }
    struct stat status;
    if (fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) fail_system("%s", name.c_str());
    if (status.st_dev != device || name == runtime_directory) continue;
    if (S_ISDIR(status.st_mode)) {
      Directory below = open_directory(dirfd(directory), entry->d_name);
      if (below == nullptr) fail_system("%s", name.c_str());
      add_states(below.get(), name, device, snapshot);
    }
    snapshot.emplace(std::move(name), FileState{status.st_ino, status.st_mode, status.st_size, status.st_mtim});
  }
}

// Directories change when something in them does: that shows by itself.
bool is_same(const FileState &before, const FileState &after) {
  if (before.mode != after.mode || S_ISDIR(after.mode)) return before.mode == after.mode;
  return before.inode == after.inode && before.size == after.size && before.changed.tv_sec == after.changed.tv_sec &&
         before.changed.tv_nsec == after.changed.tv_nsec;
}

// A symbolic link in the last place is read, not followed.
File read_file(int at, const char *name, mode_t mode) {
  File file = {mode, ""};
  if (S_ISLNK(mode)) {
    if (!read_link(at, name, file.content)) fail_system("%s", name);
  } else if (S_ISREG(mode)) {
    Fd fd(openat(at, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.is_open() || !read_all(fd.get(), file.content)) fail_system("%s", name);
  }
  return file;
}

void add_files(DIR *directory, const std::string &path, Tree &tree) {
  while (const dirent *entry = next_entry(directory)) {
    struct stat status;
    if (fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) fail_system("%s", entry->d_name);
    std::string name = path + entry->d_name;
    tree.emplace(name, read_file(dirfd(directory), entry->d_name, status.st_mode));
    if (!S_ISDIR(status.st_mode)) continue;
    Directory below = open_directory(dirfd(directory), entry->d_name);
    if (below == nullptr) fail_system("%s", name.c_str());
    add_files(below.get(), name + "/", tree);
  }
}

}  // namespace

Snapshot take_snapshot() {
  Snapshot snapshot;
  Directory root = open_directory(AT_FDCWD, "/");
  struct stat status;
  if (root == nullptr || fstat(dirfd(root.get()), &status) != 0) fail_system("/");
  add_states(root.get(), "", status.st_dev, snapshot);
  return snapshot;
}

Tree produced_files(const Snapshot &before) {
  Snapshot after = take_snapshot();
  Tree tree;
  for (const auto &[path, state] : after) {
    auto old = before.find(path);
    if (old != before.end() && is_same(old->second, state)) continue;
    tree.emplace(path.substr(1), read_file(AT_FDCWD, path.c_str(), state.mode));
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

Tree read_tree(int directory) {
  Tree tree;
  Directory top = open_directory(directory, ".");
  if (top == nullptr) fail_system("cannot read a directory");
  add_files(top.get(), "", tree);
  return tree;
}

std::vector<std::pair<std::string_view, std::string_view>> flat_members(std::string_view json) {
  std::vector<std::pair<std::string_view, std::string_view>> members;
  std::string_view name;
  for (size_t start = json.find('"'); start != std::string_view::npos; start = json.find('"', start)) {
    size_t end = start + 1;
    while (end < json.size() && json[end] != '"') end += json[end] == '\\' ? 2 : 1;
    if (end >= json.size()) return {};
    std::string_view text = json.substr(start, end + 1 - start);
    if (name.empty()) {
      name = text;
    } else {
      members.emplace_back(name, text);
      name = {};
    }
    start = end + 1;
  }
  return members;
}
