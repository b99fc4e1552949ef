// Reads the file of a document.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "config/document.h"
#include "util/file.h"
#include "util/owned.h"

namespace {

constexpr int longest_wait = 10'000;  // milliseconds without data from a pipe or terminal

// Waits for data, but not for ever: a pipe in place of the file must not block the boot.
bool becomes_readable(int fd) {
  pollfd waited = {fd, POLLIN, 0};
  int ready = poll(&waited, 1, longest_wait);
  if (ready == 0) errno = ETIMEDOUT;
  return ready > 0;
}

// Reads up to `most` bytes, or fewer when the file ends before.
bool read_up_to(int fd, bool regular, size_t most, std::string *content) {
  char buffer[8192];  // small: the protection of the stack touches each of its pages
  while (content->size() < most) {
    size_t wanted = std::min(sizeof buffer, most - content->size());
    ssize_t got = regular || becomes_readable(fd) ? read(fd, buffer, wanted) : -1;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    content->append(buffer, static_cast<size_t>(got));
  }
  return true;
}

}  // namespace

bool read_file(const char *path, std::string *content, std::string *problem) {
  auto fail = [problem](const char *what) {
    *problem = std::string(what) + ": " + strerror(errno);
    return false;
  };
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!fd.is_open()) return fail("cannot be opened");
  struct stat status;
  if (fstat(fd.get(), &status) != 0) return fail("cannot be read");
  bool regular = S_ISREG(status.st_mode);
  size_t most = regular ? static_cast<size_t>(status.st_size) : largest_file + 1;
  if (regular && most <= largest_file) content->reserve(most);
  bool fits = most <= largest_file || !regular;
  if (fits && !read_up_to(fd.get(), regular, most, content)) return fail("cannot be read");
  if (fits && content->size() <= largest_file) return true;
  *problem = "is larger than 256 MiB";
  return false;
}
