// Memory that is always there: a router that cannot give a few bytes to a start-up helper has nothing better to do than
// to end it, so running out ends the program at once.
#ifndef TESSERA_REFERENCE_TOOLS_MEMORY_H
#define TESSERA_REFERENCE_TOOLS_MEMORY_H

#include <unistd.h>

#include <cstdarg>
#include <cstddef>

// Ends the program with a message.
[[noreturn]] inline void end_without_memory() {
  static const char message[] = "out of memory\n";
  ssize_t written = write(STDERR_FILENO, message, sizeof message - 1);
  static_cast<void>(written);  // nothing else is left to tell it to
  _exit(1);
}

// As realloc; never null for a size above 0.
void *xrealloc(void *memory, size_t size);

// As vasprintf; the new text belongs to the caller and is never null.
char *xvasprintf(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

#endif
