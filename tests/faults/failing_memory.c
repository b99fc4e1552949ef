// A library to preload: the program's allocation number FAILING_ALLOCATION fails. With 0, the program prints the number
// of its allocations on standard error at its end.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *memory, size_t size);

static long failing = -1;  // before the program starts
static long count;

__attribute__((constructor)) static void begin(void) {
  const char *number = getenv("FAILING_ALLOCATION");
  unsetenv("LD_PRELOAD");  // not for the program's children
  failing = number != NULL ? strtol(number, NULL, 10) : 0;
}

__attribute__((destructor)) static void end(void) {
  if (failing == 0) dprintf(STDERR_FILENO, "%ld", count);
}

static int fails(void) {
  if (failing < 0 || ++count != failing) return 0;
  errno = ENOMEM;
  return 1;
}

void *malloc(size_t size) {
  return fails() ? NULL : __libc_malloc(size);
}

void *calloc(size_t members, size_t size) {
  return fails() ? NULL : __libc_calloc(members, size);
}

void *realloc(void *memory, size_t size) {
  return fails() ? NULL : __libc_realloc(memory, size);
}
