// Splitting strings.
#ifndef TESSERA_REFERENCE_UTIL_STRINGS_H
#define TESSERA_REFERENCE_UTIL_STRINGS_H

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// The pieces between separators, empty ones included; one piece when there is no separator.
inline std::vector<std::string_view> split(std::string_view string, char separator) {
  std::vector<std::string_view> pieces;
  for (;;) {
    size_t end = std::min(string.find(separator), string.size());
    pieces.push_back(string.substr(0, end));
    if (end == string.size()) return pieces;
    string.remove_prefix(end + 1);
  }
}

// The lines without their ends. A line end at the end of the string does not start another line.
inline std::vector<std::string_view> line_views(std::string_view string) {
  std::vector<std::string_view> lines = split(string, '\n');
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

// Copies of these lines.
inline std::vector<std::string> lines_of(std::string_view string) {
  std::vector<std::string_view> lines = line_views(string);
  return {lines.begin(), lines.end()};
}

// True when the string is one of `words`, which are separated by spaces; false for "".
inline bool is_word_of(std::string_view string, std::string_view words) {
  std::vector<std::string_view> all = split(words, ' ');
  return !string.empty() && std::find(all.begin(), all.end(), string) != all.end();
}

#endif
