// Reads and writes whole files.
#include "util/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "platform/tools.h"
#include "util/memory.h"
#include "util/owned.h"

namespace {

constexpr size_t longest_string = 64U << 20;  // limit of file_read, in bytes

// Gives a file to this user, with mode 0600. A device or pipe in its place keeps its owner and mode.
bool make_private(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return true;
  if (status.st_uid != geteuid() && fchown(fd, geteuid(), getegid()) != 0) return false;
  return (status.st_mode & 07777) == 0600 || fchmod(fd, 0600) == 0;
}

}  // namespace

bool protect_standard_streams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++)
    if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) return false;
  return true;
}

bool file_exists(const char *path) {
  struct stat status;
  return path != nullptr && stat(path, &status) == 0;
}

char *file_read(const char *path) {
  if (path == nullptr) return nullptr;
  // O_NONBLOCK: a FIFO in place of the file would block the run for ever.
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status;
  if (!fd.is_open() || fstat(fd.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  std::string content;
  if (!read_all(fd.get(), &content, longest_string)) return nullptr;
  return copy_bytes(content.data(), content.size());
}

bool file_write(const char *path, const char *string) {
  if (path == nullptr) return false;
  // The file stays empty until its mode is right, so nobody can read new content under an old, wider mode. O_NONBLOCK:
  // a pipe in place of the file, which nobody reads, would block the run for ever.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  bool complete = make_private(fd) && (string == nullptr || write_all(fd, string));
  return close(fd) == 0 && complete;
}

bool file_printf(const char *path, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  OwnedString content(xvasprintf(format, arguments));
  va_end(arguments);
  return file_write(path, content.get());
}

bool file_replace(int /*mode*/, const char *new_path, const char *final_path, int /*reserved*/) {
  return new_path != nullptr && final_path != nullptr && rename(new_path, final_path) == 0;
}
