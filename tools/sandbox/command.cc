// Runs the commands of a job.
#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "sandbox/inside.h"

namespace {

Fd memory_file() {
  Fd fd(memfd_create("tessera", MFD_CLOEXEC));
  if (!fd.is_open()) give_up("cannot make a file in memory", errno);
  return fd;
}

std::string content_of(const Fd &fd) {
  std::string content;
  if (lseek(fd.get(), 0, SEEK_SET) != 0 || !read_all(fd.get(), &content)) {
    give_up("cannot read what a program printed", errno);
  }
  return content;
}

bool write_string(const char *path, const std::string &string) {
  Fd fd(open(path, O_WRONLY | O_CLOEXEC));
  return fd.is_open() && write_all(fd.get(), string);
}

// Enters new namespaces of users and mounts, or only of mounts when a container forbids user namespaces. Returns false
// when that fails, too.
bool leave_namespaces(bool &has_users) {
  std::string uid = std::to_string(geteuid());
  std::string gid = std::to_string(getegid());
  has_users = unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
  if (!has_users) return unshare(CLONE_NEWNS) == 0;
  return write_string("/proc/self/setgroups", "deny") && write_string("/proc/self/uid_map", uid + " " + uid + " 1\n") &&
         write_string("/proc/self/gid_map", gid + " " + gid + " 1\n");
}

// Drops all capabilities, also those that root would get back with the next program.
bool drop_capabilities() {
  for (unsigned long capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; capability++) {
    if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) return false;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capset, &header, none) == 0;
}

// Makes /proc read-only.
bool protect_processes() {
  return mount(nullptr, "/proc", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC,
               nullptr) == 0;
}

// Takes rights from a command before it starts; returns false when that fails.
bool restrict_rights(Rights rights) {
  bool has_users;
  if (!leave_namespaces(has_users)) return false;
  bool is_checker = rights == Rights::checker;
  // A new user namespace would give capabilities back. A kernel without this limit has no user namespaces.
  if (is_checker && has_users) write_string("/proc/sys/user/max_user_namespaces", "0");
  if (!protect_processes()) return false;
  // A program that is root only in its own user namespace cannot harm the machine, and may read the open files of its
  // children.
  if ((is_checker || !has_users) && !drop_capabilities()) return false;
  constexpr rlimit no_core = {0, 0};
  return setrlimit(RLIMIT_CORE, &no_core) == 0 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

// In the child: runs the command, or writes the reason why it cannot be started to `report`.
[[noreturn]] void start_program(const Command &command, Rights rights, const Fd &output, const Fd &messages,
                                const Fd &report) {
  std::string program = inside_program(command.arguments[0]);
  std::vector<char *> arguments;
  for (const std::string &argument : command.arguments) arguments.push_back(const_cast<char *>(argument.c_str()));
  arguments[0] = program.data();
  arguments.push_back(nullptr);
  Fd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (dup2(input.get(), 0) == 0 && dup2(output.get(), 1) == 1 && dup2(messages.get(), 2) == 2 &&
      restrict_rights(rights) && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0) {
    execv(arguments[0], arguments.data());
  }
  int reason = errno;
  ssize_t sent = write(report.get(), &reason, sizeof reason);
  _exit(sent == sizeof reason ? 127 : 126);
}

}  // namespace

Ended run_command(const Command &command, Rights rights) {
  Ended ended;
  if (command.only_with != nullptr && access(command.only_with, F_OK) != 0) return ended;
  Fd output = memory_file();
  Fd messages = memory_file();
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) give_up("cannot make a pipe", errno);
  Fd report(ends[0]);
  Fd sender(ends[1]);
  pid_t child = fork();
  if (child < 0) give_up("cannot start " + command.arguments[0], errno);
  if (child == 0) start_program(command, rights, output, messages, sender);
  sender = Fd();

  // The pipe is closed when the program starts; otherwise the child writes the reason.
  int reason = 0;
  ssize_t received;
  do {
    received = read(report.get(), &reason, sizeof reason);
  } while (received < 0 && errno == EINTR);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) give_up("cannot wait for " + command.arguments[0], errno);
  }
  if (received == sizeof reason) give_up("cannot start " + command.arguments[0], reason);
  ended.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  ended.output = content_of(output);
  ended.messages = content_of(messages);
  return ended;
}
