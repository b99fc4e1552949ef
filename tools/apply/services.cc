#include "apply/services.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "sandbox/sandbox.h"

namespace {

// A hook that hangs is killed, so that the change can be taken back.
constexpr int hook_seconds = 60;
constexpr int service_seconds = 300;

// In the child: runs the program in the environment that run_services promises. It dies with its parent.
[[noreturn]] void run_child(const std::vector<std::string> &words, pid_t parent) {
  std::vector<char *> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  Fd input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  for (int number : {SIGHUP, SIGPIPE, SIGTSTP, SIGXFSZ}) signal(number, SIG_DFL);
  setpgid(0, 0);
  umask(022);
  setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
  setenv(waiting_process, std::to_string(parent).c_str(), 1);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent || chdir("/") != 0) _exit(127);
  if (dup2(input.get(), STDIN_FILENO) == STDIN_FILENO) execv(arguments[0], arguments.data());
  _exit(127);
}

// Runs a program to its end. Returns "" and stores its status (128 + N for signal N), or returns what failed; a program
// that has not ended after `seconds` is killed and has failed.
std::string run_program(const std::vector<std::string> &words, int seconds, int &status) {
  fflush(nullptr);
  pid_t parent = getpid();
  pid_t child = fork();
  if (child < 0) return words[0] + " cannot be started: " + strerror(errno);
  if (child == 0) run_child(words, parent);
  for (int tick = 0;; tick++) {
    int ended = 0;
    pid_t found = waitpid(child, &ended, WNOHANG);
    if (found < 0 && errno != EINTR) {
      std::string trouble = words[0] + " cannot be waited for: " + strerror(errno);
      kill(-child, SIGKILL);
      return trouble;
    }
    if (found == child && tick >= seconds * 100) {
      return words[0] + " was killed after " + std::to_string(seconds) + " seconds";
    }
    if (found == child) {
      status = WIFSIGNALED(ended) ? 128 + WTERMSIG(ended) : WEXITSTATUS(ended);
      return "";
    }
    if (tick == seconds * 100) kill(-child, SIGKILL);
    timespec pause = {0, 10'000'000};
    nanosleep(&pause, nullptr);
  }
}

std::string run_service(const std::string &service, const Statuses &expected) {
  int status = 0;
  std::string trouble = run_program({installed_program("tessera"), service}, service_seconds, status);
  if (!trouble.empty()) return trouble;
  auto usual = expected.find(service);
  bool is_usual =
      usual != expected.end() ? status == usual->second : status == 0 || (service == "ipsec" && status == 1);
  return is_usual ? "" : service + " ended with status " + std::to_string(status);
}

bool is_same(const Tree &before, const Tree &after, const std::string &path) {
  auto old = before.find(path);
  auto now = after.find(path);
  if (old == before.end() || now == after.end()) return old == before.end() && now == after.end();
  return old->second.mode == now->second.mode && old->second.content == now->second.content;
}

std::vector<std::string> changed_paths(const std::string &service, const Tree &before, const Tree &after) {
  Tree all = before;
  all.insert(after.begin(), after.end());
  std::vector<std::string> paths;
  for (const auto &[path, file] : all) {
    if (service == service_of(path) && !is_same(before, after, path)) paths.push_back("/" + path);
  }
  return paths;
}

std::string run_hook(const std::string &service, const Tree &before, const Tree &after) {
  std::vector<std::string> words = {path_in(hook_directory, service)};
  struct stat file;
  if (stat(words[0].c_str(), &file) != 0 || !S_ISREG(file.st_mode) || access(words[0].c_str(), X_OK) != 0) {
    printf("reload %s: there is no %s\n", service.c_str(), words[0].c_str());
    return "";
  }
  for (std::string &path : changed_paths(service, before, after)) words.push_back(std::move(path));
  int status = 0;
  std::string trouble = run_program(words, hook_seconds, status);
  if (!trouble.empty() || status == 0) return trouble;
  return words[0] + " ended with status " + std::to_string(status);
}

void keep_first(std::string &first, const std::string &trouble) {
  if (first.empty()) first = trouble;
}

std::string run_hooks(const std::vector<std::string> &services, const Tree &before, bool goes_on) {
  std::string first;
  Tree after = read_service_files(first);
  for (const std::string &service : services) {
    if (!first.empty() && !goes_on) break;
    keep_first(first, run_hook(service, before, after));
  }
  return first;
}

}  // namespace

bool is_service(const std::string &name) {
  return std::find(std::begin(service_names), std::end(service_names), name) != std::end(service_names);
}

Tree read_service_files(std::string &trouble) {
  Router router;
  trouble = read_machine(router);
  Tree files;
  for (auto &[path, file] : router.files) {
    if (service_of(path) != nullptr) files.emplace(path, std::move(file));
  }
  return files;
}

std::string run_services(const std::vector<std::string> &services, const Statuses &expected, bool goes_on) {
  std::string first;
  Tree before = read_service_files(first);
  for (const std::string &service : services) {
    if (!first.empty() && !goes_on) return first;
    keep_first(first, run_service(service, expected));
  }
  if (first.empty() || goes_on) keep_first(first, run_hooks(services, before, goes_on));
  return first;
}

std::string remove_services(const std::vector<std::string> &services) {
  std::string first;
  Tree before = read_service_files(first);
  for (const auto &[path, file] : before) {
    bool is_named = std::find(services.begin(), services.end(), service_of(path)) != services.end();
    if (is_named && unlink(("/" + path).c_str()) != 0) keep_first(first, "/" + path + ": " + strerror(errno));
  }
  keep_first(first, run_hooks(services, before, true));
  return first;
}
