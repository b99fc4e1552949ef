// Reads the file of a document.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/document.h"
#include "util/file.h"
#include "util/owned.h"

namespace {

constexpr int longest_wait = 10'000;  // milliseconds; a pipe in place of the file must not block the boot

bool read_open_file(int fd, std::string *content) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  const bool regular = S_ISREG(status.st_mode);
  const size_t size = regular ? static_cast<size_t>(status.st_size) : 0;
  if (size > largest_file) {
    errno = EFBIG;
    return false;
  }
  content->reserve(size);
  return read_all(fd, content, largest_file, regular ? no_deadline : moment_after(longest_wait));
}

}  // namespace

bool read_file(const char *path, std::string *content, std::string *problem) {
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (fd.is_open() && read_open_file(fd.get(), content)) return true;
  const char *failed = fd.is_open() ? "cannot be read: " : "cannot be opened: ";
  *problem = errno == EFBIG ? "is larger than 256 MiB" : std::string(failed) + strerror(errno);
  return false;
}
