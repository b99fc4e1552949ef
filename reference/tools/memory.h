// Memory that is always there: a router that cannot give a few bytes to a start-up helper has nothing better to do than
// to end it, so running out ends the program at once.
#ifndef TESSERA_REFERENCE_TOOLS_MEMORY_H
#define TESSERA_REFERENCE_TOOLS_MEMORY_H

#include <cstdarg>
#include <cstddef>

// As realloc; never null for a size above 0.
void *xrealloc(void *memory, size_t size);

// As vasprintf; the new text belongs to the caller and is never null.
char *xvasprintf(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

#endif
