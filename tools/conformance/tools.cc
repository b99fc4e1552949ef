// Checks the utility library.
#include "platform/tools.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "conformance.h"

static void check_lists() {
  check("_sl_new", "creates an empty list", take_list(_sl_new(0, 0)) == "(null)");
  check("_sl_append", "stores copies, also in a null list",
        take_list(_sl_append(_sl_append(nullptr, "", 0), "b", 0)) == "|b");
  char **list = sl_append_printf(_sl_append(nullptr, "100%s", 0), "%d%%", 5);
  check("sl_append_printf", "stores a formatted string", sl_len(list) == 2 && strcmp(list[1], "5%") == 0);
  check("sl_find", "finds whole entries", sl_find(list, "100%s") && !sl_find(list, "100") && !sl_find(nullptr, "x"));
  check("sl_len", "counts entries", sl_len(list) == 2 && sl_len(nullptr) == 0);
  char *joined = sl_join(list, ", ");
  check("sl_join", "puts the separator between entries", take(joined) == "100%s, 5%");
  check("sl_join", "gives null for an empty list", sl_join(nullptr, ",") == nullptr);
  sl_free(list);
  sl_free(nullptr);
  check("sl_split", "keeps empty pieces", take_list(sl_split("/a//b", '/')) == "|a||b");
}

static void check_strings() {
  const EscapePair table[] = {{"\"", "\\\""}, {"\\", "\\\\"}, {nullptr, nullptr}};
  check("escape", "replaces in one pass", take(escape("a\"\\b", table)) == "a\\\"\\\\b");
  check("replace_char", "replaces one character", take(replace_char("00-11", '-', ':')) == "00:11");
  char *string = nullptr;
  xasprintf(&string, "%s-%d", "a", 1);
  check("xasprintf", "stores a formatted string", take(string) == "a-1");
  unsigned char address[4] = {};
  int32_t length = 0;
  bool read = xip4_parse_network("192.0.2.77/24", address, &length);
  check("xip4_parse_network", "keeps host bits and the length",
        read && memcmp(address, "\300\0\2\115", 4) == 0 && length == 24);
  read = xip4_parse_network("192.0.2.1", address, &length);
  check("xip4_parse_network", "gives 32 for an address without a length", read && length == 32);
  bool refused = true;
  for (const char *wrong : {"192.0.2.1/33", "192.0.2.1/", "192.0.2/24", "example", ""})
    refused = refused && !xip4_parse_network(wrong, address, &length);
  check("xip4_parse_network", "refuses anything else", refused && address[3] == 1 && length == 32);
}

static bool has_mode(const char *path, unsigned mode) {
  struct stat status = {};
  return stat(path, &status) == 0 && (status.st_mode & 07777) == mode;
}

static void check_files() {
  char directory[] = "/tmp/tessera-conformance-XXXXXX";
  if (mkdtemp(directory) == nullptr) {
    check("file_write", "has a directory for the checks", false);
    return;
  }
  const std::string path = std::string(directory) + "/file";
  const std::string other = std::string(directory) + "/other";
  check("file_write", "writes a whole file", file_write(path.c_str(), "first line\n"));
  check("file_read", "reads a whole file", take(file_read(path.c_str())) == "first line\n");
  check("file_write", "creates a file with mode 0600", has_mode(path.c_str(), 0600));
  check("file_printf", "replaces the content by a formatted string",
        file_printf(path.c_str(), "%.*s|%d", 3, "abcdef", 7) && take(file_read(path.c_str())) == "abc|7");
  check("file_write", "gives false when it cannot write", !file_write((path + "/x").c_str(), "x"));
  check("file_read", "gives null when it cannot read", file_read(other.c_str()) == nullptr);
  check("file_exists", "says whether a file exists", file_exists(path.c_str()) && !file_exists(other.c_str()));
  check("file_replace", "renames the new file to the old name", file_replace(1, path.c_str(), other.c_str(), 0));
  check("file_replace", "leaves no new file, and keeps its content",
        !file_exists(path.c_str()) && take(file_read(other.c_str())) == "abc|7");
  check("file_replace", "gives false when there is no new file", !file_replace(1, path.c_str(), other.c_str(), 0));
  unlink(other.c_str());
  rmdir(directory);
}

// Runs the action, and returns what it wrote to standard error.
template <typename Action>
static std::string standard_error_of(Action action) {
  int kept = dup(STDERR_FILENO);
  int file = memfd_create("log", MFD_CLOEXEC);
  dup2(file, STDERR_FILENO);
  action();
  dup2(kept, STDERR_FILENO);
  close(kept);
  char string[512] = "";
  ssize_t length = pread(file, string, sizeof string - 1, 0);
  close(file);
  return {string, length > 0 ? static_cast<size_t>(length) : 0};
}

static void check_processes() {
  check("_process_capture", "returns the output, and passes arguments unchanged",
        take(_process_capture(-1, -1, 1, 0, 0, "echo", "a b", "$HOME", "%s", nullptr)) == "a b $HOME %s\n");
  bool null = false;
  // A library may log these failures.
  standard_error_of([&null] {
    null = _process_capture(-1, -1, 1, 0, 0, "sh", "-c", "echo lost; exit 3", nullptr) == nullptr &&
           _process_capture(-1, -1, 1, 0, 0, "tessera-no-such-program", nullptr) == nullptr;
  });
  check("_process_capture", "gives null for a program that fails or does not exist", null);
  pid_t child = _process_exec_fd(-1, -1, -1, -1, "sh", "-c", "exit 7", nullptr);
  check("_process_exec_fd", "starts a program", child > 0);
  check("process_wait", "gives the exit status", process_wait(child) == 7);
  check(
      "process_wait", "gives another value than 0 for a program that was killed or never started",
      process_wait(_process_exec_fd(-1, -1, -1, -1, "sh", "-c", "kill -9 $$", nullptr)) != 0 && process_wait(-1) != 0);
}

static void check_log() {
  log_init("tessera-conformance", 0, 0);
  std::string line = standard_error_of([] { log_error("a %s", "100%s"); });
  check("log_init", "puts the name of the program into messages",
        line.find("tessera-conformance") != std::string::npos);
  check("log_error", "writes one line to standard error", line.find("a 100%s\n") == line.size() - strlen("a 100%s\n"));
  check("log_debug", "writes nothing to standard error", standard_error_of([] { log_debug("hidden"); }).empty());
}

void check_tools() {
  check_lists();
  check_strings();
  check_files();
  check_processes();
  check_log();
}
