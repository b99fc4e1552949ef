#include "main/turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/tools.h"

namespace {

constexpr int tries = 2000;
constexpr timespec pause_between = {0, 20'000'000};

// The file, unchanged but for being there. Closed in children: a program that outlives the run must not keep others
// waiting. A pipe that nobody reads is no such file.
int open_file(const char *path) {
  return open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
}

// Whether the path still leads to the open file: the run that had the turn before may have moved it into place.
bool is_file_at(int fd, const char *path) {
  struct stat held;
  struct stat found;
  return fstat(fd, &held) == 0 && stat(path, &found) == 0 && held.st_dev == found.st_dev && held.st_ino == found.st_ino;
}

}  // namespace

bool begin_turn(const char *path, int *turn) {
  *turn = open_file(path);
  for (int i = 0; *turn >= 0; i++) {
    if (flock(*turn, LOCK_EX | LOCK_NB) == 0) {
      if (is_file_at(*turn, path)) return true;
      close(*turn);
      *turn = open_file(path);
    } else if (errno != EWOULDBLOCK) {
      return true;
    } else {
      nanosleep(&pause_between, nullptr);
    }
    if (i == tries) {
      log_error("another run that writes %s does not come to an end, giving up", path);
      end_turn(*turn);
      return false;
    }
  }
  return true;
}

void end_turn(int turn) {
  if (turn >= 0) close(turn);
}
