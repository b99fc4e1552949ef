// Parses IPv4 networks.
#include <arpa/inet.h>

#include <cstring>

#include "platform/tools.h"

namespace {

constexpr int32_t address_bits = 32;

// Parses a prefix length of one or two digits, such as "8" or "08". -1 for any other string.
int32_t parse_length(const char *string) {
  int32_t length = 0;
  size_t digits = 0;
  for (; string[digits] >= '0' && string[digits] <= '9'; digits++) {
    if (digits == 2) return -1;
    length = length * 10 + (string[digits] - '0');
  }
  return digits > 0 && string[digits] == '\0' && length <= address_bits ? length : -1;
}

}  // namespace

bool xip4_parse_network(const char *string, void *address, int32_t *prefix_length) {
  if (string == nullptr) return false;
  const char *slash = strchr(string, '/');
  size_t size = slash != nullptr ? static_cast<size_t>(slash - string) : strlen(string);
  char dotted[INET_ADDRSTRLEN];
  if (size >= sizeof dotted) return false;
  memcpy(dotted, string, size);
  dotted[size] = '\0';

  int32_t length = slash != nullptr ? parse_length(slash + 1) : address_bits;
  // Unlike inet_aton, inet_pton accepts only four decimal numbers: no octal and no short forms.
  in_addr parsed;
  if (length < 0 || inet_pton(AF_INET, dotted, &parsed) != 1) return false;
  memcpy(address, &parsed, sizeof parsed);
  *prefix_length = length;
  return true;
}
