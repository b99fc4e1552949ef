// Child processes. A child runs in a session of its own, so that it cannot prompt on a terminal. Its standard input is
// /dev/null, it inherits only standard output and standard error, and it starts with default signal handling. A child
// that hangs, or writes without end, is killed with its own children, so that the boot goes on.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "platform/tools.h"
#include "util/file.h"
#include "util/memory.h"

namespace {

constexpr int status_not_run = 127;  // the status that a shell returns for a program that it cannot run
constexpr int status_signal = 128;   // plus the number of the signal

// Time limits for a child, in milliseconds. A slow processor needs long for a key of 4096 bits. If one child hangs,
// others probably hang too, so after two of them the limit is shorter.
constexpr int time_limit = 30'000;
constexpr int shorter_limit = 5'000;
constexpr int hangs_before_shorter = 2;
int hangs = 0;

constexpr int death_limit = 1'000;           // milliseconds to wait for a killed process, which may hang in the kernel
constexpr size_t largest_output = 1U << 20;  // bytes

// The argument vector: the program's name, the arguments up to the null pointer, and a null pointer.
std::vector<char *> argument_vector(const char *program, va_list &arguments) {
  std::vector<char *> vector;
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the callers have started the list
  for (const char *string = program; string != nullptr; string = va_arg(arguments, const char *)) {
    vector.push_back(const_cast<char *>(string));  // the interface of exec is older than const
  }
  vector.push_back(nullptr);
  return vector;
}

// Restores the default handling of SIGCHLD. If the caller of the program ignores this signal, so does the program, and
// the kernel would drop the statuses of its children.
void keep_child_statuses() {
  struct sigaction action;
  if (sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, nullptr);
  }
}

// Starts a program with standard output to `fd_out` (-1: inherited). Returns its process ID; -1, with the reason in
// errno, when it could not be started.
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
  // Standard output comes first: `fd_out` may be 0 if standard input was closed.
  bool ready =
      (fd_out < 0 || posix_spawn_file_actions_adddup2(&actions, fd_out, STDOUT_FILENO) == 0) &&
      posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
      // All files of this program have O_CLOEXEC; this closes descriptors that it has inherited.
      posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1) == 0 &&
#endif
      posix_spawnattr_setsigmask(&attributes, &none) == 0 && posix_spawnattr_setsigdefault(&attributes, &all) == 0 &&
      posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
  errno = ready ? posix_spawnp(&pid, argv[0], &actions, &attributes, argv, environ) : ENOMEM;
  if (errno != 0) pid = -1;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// Kills all processes of the child's session. The child must not have been waited for, because another process could
// have got its ID since. kill(-1) would kill every process.
void kill_session(pid_t child) {
  if (child > 1) kill(-child, SIGKILL);
}

// Waits for the end of the child. False for a process that is not a child. With WNOHANG among the options,
// `end->si_pid` is 0 while the child is running.
bool wait_for(pid_t child, siginfo_t *end, int options) {
  *end = {};
  int failed;
  do {
    failed = waitid(P_PID, static_cast<id_t>(child), end, WEXITED | options);
  } while (failed != 0 && errno == EINTR);
  return failed == 0;
}

// True when the child ends before the deadline. This polls, because old kernels have no pidfd_open(2); most children
// have ended at the second poll.
bool ends_before(pid_t child, int64_t deadline) {
  constexpr long longest_pause = 20'000'000;
  timespec pause = {0, 100'000};
  for (;;) {
    siginfo_t end;
    if (wait_for(child, &end, WNOHANG | WNOWAIT) && end.si_pid != 0) return true;
    if (moment_after(0) >= deadline) return false;
    nanosleep(&pause, nullptr);
    pause.tv_nsec = pause.tv_nsec * 2 < longest_pause ? pause.tv_nsec * 2 : longest_pause;
  }
}

int64_t child_deadline() {
  return moment_after(hangs < hangs_before_shorter ? time_limit : shorter_limit);
}

// Waits for the child until the deadline, kills it then, and returns its exit status. Does nothing to a process that is
// not a child.
int reap(pid_t pid, int64_t deadline) {
  if (pid <= 1) return status_not_run;
  siginfo_t end;
  if (!wait_for(pid, &end, WNOHANG)) return status_not_run;
  bool running = end.si_pid == 0;
  if (running && !ends_before(pid, deadline)) kill_session(pid);
  bool late = moment_after(0) >= deadline;
  if (late) hangs++;
  if (running) {
    if (late && !ends_before(pid, moment_after(death_limit))) return status_not_run;
    if (!wait_for(pid, &end, 0)) return status_not_run;
  }
  return end.si_code == CLD_EXITED ? end.si_status : status_signal + end.si_status;
}

}  // namespace

char *_process_capture(int /*fd_in*/, int /*fd_err*/, int /*capture*/, int /*reserved1*/, int /*reserved2*/,
                       const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  std::vector<char *> argv = argument_vector(program, arguments);
  va_end(arguments);

  // Callers go on without the output and write incomplete files, so the log has to say why. A program that exits with
  // an error reports it itself, and a program that the firmware does not have is not an error.
  int ends[2];
  int status = status_not_run;
  std::string output;
  bool complete = false;
  bool missing = false;
  if (pipe2(ends, O_CLOEXEC) == 0) {
    pid_t pid = start(ends[1], argv.data());
    missing = pid < 0 && errno == ENOENT && file_exists("/dev/null");
    close(ends[1]);
    int64_t deadline = child_deadline();
    complete = pid >= 0 && read_all(ends[0], &output, largest_output, deadline);
    if (pid >= 0 && !complete) kill_session(pid);
    close(ends[0]);
    status = reap(pid, deadline);
  }
  if (missing)
    log_debug("the program %s is missing", program);
  else if (!complete || status >= status_not_run)
    log_error("%s did not run to its end", program != nullptr ? program : "a program");
  return complete && status == 0 ? copy_bytes(output.data(), output.size()) : nullptr;
}

pid_t _process_exec_fd(int /*fd_in*/, int /*fd_out*/, int /*fd_err*/, int /*reserved*/, const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  std::vector<char *> argv = argument_vector(program, arguments);
  va_end(arguments);
  return start(-1, argv.data());
}

int process_wait(pid_t pid) {
  return reap(pid, child_deadline());
}
