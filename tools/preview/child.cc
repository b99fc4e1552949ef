#include "preview/child.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "preview/fail.h"
#include "preview/fd.h"
#include "preview/inside.h"

namespace {

[[noreturn]] void become(char **arguments, int input, int output, const char *directory, pid_t parent, int report) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent && dup2(input, 0) == 0 && dup2(output, 1) == 1 && chdir(directory) == 0) {
    execvp(arguments[0], arguments);
  }
  int reason = errno;
  ssize_t sent = write(report, &reason, sizeof reason);
  _exit(sent == sizeof reason ? 127 : 126);
}

// The name of a program as it is called outside.
const char *machine_path(const std::string &program) {
  return program.c_str() + (program.rfind(HOST "/", 0) == 0 ? strlen(HOST) : 0);
}

}  // namespace

int run_program(const std::vector<std::string> &arguments, int input, int output, const char *directory) {
  std::vector<char *> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
  argv.push_back(nullptr);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail_system("cannot make a pipe");
  Fd report(ends[0]);
  fflush(stdout);
  pid_t self = getpid();
  pid_t child = fork();
  if (child < 0) fail_system("cannot start %s", machine_path(arguments[0]));
  if (child == 0) become(argv.data(), input, output, directory, self, ends[1]);
  close(ends[1]);

  // The pipe closes when the program starts, or brings the reason why it does not.
  int reason = 0;
  ssize_t received;
  do {
    received = read(report.get(), &reason, sizeof reason);
  } while (received < 0 && errno == EINTR);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) fail_system("cannot wait for %s", machine_path(arguments[0]));
  }
  if (received == sizeof reason) {
    errno = reason;
    fail_system("cannot start %s", machine_path(arguments[0]));
  }
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Fd memory_file(const std::string &content) {
  Fd fd(memfd_create("tessera-preview", 0));
  if (!fd.is_open() || !write_all(fd.get(), content) || lseek(fd.get(), 0, SEEK_SET) != 0) {
    fail_system("cannot make a file in memory");
  }
  return fd;
}

int capture_program(const std::vector<std::string> &arguments, std::string &output) {
  Fd file = memory_file("");
  int status = run_program(arguments, 0, file.get());
  if (lseek(file.get(), 0, SEEK_SET) != 0 || !read_all(file.get(), output)) fail_system("cannot read a file in memory");
  return status;
}
