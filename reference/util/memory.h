// Allocations that end the program when memory runs out, so that callers need not check them.
#ifndef TESSERA_REFERENCE_UTIL_MEMORY_H
#define TESSERA_REFERENCE_UTIL_MEMORY_H

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Ends the program at once with a message and status 1.
[[noreturn]] inline void end_without_memory() {
  static const char message[] = "out of memory\n";
  ssize_t written = write(STDERR_FILENO, message, sizeof message - 1);
  static_cast<void>(written);  // a failure cannot be reported anywhere else
  _exit(1);
}

// Like realloc, but never null. The size must be above 0.
inline void *xrealloc(void *memory, size_t size) {
  void *moved = realloc(memory, size);
  if (moved == nullptr) end_without_memory();
  return moved;
}

// A copy of `length` bytes as a string that the caller frees.
inline char *copy_bytes(const char *bytes, size_t length) {
  auto *string = static_cast<char *>(xrealloc(nullptr, length + 1));
  memcpy(string, bytes, length);
  string[length] = '\0';
  return string;
}

// Like vasprintf, but returns the new string, which the caller frees. Never null.
inline char *xvasprintf(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));
inline char *xvasprintf(const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  int length = vsnprintf(nullptr, 0, format, arguments);
  if (length < 0) end_without_memory();
  size_t size = static_cast<size_t>(length) + 1;
  auto *string = static_cast<char *>(xrealloc(nullptr, size));
  vsnprintf(string, size, format, again);
  va_end(again);
  return string;
}

#endif
