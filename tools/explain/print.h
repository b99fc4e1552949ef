// How the answers are printed: for people, or as JSON.
#ifndef TESSERA_EXPLAIN_PRINT_H
#define TESSERA_EXPLAIN_PRINT_H

#include <string>
#include <vector>

#include "explain/answers.h"

struct Printing {
  const Pool &pool;
  bool is_json;
};

// One line with all that is known, or (`is_margin`) a whole file, each line with its nearest origin beside it: a
// condition, in parentheses, where nothing else is known.
void print_lines(const Printing &printing, const std::string &file, const std::vector<LineAnswer> &answers,
                 bool is_margin);
void print_driven(const Printing &printing, const std::string &path, const std::vector<DrivenLine> &lines);
// What is not set, with the lines that it would bring.
void print_would(const Printing &printing, const std::string &path, const std::vector<NewLines> &lines);
void print_ways(const Printing &printing, const std::string &path, const Ways &ways);

// Settings without an effect, and the ways of each to get one.
void print_unused(const Printing &printing, const std::vector<const Setting *> &settings,
                  const std::vector<Ways> &ways);

#endif
