// Reading and writing whole contents of file descriptors, and waiting for them. Signals do not interrupt these
// functions. They are inline because each library of the platform exports nothing but its operations.
#ifndef TESSERA_REFERENCE_UTIL_FILE_H
#define TESSERA_REFERENCE_UTIL_FILE_H

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

// The time after so many milliseconds from now, in milliseconds of the monotonic clock. Deadlines are such times.
inline int64_t moment_after(int milliseconds) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000 + milliseconds;
}

constexpr int64_t no_deadline = INT64_MAX;

// Waits for an event of poll(2), POLLIN or POLLOUT. False when it has not occurred at the deadline.
inline bool wait_ready(int fd, short event, int64_t deadline) {
  for (;;) {
    int64_t remaining = std::max<int64_t>(deadline - moment_after(0), 0);
    pollfd waited = {fd, event, 0};
    int ready = poll(&waited, 1, static_cast<int>(std::min<int64_t>(remaining, INT_MAX)));
    if (ready > 0) return true;
    if ((ready < 0 && errno != EINTR) || remaining == 0) return false;
  }
}

// Opens /dev/null for each standard stream that the caller of the program has closed. Otherwise a file could get its
// number, and messages would be written into the file. False, with the reason in errno, when that fails.
bool protect_standard_streams();

// The limit for files that people write, in bytes.
constexpr size_t largest_file = 256U << 20;

// Appends the next bytes of the input to `content` and returns their number; 0 at the end, and -1, with the reason in
// errno, when the read fails.
inline ssize_t read_block(int fd, std::string *content) {
  char block[4096];  // small: the protection of the stack touches each of its pages
  ssize_t got;
  do got = read(fd, block, sizeof block);
  while (got < 0 && errno == EINTR);
  if (got > 0) content->append(block, static_cast<size_t>(got));
  return got;
}

// Appends everything up to the end of the input to `content`. False, with the reason in errno, when a read fails, when
// there are more than `limit` bytes (EFBIG), or when the input has not ended at the deadline (ETIMEDOUT). `content`
// then holds a part of the input.
inline bool read_all(int fd, std::string *content, size_t limit = largest_file, int64_t deadline = no_deadline) {
  for (;;) {
    if (deadline != no_deadline && !wait_ready(fd, POLLIN, deadline)) {
      errno = ETIMEDOUT;
      return false;
    }
    ssize_t got = read_block(fd, content);
    if (got <= 0) return got == 0;
    if (content->size() > limit) {
      errno = EFBIG;
      return false;
    }
  }
}

// Writes all of `content`. False, with the reason in errno, when that fails.
inline bool write_all(int fd, std::string_view content) {
  while (!content.empty()) {
    ssize_t written = write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

#endif
