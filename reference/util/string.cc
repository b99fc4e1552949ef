// Building and rewriting strings.
#include <algorithm>
#include <cstring>
#include <string>

#include "platform/tools.h"
#include "util/memory.h"

void xasprintf(char **text, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  *text = xvasprintf(format, arguments);
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

char *escape(const char *text, const EscapePair *table) {
  if (text == nullptr) return nullptr;
  std::string escaped;
  for (const char *byte = text; *byte != '\0'; byte++) {
    const char *to = replacement(*byte, table);
    if (to != nullptr) {
      escaped += to;
    } else {
      escaped += *byte;
    }
  }
  return copy_bytes(escaped.data(), escaped.size());
}

char *replace_char(const char *text, char from, char to) {
  if (text == nullptr) return nullptr;
  size_t length = strlen(text);
  char *copy = copy_bytes(text, length);
  std::replace(copy, copy + length, from, to);
  return copy;
}
