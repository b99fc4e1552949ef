#include "config/characters.h"

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <utility>

namespace {

constexpr size_t longest_entry_name = 63;

bool is_control(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

// The length in bytes of the UTF-8 character at `string`, which starts with a byte above 0x7F; 0 when it is malformed.
unsigned utf8_length(const unsigned char *string) {
  auto follows = [string](unsigned at) { return (string[at] & 0xC0) == 0x80; };
  unsigned char first = string[0];
  if (first >= 0xC2 && first <= 0xDF) return follows(1) ? 2 : 0;
  if (first >= 0xE0 && first <= 0xEF) {
    if (!follows(1) || !follows(2)) return 0;
    if (first == 0xE0 && string[1] < 0xA0) return 0;  // has a shorter form
    if (first == 0xED && string[1] > 0x9F) return 0;  // half of a surrogate pair
    return 3;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    if (!follows(1) || !follows(2) || !follows(3)) return 0;
    if (first == 0xF0 && string[1] < 0x90) return 0;
    if (first == 0xF4 && string[1] > 0x8F) return 0;  // past U+10FFFF
    return 4;
  }
  return 0;
}

bool is_entry_name_character(char character, bool hyphen) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_' || (hyphen && character == '-');
}

}  // namespace

uint32_t find_invalid_utf8(const char *string, uint32_t size, uint32_t from) {
  for (uint32_t at = from; at < size;) {
    bool ascii = static_cast<unsigned char>(string[at]) < 0x80;
    unsigned length = ascii ? 1 : utf8_length(reinterpret_cast<const unsigned char *>(string + at));
    if (length == 0) return at;
    at += length;
  }
  return no_position;
}

bool is_surrogate(const char *string) {
  return string[0] == '\xED' && (string[1] & 0xE0) == 0xA0;
}

bool holds_control(const char *string, size_t length) {
  return std::any_of(string, string + length, is_control);
}

bool holds_control_but_lines(const char *string, size_t length) {
  return std::any_of(string, string + length,
                     [](char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\r'; });
}

// True for each of the two bytes of a control character U+0080 to U+009F. Some terminals obey these characters too.
static bool is_second_control(const std::string &string, size_t at) {
  const char *first = string.c_str() + (string[at] == '\xC2' || at == 0 ? at : at - 1);
  return first[0] == '\xC2' && (first[1] & 0xE0) == 0x80;
}

std::string printable(std::string_view string) {
  constexpr size_t longest = 80;
  const std::string ended(string.substr(0, 1000));  // names of devices may have many more bytes
  const auto size = static_cast<uint32_t>(ended.size());
  std::string shown;
  uint32_t invalid = find_invalid_utf8(ended.c_str(), size, 0);
  for (uint32_t at = 0; at < size; at++) {
    auto byte = static_cast<unsigned char>(ended[at]);
    if (shown.size() >= longest && (byte & 0xC0) != 0x80) return shown + "...";
    if (is_control(ended[at]) || is_second_control(ended, at) || at == invalid) {
      static const char digits[] = "0123456789abcdef";
      shown += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
      if (at == invalid) invalid = find_invalid_utf8(ended.c_str(), size, at + 1);
    } else {
      shown += ended[at];
    }
  }
  return shown;
}

bool is_entry_name(const char *name, size_t length, bool hyphen) {
  return length >= 1 && length <= longest_entry_name &&
         std::all_of(name, name + length, [hyphen](char c) { return is_entry_name_character(c, hyphen); });
}

// The number of edits between two names: changed, added or removed letters, and swaps of neighbours. UINT_MAX for long
// names, and for names whose lengths differ by `limit` or more.
static unsigned edit_distance(std::string_view from, std::string_view to, unsigned limit) {
  constexpr size_t longest = 40;
  const size_t from_length = from.size();
  const size_t to_length = to.size();
  size_t difference = from_length > to_length ? from_length - to_length : to_length - from_length;
  if (from_length > longest || to_length > longest || difference >= limit) return UINT_MAX;
  unsigned rows[3][longest + 1];
  unsigned *before = rows[0];
  unsigned *last = rows[1];
  unsigned *now = rows[2];
  for (unsigned j = 0; j <= to_length; j++) last[j] = j;
  for (size_t i = 1; i <= from_length; i++) {
    now[0] = static_cast<unsigned>(i);
    for (size_t j = 1; j <= to_length; j++) {
      unsigned changed = last[j - 1] + (from[i - 1] != to[j - 1] ? 1 : 0);
      now[j] = std::min(changed, std::min(last[j], now[j - 1]) + 1);
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        now[j] = std::min(now[j], before[j - 2] + 1);
      }
    }
    std::swap(before, last);
    std::swap(last, now);
  }
  return last[to_length];
}

Meant::Meant(std::string_view misspelt)
    : written(misspelt), least(static_cast<unsigned>(std::min<size_t>(2, (misspelt.size() + 1) / 3)) + 1) {}

bool Meant::look_at(std::string_view candidate) {
  const unsigned distance = edit_distance(written, candidate, least);
  if (distance >= least || distance >= candidate.size()) return false;
  least = distance;
  name = candidate;
  return true;
}

std::string Meant::hint() const {
  return name.empty() ? "" : ", did you mean '" + printable(name) + "'?";
}
