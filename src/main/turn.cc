#include "main/turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "platform/tools.h"

namespace {

constexpr int tries = 2000;
constexpr timespec pause_between = {0, 20'000'000};

}  // namespace

bool begin_turn(const char *directory, int *turn) {
  // Closed in children: a program that outlives the run must not keep others waiting.
  *turn = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (*turn < 0) return true;
  for (int i = 0; flock(*turn, LOCK_EX | LOCK_NB) != 0; i++) {
    if (errno != EWOULDBLOCK) return true;
    if (i == tries) {
      log_error("another run that works in %s does not come to an end, going on without waiting for it", directory);
      return false;
    }
    nanosleep(&pause_between, nullptr);
  }
  return true;
}

void end_turn(int turn) {
  if (turn >= 0) close(turn);
}
