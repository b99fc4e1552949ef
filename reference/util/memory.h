// Memory that is always there: a router that cannot give a few bytes to a start-up helper has nothing better to do than
// to end it, so running out ends the program at once.
#ifndef TESSERA_REFERENCE_UTIL_MEMORY_H
#define TESSERA_REFERENCE_UTIL_MEMORY_H

#include <unistd.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Ends the program with a message.
[[noreturn]] inline void end_without_memory() {
  static const char message[] = "out of memory\n";
  ssize_t written = write(STDERR_FILENO, message, sizeof message - 1);
  static_cast<void>(written);  // nothing else is left to tell it to
  _exit(1);
}

// A new text of `length` bytes.
inline char *copy_bytes(const char *bytes, size_t length) {
  char *text = static_cast<char *>(malloc(length + 1));
  if (text == nullptr) end_without_memory();
  memcpy(text, bytes, length);
  text[length] = '\0';
  return text;
}

// As realloc; never null for a size above 0.
void *xrealloc(void *memory, size_t size);

// Puts a text at the end of another and returns the new end; there has to be room for it.
char *append_text(char *end, const char *text);

// As vasprintf; the new text belongs to the caller and is never null.
inline char *xvasprintf(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));
inline char *xvasprintf(const char *format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  int length = vsnprintf(nullptr, 0, format, arguments);
  char *text = length >= 0 ? static_cast<char *>(malloc(static_cast<size_t>(length) + 1)) : nullptr;
  if (text == nullptr) end_without_memory();
  vsnprintf(text, static_cast<size_t>(length) + 1, format, again);
  va_end(again);
  return text;
}

#endif
