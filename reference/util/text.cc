// Building and rewriting texts.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/tools.h"
#include "util/memory.h"

void *xrealloc(void *memory, size_t size) {
  void *moved = realloc(memory, size);
  if (moved == nullptr) end_without_memory();
  return moved;
}

char *append_text(char *place, const char *text) {
  size_t length = strlen(text);
  memcpy(place, text, length + 1);
  return place + length;
}

void xasprintf(char **text, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  *text = xvasprintf(format, arguments);
  va_end(arguments);
}

namespace {

// The text that replaces `byte`; null when it stays.
const char *replacement(char byte, const EscapePair *table) {
  for (const EscapePair *pair = table; pair != nullptr && pair->from != nullptr; pair++) {
    if (byte == *pair->from) return pair->to;
  }
  return nullptr;
}

}  // namespace

char *escape(const char *text, const EscapePair *table) {
  if (text == nullptr) return nullptr;
  size_t length = 0;
  for (const char *byte = text; *byte != '\0'; byte++) {
    const char *to = replacement(*byte, table);
    length += to != nullptr ? strlen(to) : 1;
  }
  char *escaped = static_cast<char *>(xrealloc(nullptr, length + 1));
  char *end = escaped;
  for (const char *byte = text; *byte != '\0'; byte++) {
    const char *to = replacement(*byte, table);
    if (to != nullptr) {
      end = append_text(end, to);
    } else {
      *end++ = *byte;
    }
  }
  *end = '\0';
  return escaped;
}

char *replace_char(const char *text, char from, char to) {
  if (text == nullptr) return nullptr;
  size_t size = strlen(text) + 1;
  char *copy = static_cast<char *>(memcpy(xrealloc(nullptr, size), text, size));
  for (char *byte = copy; *byte != '\0'; byte++) {
    if (*byte == from) *byte = to;
  }
  return copy;
}
