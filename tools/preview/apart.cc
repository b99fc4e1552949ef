#include "preview/apart.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "preview/fail.h"
#include "preview/fd.h"
#include "preview/inside.h"

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGTERM};

volatile pid_t process_apart = 0;
volatile sig_atomic_t ended_by = 0;

// The inside's end of the pipe by which it says that it cannot have process ids of its own; -1 when it has none anyway.
int refusal = -1;

void pass_on(int signal) {
  ended_by = signal;
  if (process_apart > 0) kill(process_apart, signal);
}

void end_now(int signal) {
  _exit(128 + signal);
}

void handle_ending_signals(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  for (int signal : ending_signals) {
    struct sigaction old;
    // What was ignored (nohup) stays ignored.
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

void write_text(const char *path, const std::string &text) {
  Fd fd(open(path, O_WRONLY | O_CLOEXEC));
  if (!fd.is_open() || !write_all(fd.get(), text)) fail_system("%s", path);
}

// As fork, with namespaces of its own for the child.
pid_t fork_into(int namespaces) {
  unsigned long flags = static_cast<unsigned long>(namespaces) | SIGCHLD;
#ifdef __s390__  // the flags come second
  return static_cast<pid_t>(syscall(SYS_clone, nullptr, flags, nullptr, nullptr, nullptr));
#else
  return static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
#endif
}

[[noreturn]] void be_apart(const std::function<int()> &work, int parent_lives) {
  // The first process of a namespace is deaf to signals that it does not handle.
  handle_ending_signals(end_now);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  pollfd parent = {parent_lives, 0, 0};
  if (poll(&parent, 1, 0) != 0) _exit(exit_setup);
  // Nothing that is mounted from here on reaches the machine.
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0) fail_system("cannot detach the mounts");
  exit(work());
}

// Starts the work with these namespaces; returns its wait status, or -1 when it has to do without process ids of its
// own.
int attempt(const std::function<int()> &work, int namespaces) {
  uid_t uid = geteuid();
  gid_t gid = getegid();
  int lives[2];
  int says[2];
  if (pipe2(lives, O_CLOEXEC) != 0 || pipe2(says, O_CLOEXEC) != 0) fail_system("cannot make a pipe");
  Fd child_ends[] = {Fd(lives[0]), Fd(says[1])};
  Fd parent_ends[] = {Fd(lives[1]), Fd(says[0])};
  fflush(nullptr);
  // Root of a container may lack the right to do it directly.
  bool is_user = uid != 0;
  pid_t child = is_user ? -1 : fork_into(namespaces);
  if (child < 0) {
    is_user = true;
    child = fork_into(namespaces | CLONE_NEWUSER);
  }
  if (child < 0) {
    fail_system("cannot leave the machine's namespaces (%s)",
                uid != 0 ? "root or user namespaces are needed" : "a container needs CAP_SYS_ADMIN");
  }
  if (child == 0) {
    if (is_user) {
      write_text("/proc/self/setgroups", "deny");
      write_text("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1\n");
      write_text("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1\n");
    }
    for (Fd &end : parent_ends) end = Fd();
    refusal = (namespaces & CLONE_NEWPID) != 0 ? says[1] : -1;
    be_apart(work, lives[0]);
  }
  child_ends[1] = Fd();
  process_apart = child;
  if (ended_by != 0) kill(child, ended_by);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) fail_system("cannot wait for the preview");
  }
  process_apart = 0;
  char byte;
  return read(says[0], &byte, 1) == 1 ? -1 : status;
}

}  // namespace

int run_apart(const std::function<int()> &work) {
  constexpr int namespaces = CLONE_NEWNS | CLONE_NEWUTS;
  handle_ending_signals(pass_on);
  int status = attempt(work, namespaces | CLONE_NEWPID);
  if (status == -1) status = attempt(work, namespaces);
  if (ended_by != 0 && WIFEXITED(status) && WEXITSTATUS(status) == 128 + ended_by) {
    signal(ended_by, SIG_DFL);
    raise(ended_by);
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void mount_processes() {
  constexpr unsigned long flags = MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_RDONLY;
  if (refusal < 0) {
    if (mount(HOST "/proc", "/proc", nullptr, MS_BIND | MS_REC, nullptr) != 0) fail_system("/proc");
  } else if (mount("proc", "/proc", "proc", flags, nullptr) != 0) {
    // A container that hides parts of /proc allows no other view of it.
    if (errno == EPERM && write(refusal, "", 1) == 1) _exit(exit_setup);
    fail_system("/proc");
  }
}
