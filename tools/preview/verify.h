// Has the files checked as their readers will.
#ifndef TESSERA_PREVIEW_VERIFY_H
#define TESSERA_PREVIEW_VERIFY_H

#include <string>
#include <vector>

#include "preview/changes.h"

struct Finding {
  std::string file;
  unsigned line;  // 0: the file as a whole
  std::string message;
};

// What one checker says of one file.
struct Verdict {
  std::string checker;
  std::string file;
  bool is_installed;  // the checker
  std::vector<Finding> findings;
};

// Checks each file of `tree` that has a checker; the files have to be in place on the inside.
std::vector<Verdict> verify_files(const Tree &tree);

// True when no checker found anything.
bool are_accepted(const std::vector<Verdict> &verdicts);

#endif
