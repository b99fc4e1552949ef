// Checks of the characters in names and strings.
#ifndef TESSERA_REFERENCE_CONFIG_CHARACTERS_H
#define TESSERA_REFERENCE_CONFIG_CHARACTERS_H

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <string>
#include <string_view>

inline constexpr uint32_t no_position = UINT32_MAX;

// The position of the first byte that is not UTF-8, searched from `from` on; no_position when there is none. The string
// must end with a zero byte at `size`.
uint32_t find_invalid_utf8(const char *string, uint32_t size, uint32_t from);

// True when every byte is a printable ASCII character, space included.
inline bool is_printable_ascii(const char *string, size_t length) {
  return std::all_of(string, string + length, [](char c) { return c >= ' ' && c <= '~'; });
}

// True when the invalid UTF-8 at `string` is an encoded half of a surrogate pair.
bool is_surrogate(const char *string);

// True for a string with a byte below 0x20 or with 0x7F. The second function allows tabs, line feeds and carriage
// returns.
bool holds_control(const char *string, size_t length);
bool holds_control_but_lines(const char *string, size_t length);

// The string for use in a message: control characters and invalid UTF-8 are written as \xNN, and a long string is cut.
std::string printable(std::string_view string);

// True for a valid name of an entry of a map; `hyphen` also allows '-'.
bool is_entry_name(const char *name, size_t length, bool hyphen);

// A search among names for the one that was meant by a misspelt one: the first of those with the fewest edits.
struct Meant {
  explicit Meant(std::string_view misspelt);

  std::string_view written;  // the caller's string
  unsigned least;            // only names with fewer edits than this are close
  std::string name = {};     // the closest so far; "" for none

  // Looks at one name. True when it is the closest so far.
  bool look_at(std::string_view candidate);

  // ", did you mean 'NAME'?"; "" for none.
  std::string hint() const;
};

// True when the string is exactly that name, which may hold any bytes. Most names differ in one of their first
// characters, so this is quicker than a comparison of lengths.
inline bool is_name(const char *string, std::string_view name) {
  for (char character : name) {
    if (*string != character || character == '\0') return false;
    string++;
  }
  return *string == '\0';
}

#endif
