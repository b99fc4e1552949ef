#include "check/quotes.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/strings.h"

namespace {

// Replaces a character between double quotes: there it is neither a digit nor a separator for dnsmasq.
char in_quotes(char letter) {
  if (isalnum(static_cast<unsigned char>(letter)) != 0) return 'x';
  return letter == '\0' || strchr(": ,", letter) == nullptr ? letter : '?';
}

// The string without quotes and comment, in the form in which dnsmasq splits it; empty when a double quote is not
// closed. A "#" after a space starts a comment. A quote directly behind a closing quote is an ordinary character.
std::optional<std::string> split_form(const char *string) {
  std::string form;
  bool quoted = false;
  for (; *string != '\0'; string++) {
    if (*string == '"') {
      quoted = !quoted;
      if (!quoted && string[1] != '\0') form += *++string;
      continue;
    }
    if (quoted && *string == '\\' && string[1] != '\0' && strchr("\"tnebr\\", string[1]) != nullptr) string++;
    if (!quoted && *string == '#' && form.ends_with(' ')) return form;
    form += quoted ? in_quotes(*string) : *string;
  }
  if (quoted) return std::nullopt;
  return form;
}

// A "*" stands for a whole byte.
bool is_byte(std::string_view digits) {
  return digits == "*" || std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return isxdigit(c) != 0; });
}

// Bytes in hexadecimal, with ":" or spaces between them.
bool is_hex(std::string_view string) {
  std::string bytes(string);
  std::replace(bytes.begin(), bytes.end(), ' ', ':');
  const std::vector<std::string_view> pieces = split(bytes, ':');
  return std::all_of(pieces.begin(), pieces.end(), is_byte);
}

bool has_colon(std::string_view string) {
  return string.find(':') != std::string_view::npos;
}

// True for a word that dnsmasq accepts in a reservation: a hardware address, a name (an address counts as one), or a
// word with one of the prefixes below.
bool is_word_of_reservation(std::string_view word) {
  word.remove_prefix(std::min(word.find_first_not_of(' '), word.size()));
  word.remove_suffix(word.size() - (word.find_last_not_of(' ') + 1));
  for (const std::string_view kind : {"id:", "set:", "net:", "tag:"})
    if (word.starts_with(kind)) return true;
  return has_colon(word) ? is_hex(word) : is_host_name(std::string(word).c_str());
}

}  // namespace

bool is_closed(const char *string) {
  return split_form(string).has_value();
}

char starter_refusal(const char *string) {
  bool quoted = false;
  for (; *string != '\0'; string++) {
    if (!quoted && *string == '#') return '\0';
    if (!quoted && *string == '=') return '=';
    if (*string == '"')
      quoted = !quoted;
    else if (quoted && *string == '\\' && string[1] != '\0')
      string++;
  }
  return quoted ? '"' : '\0';
}

bool is_domain(const char *string) {
  constexpr size_t longest_label = 63;
  size_t length = 0;
  for (; *string != '\0'; string++) {
    length = strchr("./,", *string) != nullptr ? 0 : length + 1;
    if (length > longest_label || static_cast<unsigned char>(*string) > 0x7f) return false;
  }
  return true;
}

bool is_host_name(const char *string) {
  if (*string == '-' || *string == '_' || strcmp(string, ".") == 0) return false;
  for (; *string != '\0' && *string != '.'; string++)
    if (isalnum(static_cast<unsigned char>(*string)) == 0 && *string != '-' && *string != '_') return false;
  return true;
}

bool is_reservation(const char *string) {
  const std::optional<std::string> form = split_form(string);
  if (!form.has_value()) return false;
  const std::vector<std::string_view> words = split(*form, ',');
  return std::all_of(words.begin(), words.end(), is_word_of_reservation);
}

bool is_client(const char *string) {
  const std::optional<std::string> form = split_form(string);
  if (!form.has_value()) return false;
  const size_t length = std::min(form->find(','), form->size());
  const std::string_view identifier = std::string_view(*form).substr(0, length);
  if (has_colon(identifier) && !identifier.starts_with('*') && !is_hex(identifier)) return false;
  return length == form->size() || is_reservation(form->c_str() + length + 1);
}
