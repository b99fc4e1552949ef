#include "check/quotes.h"

#include <cctype>
#include <cstddef>
#include <cstring>

bool is_closed(const char *string) {
  bool quoted = false;
  for (; *string != '\0'; ++string) {
    if (*string == '"')
      quoted = !quoted;
    else if (quoted && *string == '\\' && string[1] != '\0' && strchr("\"tnebr\\", string[1]) != nullptr)
      ++string;
  }
  return !quoted;
}

char starter_refusal(const char *string) {
  bool quoted = false;
  for (; *string != '\0'; ++string) {
    if (!quoted && *string == '#') return '\0';
    if (!quoted && *string == '=') return '=';
    if (*string == '"')
      quoted = !quoted;
    else if (quoted && *string == '\\' && string[1] != '\0')
      ++string;
  }
  return quoted ? '"' : '\0';
}

bool is_domain(const char *string) {
  constexpr size_t longest_label = 63;
  size_t length = 0;
  for (; *string != '\0'; ++string) {
    length = strchr("./,", *string) != nullptr ? 0 : length + 1;
    if (length > longest_label || static_cast<unsigned char>(*string) > 0x7f) return false;
  }
  return true;
}

bool is_host_name(const char *string) {
  if (*string == '-' || *string == '_') return false;
  for (; *string != '\0' && *string != '.'; ++string)
    if (isalnum(static_cast<unsigned char>(*string)) == 0 && *string != '-' && *string != '_') return false;
  return true;
}
