#include "output/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

bool belongs_to_this_user(const struct stat &status) {
  return status.st_uid == geteuid();
}

// Removes a file that other users own or may have opened: what they have opened then never shows what the run writes. A
// file that cannot be removed is taken over instead.
void drop_readable_file(const char *path) {
  struct stat status;
  if (lstat(path, &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (!belongs_to_this_user(status) || (status.st_mode & 077) != 0) unlink(path);
}

// Gives an empty file its owner and mode; a device or pipe in its place keeps its own.
bool take_over(int fd, unsigned mode) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return true;
  if (mode == private_mode && !belongs_to_this_user(status) && fchown(fd, geteuid(), getegid()) != 0) return false;
  return (status.st_mode & 07777) == mode || fchmod(fd, mode) == 0;
}

}  // namespace

OwnedStream open_output(const char *path, unsigned mode) {
  if (mode == private_mode) drop_readable_file(path);
  // The file stays empty until its mode is right: nobody reads new content under an old, wider mode. Without O_NONBLOCK
  // a pipe in its place would block the run until somebody reads it.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  if (fd < 0) return nullptr;
  FILE *stream = take_over(fd, mode) ? fdopen(fd, "w") : nullptr;
  if (stream == nullptr) {
    int reason = errno;
    if (reason == ENOMEM) end_without_memory();
    close(fd);
    errno = reason;
  }
  return OwnedStream(stream);
}

bool close_output(OwnedStream stream) {
  bool written = ferror(stream.get()) == 0;
  if (fclose(stream.release()) != 0) return false;
  if (!written) errno = EIO;  // the writes after the failed one have succeeded, so its reason is lost
  return written;
}

bool create_directory(const char *path, unsigned mode) {
  return mkdir(path, mode) == 0 && chmod(path, mode) == 0;
}

bool is_there(const char *path) {
  errno = 0;
  if (file_exists(path)) return true;
  if (errno != 0 && errno != ENOENT && errno != ENOTDIR) log_error("error looking for %s: %s", path, strerror(errno));
  return false;
}

void remove_file(const char *path) {
  if (unlink(path) != 0 && errno != ENOENT) log_error("error removing %s: %s", path, strerror(errno));
}
