#include "apply/change.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "sandbox/sandbox.h"

namespace {

// More than all services and hooks may take. Something else may block a change, such as a stopped terminal that accepts
// no messages; then the alarm ends the change, so that the guard can take it back.
constexpr unsigned most_seconds = 1800;

std::string name_of(unsigned number) {
  return "change " + std::to_string(number);
}

// Gives up the lock, the terminal and all descriptors of the caller. After that, messages go only to the system log.
void leave_caller(Fd &lock) {
  lock = Fd();
  setsid();
  signal(SIGHUP, SIG_IGN);
  if (chdir("/") != 0) _exit(1);
  int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
  closelog();
  syscall(SYS_close_range, STDERR_FILENO + 1, UINT_MAX, 0);
}

// Waits until the change is over, or takes it back when nobody can confirm it any more: the caller has ended early, or
// the time is up. The caller holds the lock while it works, so the guard looks only after the caller has ended.
[[noreturn]] void guard() {
  for (;;) {
    std::string trouble;
    std::optional<Pending> pending;
    Fd own_lock = take_lock(true, trouble);
    if (trouble.empty()) trouble = read_pending(pending);
    if (trouble.empty() && !pending) _exit(0);
    bool is_overdue = false;
    if (trouble.empty()) trouble = find_overdue(*pending, is_overdue);
    bool waits = trouble.empty() && !is_overdue;
    if (trouble.empty() && is_overdue) {
      trouble = revert(*pending, pending->deadline == 0 ? "it was not completed" : "it was not confirmed in time");
      if (trouble.empty()) _exit(0);
    }
    if (!trouble.empty()) report(trouble);
    own_lock = Fd();
    timespec until = {waits ? pending->deadline : seconds_up() + 10, 0};
    clock_nanosleep(CLOCK_BOOTTIME, TIMER_ABSTIME, &until, nullptr);
  }
}

// Starts the process that takes the change back when necessary. Returns false, with errno set, when that fails.
bool start_guard(Fd &lock) {
  fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    leave_caller(lock);
    pid_t grandchild = fork();
    if (grandchild == 0) guard();
    _exit(grandchild > 0 ? 0 : 1);
  }
  int status = 0;
  pid_t ended = child;
  while (child > 0 && (ended = waitpid(child, &status, 0)) < 0 && errno == EINTR) continue;
  if (child > 0 && ended == child && status != 0) errno = EAGAIN;
  return child > 0 && ended == child && status == 0;
}

// Removes the record of a change that was taken back. Returns "", or what failed.
std::string finish_revert(unsigned number, const char *reason) {
  std::string trouble = remove_pending();
  if (!trouble.empty()) return name_of(number) + " is not taken back yet: " + trouble;
  forget_document(number);
  report(name_of(number) + " was taken back: " + reason);
  return "";
}

// Ends a change before anything was changed or run.
int refuse(const std::string &trouble) {
  fprintf(stderr, "tessera-apply: %s; nothing is changed\n", trouble.c_str());
  return change_fails;
}

// Takes back a change that failed.
int take_back(Pending &pending, const std::string &trouble) {
  report(trouble);
  pending.deadline = 0;
  store_pending(pending);  // the record may be removed already; when this fails, the old record has the same effect
  std::string rest = revert(pending, "it failed");
  if (rest.empty()) return change_reverted;
  report(rest + "; tessera-apply tries again");
  return change_fails;
}

// Stores that the change is done, or waits for its confirmation.
std::string complete(const Change &change, Pending &pending) {
  if (change.seconds == 0) return remove_pending();
  pending.deadline = seconds_up() + change.seconds;
  return store_pending(pending);
}

}  // namespace

void report(const std::string &message) {
  fflush(stdout);
  fprintf(stderr, "tessera-apply: %s\n", message.c_str());
  syslog(LOG_NOTICE, "%s", message.c_str());
}

std::string revert(const Pending &pending, const char *reason) {
  std::string trouble = restore_document(pending.number);
  if (!trouble.empty()) return name_of(pending.number) + " is not taken back yet: " + trouble;
  std::optional<std::string> document;
  trouble = read_kept(pending.number, document);
  if (trouble.empty()) {
    trouble = document ? run_services(pending.services, {}, true) : remove_services(pending.services);
  }
  // A service or hook that fails must not block all later changes.
  if (!trouble.empty()) report("while " + name_of(pending.number) + " is taken back: " + trouble);
  return finish_revert(pending.number, reason);
}

std::string revert_document(const Pending &pending, const char *reason) {
  std::string trouble = restore_document(pending.number);
  if (!trouble.empty()) return name_of(pending.number) + " is not taken back yet: " + trouble;
  return finish_revert(pending.number, reason);
}

int do_change(Fd &lock, const Change &change, const Survey &survey) {
  std::vector<Entry> history;
  std::string trouble = read_history(history);
  if (!trouble.empty()) return refuse(trouble);
  unsigned number = history.empty() ? 1 : history.back().number + 1;
  trouble = keep_document(number, change.old_document, change.message);
  if (!trouble.empty()) return refuse(trouble);
  if (!start_guard(lock)) {
    trouble = std::string("cannot start a process: ") + strerror(errno);
    forget_document(number);
    return refuse(trouble);
  }
  // The change may cut the caller's connection; it must go on nevertheless.
  for (int ignored : {SIGHUP, SIGPIPE, SIGTSTP, SIGTTOU}) signal(ignored, SIG_IGN);
  alarm(most_seconds);
  Pending pending;
  trouble = begin_pending(number, survey.services, pending);
  if (!trouble.empty()) {
    if (!remove_pending().empty()) return take_back(pending, trouble);
    forget_document(number);
    return refuse(trouble);
  }
  trouble = install_document(change.document);
  if (trouble.empty()) trouble = run_services(survey.services, survey.statuses, false);
  if (trouble.empty()) trouble = complete(change, pending);
  if (!trouble.empty()) return take_back(pending, trouble);
  prune_history();
  syslog(LOG_NOTICE, "applied as %u", number);
  lock = Fd();
  alarm(0);
  printf("applied as %u", number);
  if (change.seconds > 0) printf("; confirm within %d seconds: tessera-apply confirm", change.seconds);
  putchar('\n');
  return change_done;
}
