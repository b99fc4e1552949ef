#include "tools/config/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "util/file.h"

namespace {

bool fail(const std::string &path, const char *what) {
  fprintf(stderr, "tessera-config: %s: %s: %s\n", path.c_str(), what, strerror(errno));
  return false;
}

// Whether the path still leads to the opened file: another edit may have replaced it.
bool is_at(const EditedFile &file) {
  struct stat found;
  return stat(file.path.c_str(), &found) == 0 && found.st_dev == file.status.st_dev &&
         found.st_ino == file.status.st_ino;
}

// Waits at most 10 seconds: an edit that is stopped must not block others for ever.
bool lock(const EditedFile &file) {
  constexpr int tries = 500;
  constexpr timespec pause = {0, 20'000'000};
  for (int i = 0; flock(file.fd.get(), LOCK_EX | LOCK_NB) != 0; i++) {
    if (errno != EWOULDBLOCK || i == tries) return fail(file.path, "cannot be locked");
    nanosleep(&pause, nullptr);
  }
  return true;
}

// Without O_NONBLOCK, open would wait for a writer when the file is a named pipe.
bool open_once(EditedFile *file) {
  file->fd = Fd(open(file->path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file->fd.is_open() || fstat(file->fd.get(), &file->status) != 0) return fail(file->path, "cannot be opened");
  if (S_ISREG(file->status.st_mode)) return true;
  fprintf(stderr, "tessera-config: %s: is not a regular file\n", file->path.c_str());
  return false;
}

bool open_locked(EditedFile *file) {
  do {
    if (!open_once(file) || !lock(*file)) return false;
  } while (!is_at(*file));
  return true;
}

bool fill(const Fd &fd, const EditedFile &file, const std::string &content) {
  const struct stat &old = file.status;
  bool owned = fchown(fd.get(), old.st_uid, old.st_gid) == 0;
  return owned && fchmod(fd.get(), old.st_mode & 07777) == 0 && write_all(fd.get(), content) && fsync(fd.get()) == 0;
}

// A file in memory with that content, to be read from its start; not open after a failure.
Fd in_memory(const std::string &content) {
  Fd fd(memfd_create("configuration", MFD_CLOEXEC));
  bool ready = fd.is_open() && write_all(fd.get(), content) && lseek(fd.get(), 0, SEEK_SET) == 0;
  return ready ? std::move(fd) : Fd();
}

// The path with which a child opens such a file.
std::string path_of(const Fd &fd) {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd.get());
}

}  // namespace

bool open_file(const char *path, bool lock, EditedFile *file) {
  char *target = realpath(path, nullptr);
  if (target == nullptr) return fail(path, "cannot be opened");
  file->path = OwnedString(target).get();
  if (!(lock ? open_locked(file) : open_once(file))) return false;
  return read_all(file->fd.get(), &file->content) || fail(path, "cannot be read");
}

bool replace_file(const EditedFile &file, const std::string &content) {
  std::string name = file.path + ".XXXXXX";
  Fd fd(mkostemp(name.data(), O_CLOEXEC));
  if (!fd.is_open()) return fail(file.path, "no file can be created beside it");
  bool done = fill(fd, file, content);
  if (done && !is_at(file)) {
    errno = ESTALE;
    done = false;
  }
  if (!done || rename(name.c_str(), file.path.c_str()) != 0) {
    int error = errno;
    unlink(name.c_str());
    errno = error;
    return fail(file.path, "cannot be replaced");
  }
  // Now the file is replaced. Some file systems cannot sync a directory.
  Fd directory(open(file.path.substr(0, file.path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.is_open() || (fsync(directory.get()) != 0 && errno != EINVAL))
    fail(file.path, "is changed, but may be the old file again after a power failure");
  return true;
}

bool print_difference(const char *name, const std::string &before, const std::string &after) {
  constexpr int different = 1;
  if (before == after) return true;
  Fd old_fd = in_memory(before);
  Fd new_fd = in_memory(after);
  fflush(stdout);
  pid_t pid = _process_exec_fd(-1, -1, -1, -1, "diff", "-u", "-L", name, "-L", name, path_of(old_fd).c_str(),
                               path_of(new_fd).c_str(), nullptr);
  if (old_fd.is_open() && new_fd.is_open() && process_wait(pid) == different) return true;
  fprintf(stderr, "tessera-config: the program diff failed\n");
  return false;
}
