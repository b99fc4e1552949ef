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

// Removes a file that other users own or could open: whoever has it open must not see what the run writes. If that
// fails, the caller reuses the file.
void remove_readable_file(const char *path) {
  struct stat status;
  if (lstat(path, &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (!belongs_to_this_user(status) || (status.st_mode & 077) != 0) unlink(path);
}

// Sets the owner and mode of an empty file. A device or pipe in its place keeps its own.
bool set_owner_and_mode(int fd, unsigned mode) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) return true;
  if (mode == private_mode && !belongs_to_this_user(status) && fchown(fd, geteuid(), getegid()) != 0) return false;
  return (status.st_mode & 07777) == mode || fchmod(fd, mode) == 0;
}

}  // namespace

OwnedStream open_output(const char *path, unsigned mode) {
  if (mode == private_mode) remove_readable_file(path);
  // The file stays empty until its mode is right, so nobody can read secrets under an old, wider mode. O_NONBLOCK: a
  // pipe in place of the file would block the run until somebody reads it.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  if (fd < 0) return nullptr;
  FILE *stream = set_owner_and_mode(fd, mode) ? fdopen(fd, "w") : nullptr;
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
  if (!written) errno = EIO;  // later writes succeeded, so the reason of the failed one is lost
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
