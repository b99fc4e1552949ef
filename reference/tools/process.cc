// Child processes. A child has a session of its own, so that nothing can prompt on a terminal; it reads from /dev/null,
// inherits no descriptor but standard output and standard error, and starts with default signal handling.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <vector>

#include "platform/tools.h"
#include "tools/stream.h"

namespace {

constexpr int status_not_run = 127;  // as a shell tells of a program that it cannot run
constexpr int status_signal = 128;   // plus the signal's number

// The argument vector: the program's name, then the texts of `arguments` up to the null pointer.
std::vector<char *> argument_vector(const char *program, va_list &arguments) {
  std::vector<char *> vector;
  for (const char *text = program; text != nullptr; text = va_arg(arguments, const char *)) {
    vector.push_back(const_cast<char *>(text));  // the interface of exec is older than const
  }
  vector.push_back(nullptr);
  return vector;
}

// A parent that ignores SIGCHLD hands that on to us, and the kernel would then throw our children's statuses away.
void keep_child_statuses() {
  struct sigaction action;
  if (sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) signal(SIGCHLD, SIG_DFL);
}

// Starts the program with standard output to `fd_out` (-1: inherited). -1 when it could not be started.
pid_t start(int fd_out, char *const *argv) {
  if (argv[0] == nullptr) return -1;
  keep_child_statuses();
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  if (posix_spawn_file_actions_init(&actions) != 0) return -1;
  if (posix_spawnattr_init(&attributes) != 0) {
    posix_spawn_file_actions_destroy(&actions);
    return -1;
  }
  pid_t pid = -1;
  // Output first: a pipe may have got the number of standard input when that was closed.
  bool ready =
      (fd_out < 0 || posix_spawn_file_actions_adddup2(&actions, fd_out, STDOUT_FILENO) == 0) &&
      posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
      // What this program opens closes itself; this is for descriptors that it was started with.
      posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1) == 0 &&
#endif
      posix_spawnattr_setsigmask(&attributes, &none) == 0 && posix_spawnattr_setsigdefault(&attributes, &all) == 0 &&
      posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
  if (!ready || posix_spawnp(&pid, argv[0], &actions, &attributes, argv, environ) != 0) pid = -1;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

}  // namespace

char *_process_capture(int /*fd_in*/, int /*fd_err*/, int /*capture*/, int /*reserved1*/, int /*reserved2*/,
                       const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  std::vector<char *> argv = argument_vector(program, arguments);
  va_end(arguments);

  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return nullptr;
  pid_t pid = start(ends[1], argv.data());
  close(ends[1]);
  char *output = nullptr;
  if (pid >= 0) read_all(ends[0], 0, &output);
  close(ends[0]);
  if (process_wait(pid) == 0) return output;
  free(output);
  return nullptr;
}

pid_t _process_exec_fd(int /*fd_in*/, int /*fd_out*/, int /*fd_err*/, int /*reserved*/, const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  std::vector<char *> argv = argument_vector(program, arguments);
  va_end(arguments);
  return start(-1, argv.data());
}

int process_wait(pid_t pid) {
  if (pid <= 0) return status_not_run;
  int status;
  pid_t ended;
  do {
    ended = waitpid(pid, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended < 0) return status_not_run;
  return WIFEXITED(status) ? WEXITSTATUS(status) : status_signal + WTERMSIG(status);
}
