#include "sandbox/fd.h"

#include <fcntl.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

Directory open_directory(int at, const char *name) {
  int fd = openat(at, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return nullptr;
  return Directory(fdopendir(fd));
}

const dirent *next_entry(DIR *directory) {
  for (;;) {
    const dirent *entry = readdir(directory);
    if (entry == nullptr || (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)) return entry;
  }
}

bool read_link(int at, const char *name, std::string &target) {
  char buffer[PATH_MAX];
  ssize_t length = readlinkat(at, name, buffer, sizeof buffer);
  if (length < 0) return false;
  target.assign(buffer, static_cast<size_t>(length));
  return true;
}

std::string real_path(const std::string &path) {
  std::unique_ptr<char, decltype(&free)> result(realpath(path.c_str(), nullptr), free);
  return result != nullptr ? result.get() : "";
}
