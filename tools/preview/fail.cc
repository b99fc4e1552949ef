#include "preview/fail.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] __attribute__((format(printf, 2, 0))) void end(const char *reason, const char *format, va_list arguments) {
  fflush(stdout);
  fprintf(stderr, "%s: ", program_invocation_short_name);
  vfprintf(stderr, format, arguments);
  if (reason != nullptr) fprintf(stderr, ": %s", reason);
  fputc('\n', stderr);
  exit(exit_setup);
}

}  // namespace

void fail(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  end(nullptr, format, arguments);
}

void fail_system(const char *format, ...) {
  const char *reason = strerror(errno);
  va_list arguments;
  va_start(arguments, format);
  end(reason, format, arguments);
}
