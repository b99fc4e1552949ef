// Prints the answers for people, or as JSON.
#ifndef TESSERA_EXPLAIN_PRINT_H
#define TESSERA_EXPLAIN_PRINT_H

#include <string>
#include <vector>

#include "explain/answers.h"

struct Printing {
  const Pool &pool;
  bool is_json;
};

// Prints one line with its origins and conditions, or, when `is_margin` is true, all lines of a file, each with its
// nearest origin beside it; a condition stands in parentheses when the line has no origin.
void print_lines(const Printing &printing, const std::string &file, const std::vector<LineAnswer> &answers,
                 bool is_margin);
void print_driven(const Printing &printing, const std::string &path, const std::vector<DrivenLine> &lines);
// For a setting that is not set: the lines that it would add or change.
void print_would(const Printing &printing, const std::string &path, const std::vector<NewLines> &lines);
void print_ways(const Printing &printing, const std::string &path, const Ways &ways);

// Settings without an effect, and the changes that would give each an effect.
void print_unused(const Printing &printing, const std::vector<const Setting *> &settings,
                  const std::vector<Ways> &ways);

#endif
