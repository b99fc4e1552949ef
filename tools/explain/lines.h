// Compares two versions of a file line by line.
#ifndef TESSERA_EXPLAIN_LINES_H
#define TESSERA_EXPLAIN_LINES_H

#include <string>
#include <vector>

enum class Fate {
  kept,
  changed,  // a line with the same key is in its place
  gone,
};

// Returns for each line of `before` what became of it in `after`. An indented line belongs to the last line before it
// that is not indented: the same option in another section is another line.
std::vector<Fate> compare_lines(const std::vector<std::string> &before, const std::vector<std::string> &after);

// True when `after` has the line at the index as often as `before`, in a section of the same name.
bool is_still_there(const std::vector<std::string> &before, size_t index, const std::vector<std::string> &after);

#endif
