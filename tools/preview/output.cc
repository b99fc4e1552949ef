#include "preview/output.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <set>
#include <string_view>
#include <unordered_map>

#include "preview/child.h"
#include "preview/fail.h"

namespace {

// Starts a section of the listing; a blank line parts it from the one before.
void print_heading(const std::string &line) {
  static bool is_first = true;
  if (!is_first) putchar('\n');
  is_first = false;
  puts(line.c_str());
}

void print_content(const std::string &content) {
  fwrite(content.data(), 1, content.size(), stdout);
  if (!content.empty() && content.back() != '\n') putchar('\n');
}

bool holds_something(const Tree &tree, Tree::const_iterator directory) {
  auto next = tree.upper_bound(directory->first + "/");
  return next != tree.end() && next->first.compare(0, directory->first.size() + 1, directory->first + "/") == 0;
}

// The text that stands for a file in a comparison.
std::string comparable(const File &file) {
  if (S_ISLNK(file.mode)) return "-> " + file.content + "\n";
  return file.content;
}

// The name of a file inside, in a message.
std::string shown_name(const std::string &path) {
  return path == removed_list ? "removed files" : path == runtime_dump ? "runtime store" : "/" + path;
}

const File *find_file(const Tree &tree, const std::string &path) {
  auto entry = tree.find(path);
  return entry != tree.end() ? &entry->second : nullptr;
}

void print_difference(const std::string &old_name, const std::string &new_name, const std::string &before,
                      const std::string &after) {
  Fd old_file = memory_file(before);
  Fd new_file = memory_file(after);
  int status =
      run_program({"diff", "-u", "-L", old_name, "-L", new_name, "/proc/self/fd/" + std::to_string(old_file.get()),
                   "/proc/self/fd/" + std::to_string(new_file.get())});
  if (status > 1) fail("diff ended with status %d", status);
}

}  // namespace

void print_files(const Tree &tree) {
  for (auto entry = tree.begin(); entry != tree.end(); ++entry) {
    const auto &[path, file] = *entry;
    if (path == removed_list || (S_ISDIR(file.mode) && holds_something(tree, entry))) continue;
    if (S_ISLNK(file.mode)) {
      print_heading("/" + path + " -> " + file.content);
    } else {
      print_heading("==> /" + path + (S_ISDIR(file.mode) ? "/ <==" : " <=="));
      print_content(file.content);
    }
  }
  auto removed = tree.find(removed_list);
  if (removed == tree.end()) return;
  print_heading("==> " + shown_name(removed_list) + " <==");
  print_content(removed->second.content);
}

void print_runtime_changes(const std::string &before, const std::string &after) {
  auto old_members = flat_members(before);
  auto new_members = flat_members(after);
  std::unordered_map<std::string_view, std::string_view> old_values(old_members.begin(), old_members.end());
  std::unordered_map<std::string_view, std::string_view> new_values(new_members.begin(), new_members.end());
  std::string lines;
  auto add = [&lines](char sign, std::string_view name, std::string_view value) {
    lines.append({sign, ' '}).append(name).append(": ").append(value).append("\n");
  };
  for (const auto &[name, value] : old_members) {
    auto now = new_values.find(name);
    if (now != new_values.end() && now->second == value) continue;
    add('-', name, value);
    if (now != new_values.end()) add('+', name, now->second);
  }
  for (const auto &[name, value] : new_members) {
    if (old_values.count(name) == 0) add('+', name, value);
  }
  if (lines.empty()) return;
  print_heading("==> " + shown_name(runtime_dump) + " <==");
  print_content(lines);
}

void print_differences(std::string old_name, const Tree &old, const Tree &tree) {
  while (old_name.size() > 1 && old_name.back() == '/') old_name.pop_back();
  std::set<std::string_view> paths;
  for (const auto &[path, file] : old) paths.insert(path);
  for (const auto &[path, file] : tree) paths.insert(path);
  for (std::string_view view : paths) {
    std::string path(view);
    const File *before = find_file(old, path);
    const File *after = find_file(tree, path);
    std::string old_text = before != nullptr ? comparable(*before) : "";
    std::string new_text = after != nullptr ? comparable(*after) : "";
    std::string name = shown_name(path);
    if (before != nullptr && after != nullptr && before->mode != after->mode) {
      printf("mode of %s: %o -> %o\n", name.c_str(), before->mode & 07777U, after->mode & 07777U);
    }
    if (old_text != new_text) {
      print_difference(before != nullptr ? path_in(old_name, path) : "/dev/null", after != nullptr ? name : "/dev/null",
                       old_text, new_text);
    } else if ((before == nullptr || after == nullptr) && !S_ISDIR((before != nullptr ? before : after)->mode)) {
      printf("%s, empty: %s\n", before != nullptr ? "removed" : "added", name.c_str());
    }
  }
}

Store open_store(const std::string &name) {
  Store store;
  store.name = name;
  std::string path = name;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  Directory existing = open_directory(AT_FDCWD, path.c_str());
  if (existing != nullptr) {
    if (next_entry(existing.get()) != nullptr) fail("%s: is not empty", name.c_str());
    store.base = ".";
    store.parent = Fd(dup(dirfd(existing.get())));
  } else {
    if (errno != ENOENT) fail_system("%s", name.c_str());
    size_t slash = path.rfind('/');
    store.base = path.substr(slash + 1);
    std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    store.parent = Fd(open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  if (!store.parent.is_open()) fail_system("%s", name.c_str());
  return store;
}

void store_files(const Store &store, const Tree &tree) {
  // Short enough to be finished before a request to end is heard: no half of a tree stays behind.
  sigset_t signals;
  sigset_t old_signals;
  sigemptyset(&signals);
  for (int signal : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, &old_signals);
  if (store.base != "." && mkdirat(store.parent.get(), store.base.c_str(), 0777) != 0) {
    fail_system("%s", store.name.c_str());
  }
  Fd top(openat(store.parent.get(), store.base.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!top.is_open()) fail_system("%s", store.name.c_str());
  // All names are made here, in an empty directory: none leads through a symbolic link.
  for (const auto &[path, file] : tree) {
    bool done;
    if (S_ISDIR(file.mode)) {
      done = mkdirat(top.get(), path.c_str(), 0700) == 0;
    } else if (S_ISLNK(file.mode)) {
      done = symlinkat(file.content.c_str(), top.get(), path.c_str()) == 0;
    } else {
      Fd fd(openat(top.get(), path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
      done = fd.is_open() && write_all(fd.get(), file.content) && fchmod(fd.get(), file.mode & 07777) == 0;
    }
    if (!done) fail_system("%s/%s", store.name.c_str(), path.c_str());
  }
  for (auto entry = tree.rbegin(); entry != tree.rend(); ++entry) {
    const auto &[path, file] = *entry;
    if (S_ISDIR(file.mode) && fchmodat(top.get(), path.c_str(), file.mode & 07777, 0) != 0) {
      fail_system("%s/%s", store.name.c_str(), path.c_str());
    }
  }
  sigprocmask(SIG_SETMASK, &old_signals, nullptr);
}
