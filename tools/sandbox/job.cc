// Starts jobs and receives their outcomes.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "sandbox/inside.h"

namespace {

// False when a container that hides parts of /proc allows no process namespace; the first job finds out.
bool has_process_namespace = true;

// A pipe whose writing end only the caller has: a job can see in it whether the caller still lives.
Fd caller_lives;
Fd caller_end;

// ---- The reply of a job's process: a mark, then strings and numbers one after the other.

enum class Mark : char { none, trouble, no_processes, done };

void put(std::string &reply, uint64_t number) {
  reply.append(reinterpret_cast<const char *>(&number), sizeof number);
}

void put(std::string &reply, const std::string &string) {
  put(reply, string.size());
  reply += string;
}

uint64_t get_number(const std::string &reply, size_t &at) {
  uint64_t number = 0;
  memcpy(&number, &reply[at], sizeof number);
  at += sizeof number;
  return number;
}

std::string get_string(const std::string &reply, size_t &at) {
  size_t size = get_number(reply, at);
  at += size;
  return reply.substr(at - size, size);
}

void put(std::string &reply, const std::vector<Ended> &commands) {
  put(reply, commands.size());
  for (const Ended &ended : commands) {
    put(reply, static_cast<uint64_t>(ended.status));
    put(reply, ended.output);
    put(reply, ended.messages);
  }
}

std::vector<Ended> get_commands(const std::string &reply, size_t &at) {
  std::vector<Ended> commands(get_number(reply, at));
  for (Ended &ended : commands) {
    ended.status = static_cast<int>(get_number(reply, at));
    ended.output = get_string(reply, at);
    ended.messages = get_string(reply, at);
  }
  return commands;
}

Outcome read_outcome(const std::string &reply) {
  Outcome outcome;
  size_t at = 1;
  outcome.preparations = get_commands(reply, at);
  outcome.commands = get_commands(reply, at);
  for (uint64_t count = get_number(reply, at); count > 0; count--) {
    std::string path = get_string(reply, at);
    auto mode = static_cast<mode_t>(get_number(reply, at));
    outcome.files[path] = {mode, get_string(reply, at)};
  }
  return outcome;
}

// ---- The process of a job

int reply_file = -1;

[[noreturn]] void send(Mark mark, const std::string &reply) {
  // Write the mark last: without it the reply is not complete.
  char first = static_cast<char>(mark);
  bool is_sent = pwrite(reply_file, "", 1, 0) == 1 && lseek(reply_file, 1, SEEK_SET) == 1 &&
                 write_all(reply_file, reply) && pwrite(reply_file, &first, 1, 0) == 1;
  _exit(is_sent ? 0 : 1);
}

// Closes everything that the caller has open, so that no command can reach it.
void close_all_but_standard() {
  Fd null(open("/dev/null", O_RDWR | O_CLOEXEC));
  int copy = dup2(reply_file, STDERR_FILENO + 1);
  if (copy < 0 || dup2(null.get(), STDIN_FILENO) < 0 || dup2(null.get(), STDOUT_FILENO) < 0 ||
      fcntl(copy, F_SETFD, FD_CLOEXEC) != 0)
    _exit(1);
  reply_file = copy;
  if (syscall(SYS_close_range, copy + 1, UINT_MAX, 0) == 0) return;
  for (long fd = copy + 1, end = sysconf(_SC_OPEN_MAX); fd < end; fd++) close(static_cast<int>(fd));
}

void become_root_of_namespace(uid_t uid, gid_t gid) {
  const std::pair<const char *, std::string> maps[] = {{"/proc/self/setgroups", "deny"},
                                                       {"/proc/self/uid_map", "0 " + std::to_string(uid) + " 1\n"},
                                                       {"/proc/self/gid_map", "0 " + std::to_string(gid) + " 1\n"}};
  for (const auto &[path, string] : maps) {
    Fd fd(open(path, O_WRONLY | O_CLOEXEC));
    if (!fd.is_open() || !write_all(fd.get(), string)) give_up(path, errno);
  }
}

// The real paths of the directories in an environment variable such as PATH, without relative ones.
std::vector<std::string> listed_directories(const char *variable) {
  std::vector<std::string> directories;
  const char *value = getenv(variable);
  std::string list = value != nullptr ? value : "";
  for (size_t start = 0, end; start < list.size(); start = end + 1) {
    end = std::min(list.find(':', start), list.size());
    std::string path = real_path(list.substr(start, end - start));
    if (list[start] == '/' && !path.empty() && path != "/") directories.push_back(path);
  }
  return directories;
}

// Sets the environment of the commands. Returns the directories of the machine that it names and that the inside has to
// show.
std::vector<std::string> set_environment(Rights rights) {
  std::vector<std::string> all;
  std::pair<const char *, std::string> lists[] = {{"LD_LIBRARY_PATH", ""}, {"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}};
  for (auto &[variable, list] : lists) {
    if (rights == Rights::checker) continue;
    std::vector<std::string> directories = listed_directories(variable);
    for (auto entry = directories.rbegin(); entry != directories.rend(); ++entry) {
      const std::string &directory = *entry;
      bool is_shown = is_system_directory(directory);
      if (!is_shown) all.push_back(directory);
      list.insert(0, list.empty() ? "" : ":").insert(0, is_shown ? directory : inside_program(directory));
    }
  }
  unsetenv("TMPDIR");
  if (rights == Rights::checker) clearenv();
  for (const auto &[variable, list] : lists) {
    if (!list.empty()) setenv(variable, list.c_str(), 1);
  }
  return all;
}

// Runs the commands, with `until_failure` only up to the first that fails; returns false then.
bool run_all(const std::vector<Command> &commands, Rights rights, bool until_failure, std::vector<Ended> &ended) {
  for (const Command &command : commands) {
    ended.push_back(run_command(command, rights));
    if (until_failure && ended.back().status != 0) return false;
  }
  return true;
}

// Does the job and sends the reply.
[[noreturn]] void work(const Job &job) {
  close_all_but_standard();
  setsid();
  std::vector<std::string> directories = set_environment(job.rights);
  mode_t mask = umask(0);
  if (!make_root(job, directories, has_process_namespace)) send(Mark::no_processes, "");
  overlay_files(job.files);
  umask(mask);
  if (sethostname(job.host_name.data(), job.host_name.size()) != 0) {
    give_up("the host name is refused", errno);
  }
  std::vector<Ended> preparations;
  std::vector<Ended> commands;
  Tree files;
  if (run_all(job.preparations, job.rights, true, preparations)) {
    Snapshot before = take_snapshot();
    run_all(job.commands, job.rights, false, commands);
    files = changed_files(before);
  }
  std::string reply;
  put(reply, preparations);
  put(reply, commands);
  put(reply, files.size());
  for (const auto &[path, file] : files) {
    put(reply, path);
    put(reply, static_cast<uint64_t>(file.mode));
    put(reply, file.content);
  }
  send(Mark::done, reply);
}

// Like fork, with new namespaces for the child.
pid_t fork_into(unsigned long namespaces) {
  unsigned long flags = namespaces | SIGCHLD;
#ifdef __s390__  // the flags come second
  return static_cast<pid_t>(syscall(SYS_clone, nullptr, flags, nullptr, nullptr, nullptr));
#else
  return static_cast<pid_t>(syscall(SYS_clone, flags, nullptr, nullptr, nullptr, nullptr));
#endif
}

// In the child: dies with the caller, and does the job. `is_user`: it has a user namespace.
[[noreturn]] void run_process(const Job &job, bool is_user, uid_t uid, gid_t gid) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  caller_end = Fd();
  pollfd caller = {caller_lives.get(), 0, 0};
  if (poll(&caller, 1, 0) != 0) _exit(1);
  if (is_user) become_root_of_namespace(uid, gid);
  work(job);
}

// Starts the process of a job; returns false, with errno set, when that is not allowed.
bool start_process(const Job &job, Run &run) {
  unsigned long namespaces = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | (has_process_namespace ? CLONE_NEWPID : 0);
  // Some checkers would look up names.
  if (job.rights == Rights::checker) namespaces |= CLONE_NEWNET;
  uid_t uid = geteuid();
  gid_t gid = getegid();
  int ends[2];
  run.reply = Fd(memfd_create("tessera", MFD_CLOEXEC));
  if (!run.reply.is_open() || (!caller_end.is_open() && pipe2(ends, O_CLOEXEC) != 0)) return false;
  if (!caller_end.is_open()) {
    caller_lives = Fd(ends[0]);
    caller_end = Fd(ends[1]);
  }
  // Root in a container may need a user namespace first.
  bool is_user = uid != 0;
  run.process = is_user ? -1 : fork_into(namespaces);
  if (run.process < 0) {
    is_user = true;
    run.process = fork_into(namespaces | CLONE_NEWUSER);
  }
  if (run.process == 0) {
    reply_file = run.reply.get();
    run_process(job, is_user, uid, gid);
  }
  return run.process > 0;
}

void end_process(Run &run) {
  if (run.process <= 0) return;
  kill(run.process, SIGKILL);
  while (waitpid(run.process, nullptr, 0) < 0 && errno == EINTR) continue;
  run.process = 0;
}

}  // namespace

void give_up(const std::string &message, int reason) {
  send(Mark::trouble, reason != 0 ? message + ": " + strerror(reason) : message);
}

Run::Run(Run &&other) noexcept {
  *this = std::move(other);
}

Run &Run::operator=(Run &&other) noexcept {
  std::swap(job, other.job);
  std::swap(process, other.process);
  std::swap(reply, other.reply);
  std::swap(trouble, other.trouble);
  return *this;
}

Run::~Run() {
  end_process(*this);
}

Run start_job(const Job &job) {
  Run run;
  run.job = &job;
  if (start_process(job, run)) return run;
  run.process = 0;
  run.trouble = std::string("cannot leave the machine's namespaces (") +
                (geteuid() != 0 ? "root or user namespaces are needed" : "a container needs CAP_SYS_ADMIN") +
                "): " + strerror(errno);
  return run;
}

Outcome finish_job(Run &run) {
  Outcome outcome;
  outcome.trouble = run.trouble;
  if (run.process <= 0) return outcome;
  int status = 0;
  while (waitpid(run.process, &status, 0) < 0 && errno == EINTR) continue;
  run.process = 0;
  std::string reply;
  if (lseek(run.reply.get(), 0, SEEK_SET) != 0 || !read_all(run.reply.get(), &reply)) {
    outcome.trouble = std::string("cannot read what was written: ") + strerror(errno);
    return outcome;
  }
  switch (reply.empty() ? Mark::none : static_cast<Mark>(reply[0])) {
    case Mark::done:
      return read_outcome(reply);
    case Mark::trouble:
      outcome.trouble = reply.substr(1);
      return outcome;
    case Mark::no_processes:
      has_process_namespace = false;
      run = start_job(*run.job);
      return finish_job(run);
    default:
      outcome.trouble = "the run was ended by signal " + std::to_string(WTERMSIG(status));
      return outcome;
  }
}
