// Reads the file of a document.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/document.h"
#include "util/file.h"
#include "util/owned.h"

namespace {

constexpr int longest_wait = 10'000;  // milliseconds without data

bool fail_with(int error) {
  errno = error;
  return false;
}

// Reads a pipe or a device. It may be slow, but it must not block the boot.
bool read_pipe(int fd, std::string *content) {
  while (wait_ready(fd, POLLIN, moment_after(longest_wait))) {
    ssize_t got = read_block(fd, content);
    if (got <= 0) return got == 0;
    if (content->size() > largest_file) return fail_with(EFBIG);
  }
  return fail_with(ETIMEDOUT);
}

bool read_open_file(int fd, std::string *content) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return read_pipe(fd, content);
  if (static_cast<size_t>(status.st_size) > largest_file) return fail_with(EFBIG);
  content->reserve(static_cast<size_t>(status.st_size));
  return read_all(fd, content);
}

}  // namespace

bool read_file(const char *path, std::string *content, std::string *problem) {
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (fd.is_open() && read_open_file(fd.get(), content)) return true;
  const char *failed = fd.is_open() ? "cannot be read: " : "cannot be opened: ";
  *problem = errno == EFBIG ? "is larger than 256 MiB" : std::string(failed) + strerror(errno);
  return false;
}
