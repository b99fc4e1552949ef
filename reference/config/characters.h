// What the characters of names and strings have to be.
#ifndef TESSERA_REFERENCE_CONFIG_CHARACTERS_H
#define TESSERA_REFERENCE_CONFIG_CHARACTERS_H

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <string>
#include <string_view>

inline constexpr uint32_t no_position = UINT32_MAX;

// Where the first byte from `from` on stands that is not UTF-8; no_position when there is none. A zero byte has to
// stand behind the string.
uint32_t find_invalid_utf8(const char *string, uint32_t size, uint32_t from);

// True when every byte is one of the characters from space to "~".
inline bool is_printable_ascii(const char *string, size_t length) {
  return std::all_of(string, string + length, [](char c) { return c >= ' ' && c <= '~'; });
}

// True when what is not UTF-8 at `string` is the form that half of a surrogate pair would have.
bool is_surrogate(const char *string);

// True for a string that holds a byte below 0x20 or 0x7F; the second form lets tabs and line ends pass.
bool holds_control(const char *string, size_t length);
bool holds_control_but_lines(const char *string, size_t length);

// The string as it may stand in a message: no control characters, nothing that is not UTF-8, a long one cut.
std::string printable(std::string_view string);

// True for a name that an entry of a map may have.
bool is_entry_name(const char *name, size_t length, bool hyphen);

// How many edits of one letter, or swaps of neighbours, lie between two names; many for long ones, and for those whose
// lengths alone take `limit` edits.
unsigned edit_distance(const char *from, size_t from_length, const char *to, size_t to_length, unsigned limit);

// Whether a string is exactly that name. Most names differ in one of their first characters, which a length does not
// tell sooner. A name may hold any bytes.
inline bool is_name(const char *string, std::string_view name) {
  for (char character : name) {
    if (*string != character || character == '\0') return false;
    string++;
  }
  return *string == '\0';
}

#endif
