// The log: one line per message on standard error, and the system log.
#include <syslog.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/tools.h"
#include "tools/memory.h"
#include "tools/stream.h"

namespace {

char identifier[64] = "tessera";

enum class SystemLog { unknown, open, absent };
SystemLog system_log = SystemLog::unknown;

// A message may show configuration data: no byte of it may start a line of its own or command a terminal.
void blank_control_bytes(char *text) {
  for (char *byte = text; *byte != '\0'; byte++) {
    if (iscntrl(static_cast<unsigned char>(*byte)) != 0 && *byte != '\t') *byte = '?';
  }
}

// Early in a boot and in containers nobody listens: one look, and no attempt to connect for each message.
bool system_log_listens() {
  if (system_log == SystemLog::unknown) {
    bool listens = access("/dev/log", W_OK) == 0;
    if (listens) openlog(identifier, 0, LOG_DAEMON);
    system_log = listens ? SystemLog::open : SystemLog::absent;
  }
  return system_log == SystemLog::open;
}

void log_message(int priority, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
void log_message(int priority, const char *format, va_list arguments) {
  int reason = errno;
  bool to_system_log = system_log_listens();
  if (priority == LOG_ERR || to_system_log) {
    char *message = nullptr;
    errno = reason;  // for "%m"
    message = xvasprintf(format, arguments);
    blank_control_bytes(message);
    if (priority == LOG_ERR) {
      // One write, so that the lines of services that run side by side do not mix.
      char *line = nullptr;
      xasprintf(&line, "%s: %s\n", identifier, message);
      write_all(STDERR_FILENO, line, strlen(line));
      free(line);
    }
    if (to_system_log) syslog(priority, "%s", message);
    free(message);
  }
  errno = reason;
}

}  // namespace

void log_init(const char *new_identifier, int /*reserved1*/, int /*reserved2*/) {
  if (new_identifier != nullptr) snprintf(identifier, sizeof identifier, "%s", new_identifier);
}

void log_error(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_message(LOG_ERR, format, arguments);
  va_end(arguments);
}

void log_debug(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_message(LOG_DEBUG, format, arguments);
  va_end(arguments);
}
