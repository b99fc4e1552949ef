// String lists. A hidden header precedes the array that callers see: appending need not search the end of the list, and
// the capacity doubles whenever it is used up.
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/tools.h"
#include "util/memory.h"

namespace {

struct Header {
  int32_t length;
  int32_t capacity;  // number of entries that fit, without the final null
};
static_assert(sizeof(Header) % alignof(char *) == 0);

constexpr int32_t first_capacity = 6;

Header *header_of(char *const *list) {
  // The header is in the same block, before the entries.
  return reinterpret_cast<Header *>(const_cast<char **>(list)) - 1;
}

char **entries_of(Header *header) {
  return reinterpret_cast<char **>(header + 1);
}

Header *resize(Header *header, int32_t capacity) {
  size_t size = sizeof(Header) + (static_cast<size_t>(capacity) + 1) * sizeof(char *);
  header = static_cast<Header *>(xrealloc(header, size));
  header->capacity = capacity;
  return header;
}

// Appends a string that the list owns from then on.
char **append_owned(char **list, char *string) {
  if (list == nullptr) list = _sl_new(0, 0);
  Header *header = header_of(list);
  if (header->length == header->capacity) {
    if (header->capacity > INT32_MAX / 2) end_without_memory();
    header = resize(header, header->capacity * 2);
    list = entries_of(header);
  }
  list[header->length++] = string;
  list[header->length] = nullptr;
  return list;
}

}  // namespace

char **_sl_new(int /*reserved1*/, int /*reserved2*/) {
  Header *header = resize(nullptr, first_capacity);
  header->length = 0;
  char **list = entries_of(header);
  list[0] = nullptr;
  return list;
}

char **_sl_append(char **list, const char *string, int /*reserved*/) {
  if (string == nullptr) return list;
  return append_owned(list, copy_bytes(string, strlen(string)));
}

char **sl_append_printf(char **list, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char *string = xvasprintf(format, arguments);
  va_end(arguments);
  return append_owned(list, string);
}

char *sl_join(char *const *list, const char *separator) {
  if (list == nullptr || *list == nullptr) return nullptr;
  if (separator == nullptr) separator = "";
  std::string joined = *list;
  for (char *const *entry = list + 1; *entry != nullptr; entry++) joined.append(separator).append(*entry);
  return copy_bytes(joined.data(), joined.size());
}

char **sl_split(const char *string, char separator) {
  char **list = _sl_new(0, 0);
  while (string != nullptr) {
    const char *end = separator != '\0' ? strchr(string, separator) : nullptr;
    size_t length = end != nullptr ? static_cast<size_t>(end - string) : strlen(string);
    list = append_owned(list, copy_bytes(string, length));
    string = end != nullptr ? end + 1 : nullptr;
  }
  return list;
}

bool sl_find(char *const *list, const char *string) {
  if (list == nullptr || string == nullptr) return false;
  for (; *list != nullptr; list++) {
    if (strcmp(*list, string) == 0) return true;
  }
  return false;
}

int32_t sl_len(char *const *list) {
  return list != nullptr ? header_of(list)->length : 0;
}

void sl_free(char **list) {
  if (list == nullptr) return;
  for (char **entry = list; *entry != nullptr; entry++) free(*entry);
  free(header_of(list));
}
