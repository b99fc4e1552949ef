#include "main/owned.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

void end_without_memory() {
  static const char message[] = "tessera: out of memory\n";
  ssize_t written = write(STDERR_FILENO, message, sizeof message - 1);
  static_cast<void>(written);  // nothing else is left to tell it to
  _exit(1);
}

std::string format(const char *format, ...) {
  char stack_buffer[256];
  va_list arguments;
  va_start(arguments, format);
  int length = vsnprintf(stack_buffer, sizeof stack_buffer, format, arguments);
  va_end(arguments);
  if (length < 0) return {};
  auto size = static_cast<size_t>(length);
  if (size < sizeof stack_buffer) return {stack_buffer, size};
  std::string text(size, '\0');
  va_start(arguments, format);
  vsnprintf(text.data(), size + 1, format, arguments);
  va_end(arguments);
  return text;
}

// Gives a file its mode; a device or pipe that stands in its place keeps its own.
static bool set_mode(int fd, unsigned mode) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  return !S_ISREG(status.st_mode) || (status.st_mode & 07777) == mode || fchmod(fd, mode) == 0;
}

OwnedStream open_output(const char *path, unsigned mode) {
  // The file is empty until its mode is right: no moment shows new content under an old, wider mode. A pipe in its
  // place that nobody reads would hold up the run for ever.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600);
  if (fd < 0) return nullptr;
  FILE *stream = set_mode(fd, mode) ? fdopen(fd, "w") : nullptr;
  if (stream == nullptr) {
    int reason = errno;
    if (reason == ENOMEM) end_without_memory();
    close(fd);
    errno = reason;
  }
  return OwnedStream(stream);
}

bool close_output(OwnedStream stream) {
  // A write that failed earlier has left its mark, but not its reason.
  bool failed = ferror(stream.get()) != 0;
  if (fclose(stream.release()) != 0) return false;
  if (failed) errno = EIO;
  return !failed;
}

bool create_directory(const char *path, unsigned mode) {
  return mkdir(path, mode) == 0 && chmod(path, mode) == 0;
}
