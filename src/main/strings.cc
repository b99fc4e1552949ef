#include "main/strings.h"

#include <cstdio>

#include "main/owned.h"

std::string format_arguments(const char *format, va_list arguments) {
  char *string = nullptr;
  int length = vasprintf(&string, format, arguments);
  if (length < 0) end_without_memory();
  OwnedString owner(string);
  return std::string(string, static_cast<size_t>(length));
}

std::string format(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string string = format_arguments(format, arguments);
  va_end(arguments);
  return string;
}
