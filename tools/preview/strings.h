// Functions on strings: replacement, JSON and UTF-8.
#ifndef TESSERA_PREVIEW_STRINGS_H
#define TESSERA_PREVIEW_STRINGS_H

#include <string>
#include <string_view>
#include <vector>

// The string with `to` in place of each `from`.
std::string with_replaced(std::string_view string, std::string_view from, std::string_view to);

// The string with "?" for every byte that is not part of UTF-8.
std::string repaired_utf8(std::string_view string);

// The string as JSON writes it, in quotes.
std::string json_string(std::string_view string);

// A member of a flat JSON object of strings.
struct Member {
  std::string name;
  std::string value;
  size_t start;  // offset of the value in the JSON, after its quote
  size_t end;    // offset of the quote after the value
};

// The members in their order. When the string is not such an object, the members before the first error.
std::vector<Member> read_members(std::string_view json);

#endif
