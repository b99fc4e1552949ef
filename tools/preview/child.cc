#include "preview/child.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "preview/fail.h"
#include "preview/fd.h"
#include "preview/inside.h"

namespace {

[[noreturn]] void become(char **arguments, const Surroundings &with, pid_t parent, int report) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent && dup2(with.input, 0) == 0 && dup2(with.output, 1) == 1 && dup2(with.error, 2) == 2 &&
      chdir(with.directory) == 0) {
    execvp(arguments[0], arguments);
  }
  int reason = errno;
  ssize_t sent = write(report, &reason, sizeof reason);
  _exit(sent == sizeof reason ? 127 : 126);
}

}  // namespace

const char *machine_path(const std::string &path) {
  return path.c_str() + (path.rfind(HOST "/", 0) == 0 ? strlen(HOST) : 0);
}

int run_program(const std::vector<std::string> &arguments, const Surroundings &surroundings) {
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
  if (child == 0) become(argv.data(), surroundings, self, ends[1]);
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

int capture_program(const std::vector<std::string> &arguments, std::string &output, std::string *error) {
  Fd output_file = memory_file("");
  Fd error_file = error != nullptr && error != &output ? memory_file("") : Fd();
  Surroundings surroundings;
  surroundings.output = output_file.get();
  if (error != nullptr) surroundings.error = error == &output ? output_file.get() : error_file.get();
  int status = run_program(arguments, surroundings);
  auto collect = [](const Fd &file, std::string &text) {
    std::string content;
    if (lseek(file.get(), 0, SEEK_SET) != 0 || !read_all(file.get(), content)) {
      fail_system("cannot read a file in memory");
    }
    text += content;
  };
  collect(output_file, output);
  if (error_file.is_open()) collect(error_file, *error);
  return status;
}

std::string find_installed(const std::string &name, const char *const *directories) {
  const char *search_path = getenv("PATH");
  std::vector<std::string> places;
  std::string list = search_path != nullptr ? search_path : "";
  for (size_t start = 0; start < list.size();) {
    size_t end = std::min(list.find(':', start), list.size());
    places.push_back(list.substr(start, end - start));
    start = end + 1;
  }
  for (; *directories != nullptr; directories++) places.emplace_back(*directories);
  for (const std::string &place : places) {
    std::string path = path_in(place, name);
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  return "";
}
