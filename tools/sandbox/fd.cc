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

bool read_all(int fd, std::string &content) {
  constexpr size_t step = 65536;
  size_t length = 0;
  for (;;) {
    if (content.size() - length < step) content.resize(content.size() + content.size() / 2 + step);
    ssize_t count = read(fd, content.data() + length, content.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    length += static_cast<size_t>(count);
    if (length > largest_file) {
      errno = EFBIG;
      return false;
    }
  }
  content.resize(length);
  content.shrink_to_fit();  // thousands of files are kept at a time
  return true;
}

bool write_all(int fd, const std::string &content) {
  size_t written = 0;
  while (written < content.size()) {
    ssize_t count = write(fd, content.data() + written, content.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    written += static_cast<size_t>(count);
  }
  return true;
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
