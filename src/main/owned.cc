#include "main/owned.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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

std::string format_arguments(const char *format, va_list arguments) {
  char stack_buffer[256];
  va_list again;
  va_copy(again, arguments);
  int length = vsnprintf(stack_buffer, sizeof stack_buffer, format, arguments);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  if (text.size() < sizeof stack_buffer) {
    memcpy(text.data(), stack_buffer, text.size());
  } else {
    vsnprintf(text.data(), text.size() + 1, format, again);
  }
  va_end(again);
  return text;
}

std::string format(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = format_arguments(format, arguments);
  va_end(arguments);
  return text;
}

// Gives a file its mode; a device or pipe that stands in its place keeps its own.
static bool set_mode(int fd, unsigned mode) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  return !S_ISREG(status.st_mode) || (status.st_mode & 07777) == mode || fchmod(fd, mode) == 0;
}

// What a stream writes to. Short files fit into the stream's buffer and are written from there; what runs over is held
// back until a write is worth its system call.
struct Output {
  int fd;
  int failure;  // errno of the write that failed; nothing is written after it
  char *held;
  size_t used;   // bytes that are held
  size_t limit;  // how many are held until they are written
  size_t most;   // how many may ever be
  char buffer[2048];
};

static void write_whole(Output *output, const char *bytes, size_t length) {
  for (size_t done = 0; done < length && output->failure == 0;) {
    ssize_t written = write(output->fd, bytes + done, length - done);
    if (written >= 0) {
      done += static_cast<size_t>(written);
    } else if (errno != EINTR) {
      output->failure = errno;
    }
  }
}

static void write_held(Output *output) {
  write_whole(output, output->held, output->used);
  output->used = 0;
}

// Makes room for more than was held before. Each write is five times as long as the one before it, as far as it may be,
// so that their number hardly depends on the length of the file. Without memory there is no room, and the stream goes
// on with its buffer alone.
static void make_room(Output *output) {
  constexpr size_t first = 1 << 20;
  constexpr size_t growth = 5;
  write_held(output);
  size_t limit = std::min(output->limit > 0 ? growth * output->limit : first, output->most);
  if (limit == output->limit) return;
  free(output->held);
  output->held = static_cast<char *>(malloc(limit));
  output->limit = output->held != nullptr ? limit : 0;
}

// All or nothing, as a stream takes anything less for a failure.
static ssize_t take(void *cookie, const char *bytes, size_t length) {
  auto *output = static_cast<Output *>(cookie);
  bool all_there_is = output->limit == 0 && length < sizeof output->buffer;
  for (size_t left = length; left > 0;) {
    if (!all_there_is && output->used == output->limit) make_room(output);
    size_t part = std::min(left, output->limit - output->used);
    if (part == 0) {
      write_whole(output, bytes, left);
      break;
    }
    memmove(output->held + output->used, bytes, part);  // faster than what the compiler makes of memcpy here
    output->used += part;
    bytes += part;
    left -= part;
  }
  return output->failure == 0 ? static_cast<ssize_t>(length) : 0;
}

// The last that a stream does with its buffer lies behind it then.
static int close_descriptor(void *cookie) {
  auto *output = static_cast<Output *>(cookie);
  write_held(output);
  int failure = output->failure;
  int status = close(output->fd);
  free(output->held);
  free(output);
  if (failure == 0) return status;
  errno = failure;
  return -1;
}

// A stream that writes to the descriptor and owns it. That of fdopen asks the kernel twice what is known already.
static FILE *open_stream(int fd, size_t most_held) {
  auto *output = static_cast<Output *>(malloc(sizeof(Output)));
  if (output == nullptr) return nullptr;
  output->fd = fd;
  output->failure = 0;
  output->held = nullptr;
  output->used = output->limit = 0;
  output->most = most_held;
  FILE *stream = fopencookie(output, "w", {.read = nullptr, .write = take, .seek = nullptr, .close = close_descriptor});
  if (stream == nullptr) {
    free(output);
  } else {
    setvbuf(stream, output->buffer, _IOFBF, sizeof output->buffer);
  }
  return stream;
}

OwnedStream open_output(const char *path, unsigned mode, size_t most_held) {
  // The file is empty until its mode is right: no moment shows new content under an old, wider mode. A pipe in its
  // place that nobody reads would hold up the run for ever.
  int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  if (fd < 0) return nullptr;
  FILE *stream = set_mode(fd, mode) ? open_stream(fd, most_held) : nullptr;
  if (stream == nullptr) {
    int reason = errno;
    if (reason == ENOMEM) end_without_memory();
    close(fd);
    errno = reason;
  }
  return OwnedStream(stream);
}

bool close_output(OwnedStream stream) {
  return fclose(stream.release()) == 0;
}

bool create_directory(const char *path, unsigned mode) {
  return mkdir(path, mode) == 0 && chmod(path, mode) == 0;
}
