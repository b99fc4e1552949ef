#include "main/owned.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>

void end_without_memory() {
  static const char message[] = "tessera: out of memory\n";
  pollfd stream = {STDERR_FILENO, POLLOUT, 0};
  ssize_t written = poll(&stream, 1, 1000) == 1 ? write(STDERR_FILENO, message, sizeof message - 1) : 0;
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

// What a stream writes to, and what it holds back until a write is worth its system call.
struct Output {
  int fd;
  char buffer[49152];
};

// All or nothing, as a stream takes anything less for a failure.
static ssize_t write_whole(void *output, const char *bytes, size_t length) {
  for (size_t done = 0; done < length;) {
    ssize_t written = write(static_cast<Output *>(output)->fd, bytes + done, length - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return 0;
    done += static_cast<size_t>(written);
  }
  return static_cast<ssize_t>(length);
}

// The last that a stream does with its buffer lies behind it then.
static int close_descriptor(void *output) {
  int fd = static_cast<Output *>(output)->fd;
  free(output);
  return close(fd);
}

// A stream that writes to the descriptor and owns it. That of fdopen asks the kernel twice what is known already.
static FILE *open_stream(int fd) {
  auto *output = static_cast<Output *>(malloc(sizeof(Output)));
  if (output == nullptr) return nullptr;
  output->fd = fd;
  FILE *stream =
      fopencookie(output, "w", {.read = nullptr, .write = write_whole, .seek = nullptr, .close = close_descriptor});
  if (stream == nullptr) {
    free(output);
  } else {
    setvbuf(stream, output->buffer, _IOFBF, sizeof output->buffer);
  }
  return stream;
}

OwnedStream open_output(const char *path, unsigned mode) {
  // The file is empty until its mode is right: no moment shows new content under an old, wider mode. A pipe in its
  // place that nobody reads would hold up the run for ever.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  if (fd < 0) return nullptr;
  FILE *stream = set_mode(fd, mode) ? open_stream(fd) : nullptr;
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
