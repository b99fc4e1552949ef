#include "explain/batch.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "explain/document.h"
#include "sandbox/fd.h"

namespace {

namespace fs = std::filesystem;

const fs::path run_directory = "/var/run";
const fs::path first_state = "/.first";

// Runs a command with its standard error in the file `messages`; false when it cannot be started.
bool run_command(const std::string &line, const fs::path &messages) {
  std::vector<std::string> words;
  std::istringstream text(line);
  for (std::string word; text >> word;) words.push_back(word);
  std::vector<char *> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string &word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, messages.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t child = -1;
  bool is_started = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return is_started && waitpid(child, &status, 0) == child;
}

// Copies a file with its holes, which are large in the store.
bool copy_data(const fs::path &from, const fs::path &to) {
  Fd source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  Fd target(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  struct stat status;
  if (!source.is_open() || !target.is_open() || fstat(source.get(), &status) != 0) return false;
  for (off_t end = 0, start; (start = lseek(source.get(), end, SEEK_DATA)) >= 0;) {
    end = lseek(source.get(), start, SEEK_HOLE);
    if (lseek(target.get(), start, SEEK_SET) < 0) return false;
    while (start < end) {
      ssize_t copied = sendfile(target.get(), source.get(), &start, static_cast<size_t>(end - start));
      if (copied <= 0) return false;
    }
  }
  return ftruncate(target.get(), status.st_size) == 0;
}

// Gives /var/run its first content.
bool restore_first_state() {
  fs::create_directory(run_directory);
  for (const auto &entry : fs::recursive_directory_iterator(first_state)) {
    fs::path target = run_directory / entry.path().lexically_relative(first_state);
    if (entry.is_symlink()) {
      fs::copy_symlink(entry.path(), target);
    } else if (entry.is_directory()) {
      fs::create_directory(target, entry.path());
    } else if (!copy_data(entry.path(), target) ||
               chmod(target.c_str(), static_cast<mode_t>(entry.status().permissions())) != 0) {
      return false;
    }
  }
  return true;
}

// Runs the commands of a trial, unless tessera refuses its configuration.
bool run_trial(const fs::path &trial, const fs::path &result) {
  std::string config;
  if (!read_all(Fd(open((trial / "config").c_str(), O_RDONLY | O_CLOEXEC)).get(), &config)) return false;
  if (!why_refused(config).empty()) return true;
  fs::create_directories(result);
  if (!restore_first_state()) return false;
  fs::copy_file(trial / "config", "/etc/config/config.json", fs::copy_options::overwrite_existing);
  bool has_facts = fs::exists(trial / "facts");
  if (has_facts) fs::remove_all(run_directory / "runt");
  std::ifstream lines(trial / "run");
  for (std::string line; std::getline(lines, line);)
    if (!run_command(line, result / "messages")) return false;
  fs::remove_all(run_directory / "runt");
  fs::rename(run_directory, result / "run");
  if (fs::exists(trace_path)) fs::copy_file(trace_path, result / "trace");
  return true;
}

}  // namespace

int run_batch() try {
  umask(022);
  fs::rename(run_directory, first_state);
  for (size_t i = 0; fs::exists(fs::path(trials_path) / std::to_string(i)); i++) {
    const std::string number = std::to_string(i);
    if (!run_trial(fs::path(trials_path) / number, fs::path(results_path) / number)) {
      fputs("cannot start a run\n", stderr);
      return 1;
    }
  }
  fs::remove_all(first_state);  // else its store would count as a written file
  return 0;
} catch (const fs::filesystem_error &error) {
  fprintf(stderr, "%s\n", error.what());
  return 1;
}
