#include "output/quote.h"

#include <cstring>

#include "main/strings.h"

// A value ends with its line, so a line feed becomes an escaped backslash and an "n".
const EscapePair uci_escape_table[] = {{"\"", "\\\""}, {"\\", "\\\\"}, {"\n", "\\\\n"}, {nullptr, nullptr}};

const EscapePair bracket_escape_table[] = {{"]", "\\]"}, {nullptr, nullptr}};

namespace {

constexpr size_t peer_id_size = 250;  // longest item of a list of peer identities, in bytes, quotes included

// A copy with a backslash before each of these characters.
std::string with_backslashes(const char *string, const char *characters) {
  std::string result;
  for (const char *next = or_empty(string); *next != '\0'; next++) {
    if (strchr(characters, *next) != nullptr) result += '\\';
    result += *next;
  }
  return result;
}

}  // namespace

OwnedString escaped(const char *string, const EscapePair *table) {
  OwnedString copy(escape(or_empty(string), table));
  if (copy == nullptr) end_without_memory();
  return copy;
}

std::string dnsmasq_escape_quoted(const char *string) {
  return with_backslashes(string, "\\\"");
}

std::string shell_quote_single(const char *string) {
  static const EscapePair table[] = {{"'", "'\\''"}, {nullptr, nullptr}};
  return escaped(string, table).get();
}

bool is_plain_word(const char *string) {
  return string[strspn(string, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.")] == '\0';
}

std::string glob_literal(const char *string) {
  return with_backslashes(string, "*?[\\");
}

std::string quoted_peer_id(const char *identity) {
  return format("\"%s\"", identity).substr(0, peer_id_size);
}
