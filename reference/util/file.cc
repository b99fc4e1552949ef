// Whole files.
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/tools.h"
#include "util/memory.h"
#include "util/stream.h"

namespace {

constexpr size_t smallest_buffer = 1000;
constexpr size_t largest_file = 64U << 20;

// Keeps others out; a device or pipe that stands in the place of a file keeps its own mode.
bool make_private(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  return !S_ISREG(status.st_mode) || (status.st_mode & 07777) == 0600 || fchmod(fd, 0600) == 0;
}

}  // namespace

int64_t moment_after(int milliseconds) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000 + milliseconds;
}

bool wait_ready(int fd, short event, int64_t deadline) {
  for (;;) {
    int64_t remaining = std::max<int64_t>(deadline - moment_after(0), 0);
    pollfd waited = {fd, event, 0};
    int ready = poll(&waited, 1, static_cast<int>(std::min<int64_t>(remaining, INT_MAX)));
    if (ready > 0) return true;
    if ((ready < 0 && errno != EINTR) || remaining == 0) return false;
  }
}

bool read_all(int fd, size_t expected, size_t limit, int64_t deadline, char **text) {
  size_t capacity = std::max(expected + 1, smallest_buffer);
  size_t length = 0;
  char *buffer = static_cast<char *>(xrealloc(nullptr, capacity + 1));
  for (;;) {
    if (length == capacity) buffer = static_cast<char *>(xrealloc(buffer, (capacity *= 2) + 1));
    bool ready = length <= limit && (deadline == no_deadline || wait_ready(fd, POLLIN, deadline));
    ssize_t got = ready ? read(fd, buffer + length, capacity - length) : -1;
    if (ready && got < 0 && errno == EINTR) continue;
    if (got < 0) {
      free(buffer);
      return false;
    }
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  buffer[length] = '\0';
  *text = buffer;
  return true;
}

bool write_all(int fd, const char *bytes, size_t length) {
  while (length > 0) {
    ssize_t written = write(fd, bytes, length);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes += written;
    length -= static_cast<size_t>(written);
  }
  return true;
}

bool file_exists(const char *path) {
  struct stat status;
  return path != nullptr && stat(path, &status) == 0;
}

char *file_read(const char *path) {
  if (path == nullptr) return nullptr;
  // Without O_NONBLOCK a FIFO in the place of a file would hold up the run for ever.
  int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return nullptr;
  struct stat status;
  char *text = nullptr;
  // The size is a hint only: files of the kernel have none, or one that they do not fill.
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    auto expected = std::min(static_cast<size_t>(status.st_size), largest_file);
    read_all(fd, expected, largest_file, no_deadline, &text);
  }
  close(fd);
  return text;
}

bool file_write(const char *path, const char *text) {
  if (path == nullptr) return false;
  // The file is empty until its mode is right: no moment shows new content under an old, wider mode. A pipe in its
  // place that nobody reads would hold up the run for ever.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  bool complete = make_private(fd) && (text == nullptr || write_all(fd, text, strlen(text)));
  return close(fd) == 0 && complete;
}

bool file_printf(const char *path, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char *text = xvasprintf(format, arguments);
  va_end(arguments);
  bool complete = file_write(path, text);
  free(text);
  return complete;
}

bool file_replace(int /*mode*/, const char *new_path, const char *final_path, int /*reserved*/) {
  return new_path != nullptr && final_path != nullptr && rename(new_path, final_path) == 0;
}
