// Stand-ins: documents come from memory, log messages are checked and not printed, and programs are not run.
#include "fuzz/stand_ins.h"

#include <dlfcn.h>
#include <fts.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "config/document.h"
#include "platform/config.h"
#include "platform/network.h"
#include "platform/runt.h"
#include "platform/tools.h"

std::string_view document_text;
std::string_view secret_mark;
bool lines_decide;
ProgramOutcome program_outcome = {true, ""};
Trouble trouble;

// Saves much of the time for stack traces of allocations and for keeping freed memory.
extern "C" const char *__asan_default_options() {
  return "malloc_context_size=3:quarantine_size_mb=1:thread_local_quarantine_size_kb=64";
}

void wrong(const char *what, std::string_view detail) {
  fprintf(stderr, "%s: %.*s\n", what, static_cast<int>(detail.size()), detail.data());
  abort();
}

void expect_no_secret(const char *what, std::string_view text) {
  if (!secret_mark.empty() && text.find(secret_mark) != text.npos) wrong(what, text);
}

bool read_file(const char *, std::string *content, std::string *) {
  *content = document_text;
  return true;
}

// The linker redirects the mappers' calls of these operations to these functions.
extern "C" {

const char *__real_config_get_string(const ConfigNode *node, const char *path);
const char *__wrap_config_get_string(const ConfigNode *node, const char *path);
NetworkModel *__real_network_load(const ConfigNode *root);
NetworkModel *__wrap_network_load(const ConfigNode *root);
int __real_runt_init();
int __wrap_runt_init();

const char *__wrap_config_get_string(const ConfigNode *node, const char *path) {
  const char *text = __real_config_get_string(node, path);
  return trouble.null_strings && text != nullptr && *text == '\0' ? nullptr : text;
}

NetworkModel *__wrap_network_load(const ConfigNode *root) {
  if (trouble.no_model) return nullptr;
  Trouble kept = trouble;
  trouble = {};  // the reference platform itself must not get null strings
  NetworkModel *model = __real_network_load(root);
  trouble = kept;
  return model;
}

int __wrap_runt_init() {
  return trouble.no_store ? 1 : __real_runt_init();
}

}  // extern "C"

static void look_through(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));
static void look_through(const char *format, va_list arguments) {
  char *message = nullptr;
  if (vasprintf(&message, format, arguments) < 0) abort();
  expect_no_secret("the log shows a secret", message);
  free(message);
}

void log_init(const char *, int, int) {}

void log_error(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  look_through(format, arguments);
  va_end(arguments);
}

void log_debug(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  look_through(format, arguments);
  va_end(arguments);
}

// Only the command line of openssl may hold a secret, and only a shell interprets its argument.
static void check_arguments(const char *program, va_list arguments) {
  bool shell = strcmp(program, "sh") == 0;
  while (const char *argument = va_arg(arguments, const char *)) {
    if (strncmp(argument, "pass:", 5) != 0) expect_no_secret("a command line shows a secret", argument);
    int end = 0;
    if (!shell || strcmp(argument, "-c") == 0) continue;
    if (sscanf(argument, "cat /var/run/ipsec.d/*/%*63[A-Za-z0-9_].* 2>/dev/null | md5sum%n", &end) < 0 || end == 0 ||
        argument[end] != '\0')
      wrong("a shell would run", argument);
  }
}

char *_process_capture(int, int, int, int, int, const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  check_arguments(program, arguments);
  va_end(arguments);
  if (strcmp(program, "/bin/hostname") == 0) return strdup("router\n");  // the mapper keeps it for all later inputs
  return program_outcome.succeeds ? strdup(program_outcome.output) : nullptr;
}

pid_t _process_exec_fd(int, int, int, int, const char *program, ...) {
  va_list arguments;
  va_start(arguments, program);
  check_arguments(program, arguments);
  va_end(arguments);
  return 1;
}

int process_wait(pid_t) {
  return program_outcome.succeeds ? 0 : 1;
}

int system(const char *command) {
  // To merge corpora, the fuzzer runs itself.
  if (strstr(command, "-merge_inner=1") != nullptr)
    return reinterpret_cast<decltype(&system)>(dlsym(RTLD_NEXT, "system"))(command);
  static constexpr std::string_view removal = "rm -rf /var/run/";
  if (!std::string_view(command).starts_with(removal) || strpbrk(command + removal.size(), " ;&|$`*./") == nullptr)
    wrong("a shell would run", command);
  std::string path = command + strlen("rm -rf ");
  char *const roots[] = {path.data(), nullptr};
  FTS *walk = fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
  while (FTSENT *entry = fts_read(walk))
    if (entry->fts_info != FTS_D) ::remove(entry->fts_accpath);
  fts_close(walk);
  return 0;
}
