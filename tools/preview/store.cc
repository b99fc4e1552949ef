#include "preview/store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>

#include "preview/fail.h"

namespace {

const char *base_name(const std::string &path) {
  return path.c_str() + (path.rfind('/') + 1);
}

// The directory below `top` that holds `path`. Follows no symbolic link, which somebody else may have put there.
Fd open_parent(const Fd &top, const std::string &path) {
  Fd directory(dup(top.get()));
  for (size_t start = 0, end; (end = path.find('/', start)) != std::string::npos; start = end + 1) {
    std::string name = path.substr(start, end - start);
    directory = Fd(openat(directory.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  return directory;
}

bool store_file(const Fd &directory, const char *name, const File &file) {
  if (S_ISDIR(file.mode)) return mkdirat(directory.get(), name, 0700) == 0;
  if (S_ISLNK(file.mode)) return symlinkat(file.content.c_str(), directory.get(), name) == 0;
  Fd fd(openat(directory.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  return fd.is_open() && write_all(fd.get(), file.content) && fchmod(fd.get(), file.mode & 07777) == 0;
}

}  // namespace

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
  // Finish before a signal ends the program, so that no half of a tree is left.
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
  for (const auto &[path, file] : tree) {
    if (!store_file(open_parent(top, path), base_name(path), file))
      fail_system("%s/%s", store.name.c_str(), path.c_str());
  }
  // Set the modes of directories last, because a mode may forbid to create files.
  for (auto entry = tree.rbegin(); entry != tree.rend(); ++entry) {
    const auto &[path, file] = *entry;
    if (!S_ISDIR(file.mode)) continue;
    Fd directory(
        openat(open_parent(top, path).get(), base_name(path), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory.is_open() || fchmod(directory.get(), file.mode & 07777) != 0) {
      fail_system("%s/%s", store.name.c_str(), path.c_str());
    }
  }
  sigprocmask(SIG_SETMASK, &old_signals, nullptr);
}
