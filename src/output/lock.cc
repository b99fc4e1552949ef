#include "output/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "main/strings.h"
#include "platform/tools.h"

namespace {

constexpr int tries = 2000;
constexpr timespec pause_between = {0, 20'000'000};

enum class Attempt { taken, busy, failed };

// Children do not inherit the file: a child that outlives the run must not keep the lock.
int open_lock_file(const char *path) {
  return open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW, 0600);
}

// Locks the open file. The run that held the lock before may have removed this file. Then a lock on it is useless,
// because the next run creates a new file.
Attempt try_lock(int fd, const char *path) {
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) return errno == EWOULDBLOCK ? Attempt::busy : Attempt::failed;
  struct stat held;
  struct stat found;
  if (fstat(fd, &held) != 0) return Attempt::failed;
  if (stat(path, &found) != 0) return errno == ENOENT ? Attempt::busy : Attempt::failed;
  return held.st_dev == found.st_dev && held.st_ino == found.st_ino ? Attempt::taken : Attempt::busy;
}

}  // namespace

ServiceLock::~ServiceLock() {
  if (fd < 0) return;
  if (unlink(path.c_str()) != 0) log_error("error removing %s: %s", path.c_str(), strerror(errno));
  close(fd);
}

bool take_lock(ServiceLock &lock, const char *service) {
  lock.path = format("/var/run/tessera-%s.lock", service);
  for (int i = 0; i < tries; i++) {
    int fd = open_lock_file(lock.path.c_str());
    if (fd < 0) return true;
    Attempt attempt = try_lock(fd, lock.path.c_str());
    if (attempt == Attempt::taken) {
      lock.fd = fd;
      return true;
    }
    if (attempt == Attempt::failed) log_error("error locking %s: %s", lock.path.c_str(), strerror(errno));
    close(fd);
    if (attempt == Attempt::failed) return false;
    nanosleep(&pause_between, nullptr);
  }
  log_error("another run of tessera %s does not end, giving up", service);
  return false;
}
