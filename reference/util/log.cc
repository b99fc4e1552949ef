// The log: writes each message as one line to standard error, and to the system log.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/tools.h"
#include "util/file.h"
#include "util/memory.h"
#include "util/owned.h"

namespace {

char identifier[64] = "tessera";

constexpr int unknown = -2;
constexpr int absent = -1;
int system_log = unknown;  // or a connected socket

char *formatted(const char *format, ...) __attribute__((format(printf, 1, 2)));
char *formatted(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char *string = xvasprintf(format, arguments);
  va_end(arguments);
  return string;
}

// Replaces control characters, as a message may show data of the configuration: it must not start another line or
// control a terminal. The characters U+0080 to U+009F control terminals too.
void replace_control_bytes(char *message) {
  for (char *byte = message; *byte != '\0'; byte++) {
    if (byte[0] == '\xC2' && (byte[1] & 0xE0) == 0x80) byte[0] = byte[1] = '?';
    auto code = static_cast<unsigned char>(*byte);
    if ((code < 0x20 && code != '\t') || code == 0x7F) *byte = '?';
  }
}

// Connects to the system log for the first message. False when that failed: early at boot and in containers there is no
// system log.
bool connect_system_log() {
  if (system_log == unknown) {
    static const sockaddr_un address = {AF_UNIX, "/dev/log"};
    system_log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (system_log >= 0 && connect(system_log, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
      close(system_log);
      system_log = absent;
    }
  }
  return system_log >= 0;
}

// Unlike syslog(3), this does not wait: a logger that has stopped reading must not block the boot, and loses the
// message.
void send_to_system_log(int priority, const char *message) {
  OwnedString line(formatted("<%d>%s: %s", LOG_DAEMON | priority, identifier, message));
  ssize_t written = write(system_log, line.get(), strlen(line.get()));  // a datagram socket causes no SIGPIPE
  static_cast<void>(written);
}

// The descriptor for standard error. poll(2) says that a terminal is writable even when a line does not fit, and the
// write would block. So this opens a device again with O_NONBLOCK: setting that flag on descriptor 2 would affect other
// programs that share it.
int standard_error() {
  static int fd = -1;
  struct stat status;
  if (fd < 0 && fstat(STDERR_FILENO, &status) == 0 && S_ISCHR(status.st_mode))
    fd = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) fd = STDERR_FILENO;
  return fd;
}

// Writes a line to standard error. When the reader has stopped reading, this waits once and then drops all later
// messages, so that the boot is not blocked for ever. It writes at most PIPE_BUF bytes at a time: a writable pipe has
// room for them, and such a write is atomic, so that lines of services that run at the same time do not mix.
void write_to_standard_error(const char *line) {
  constexpr int patience = 10'000;  // milliseconds
  constexpr timespec pause = {0, 10'000'000};
  static bool gone = false;
  int64_t deadline = moment_after(patience);
  for (size_t left = strlen(line); left > 0 && !gone;) {
    gone = !wait_ready(standard_error(), POLLOUT, deadline);
    if (gone) return;
    ssize_t written = write(standard_error(), line, std::min<size_t>(left, PIPE_BUF));
    if (written >= 0) {
      line += written;
      left -= static_cast<size_t>(written);
    } else if (errno == EAGAIN) {
      gone = moment_after(0) >= deadline;
      nanosleep(&pause, nullptr);
    } else if (errno != EINTR) {
      return;
    }
  }
}

void log_message(int priority, const char *format, va_list arguments) __attribute__((format(printf, 2, 0)));
void log_message(int priority, const char *format, va_list arguments) {
  int reason = errno;
  bool to_system_log = connect_system_log();
  if (priority == LOG_ERR || to_system_log) {
    errno = reason;  // for "%m"
    OwnedString message(xvasprintf(format, arguments));
    replace_control_bytes(message.get());
    if (priority == LOG_ERR) {
      OwnedString line(formatted("%s: %s\n", identifier, message.get()));
      write_to_standard_error(line.get());
    }
    if (to_system_log) send_to_system_log(priority, message.get());
  }
  errno = reason;
}

}  // namespace

void log_init(const char *new_identifier, int /*reserved1*/, int /*reserved2*/) {
  if (new_identifier == nullptr) return;
  size_t length = std::min(strlen(new_identifier), sizeof identifier - 1);
  memcpy(identifier, new_identifier, length);
  identifier[length] = '\0';
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
