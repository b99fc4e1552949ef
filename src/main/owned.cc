#include "main/owned.h"

#include <poll.h>
#include <unistd.h>

void end_without_memory() {
  static const char message[] = "tessera: out of memory\n";
  pollfd stream = {STDERR_FILENO, POLLOUT, 0};
  ssize_t written = poll(&stream, 1, 1000) == 1 ? write(STDERR_FILENO, message, sizeof message - 1) : 0;
  static_cast<void>(written);  // there is nothing else to report it to
  _exit(1);
}

std::string format_arguments(const char *format, va_list arguments) {
  char *text = nullptr;
  int length = vasprintf(&text, format, arguments);
  if (length < 0) end_without_memory();
  OwnedText owner(text);
  return std::string(text, static_cast<size_t>(length));
}

std::string format(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = format_arguments(format, arguments);
  va_end(arguments);
  return text;
}
