// Building and rewriting strings.
#include <algorithm>
#include <cstring>
#include <string>

#include "platform/tools.h"
#include "util/memory.h"

void xasprintf(char **string, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  *string = xvasprintf(format, arguments);
  va_end(arguments);
}

namespace {

// What replaces `byte`; null when it stays.
const char *replacement(char byte, const EscapePair *table) {
  for (const EscapePair *pair = table; pair != nullptr && pair->from != nullptr; pair++) {
    if (byte == *pair->from) return pair->to;
  }
  return nullptr;
}

}  // namespace

char *escape(const char *string, const EscapePair *table) {
  if (string == nullptr) return nullptr;
  std::string escaped;
  for (const char *byte = string; *byte != '\0'; byte++) {
    const char *to = replacement(*byte, table);
    if (to != nullptr) {
      escaped += to;
    } else {
      escaped += *byte;
    }
  }
  return copy_bytes(escaped.data(), escaped.size());
}

char *replace_char(const char *string, char from, char to) {
  if (string == nullptr) return nullptr;
  size_t length = strlen(string);
  char *copy = copy_bytes(string, length);
  std::replace(copy, copy + length, from, to);
  return copy;
}
