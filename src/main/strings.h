// Helpers for strings. A null string reads as "".
#ifndef TESSERA_MAIN_STRINGS_H
#define TESSERA_MAIN_STRINGS_H

#include <cstdarg>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/config.h"

// True for a string of at least one character.
inline bool is_set(const char *string) {
  return string != nullptr && *string != '\0';
}

// The string itself, or "" in place of null, for use as a format argument.
inline const char *or_empty(const char *string) {
  return string != nullptr ? string : "";
}

// True when the string is that word.
inline bool equals(const char *string, const char *word) {
  return strcmp(or_empty(string), word) == 0;
}

// The configured string at a path, "" in place of null.
inline const char *string_at(const ConfigNode *node, const char *path) {
  return or_empty(config_get_string(node, path));
}

// A copy of the string up to the first such character, or of the whole string when it has none.
inline std::string string_before(const char *string, char character) {
  std::string_view whole = or_empty(string);
  return std::string(whole.substr(0, whole.find(character)));
}

// True for a string that can be one component of a path: not empty, neither "." nor "..", and without "/".
inline bool is_path_component(const char *string) {
  return is_set(string) && strchr(string, '/') == nullptr && !equals(string, ".") && !equals(string, "..");
}

// A string formatted as by printf, and by vprintf.
std::string format(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string format_arguments(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

#endif
