// Which lines of a file are still there in another version of it.
#ifndef TESSERA_EXPLAIN_LINES_H
#define TESSERA_EXPLAIN_LINES_H

#include <string>
#include <vector>

enum class Fate {
  kept,
  changed,  // a line with the same key stands in its place
  gone,
};

// For each line of `before` what became of it in `after`. Indented lines belong to the line above that is not indented:
// the same option of another section is another line.
std::vector<Fate> compare_lines(const std::vector<std::string> &before, const std::vector<std::string> &after);

// True when a line, by its index, is in `after` as often as in `before`, in a section of the same name.
bool is_still_there(const std::vector<std::string> &before, size_t index, const std::vector<std::string> &after);

#endif
