// The answers: where a line comes from, what a setting drives, and why it drives nothing.
#ifndef TESSERA_EXPLAIN_ANSWERS_H
#define TESSERA_EXPLAIN_ANSWERS_H

#include <string>
#include <vector>

#include "explain/effects.h"

// A line of a file with the settings that it comes from, the nearest first, and those that only keep it there.
struct LineAnswer {
  size_t number;  // from 1
  std::string text;
  std::vector<const Setting *> from;
  std::vector<const Setting *> conditions;
  std::string router_file;  // that it comes from, too; "" for none
  std::string remark;       // what is said where nothing can be proved
};

// Explains the lines of a file of the run; `number` 0 stands for all of them.
std::vector<LineAnswer> explain_lines(const Pool &pool, const BaseRun &base, const std::string &file, size_t number);

struct DrivenLine {
  std::string file;
  size_t number;
  std::string text;
};

// The lines that change or go when something at the path, or below it, changes.
std::vector<DrivenLine> driven_lines(const Pool &pool, const std::vector<BaseRun> &runs, const std::string &path);

// Lines that a change brings: new ones, and the new form of others.
struct NewLines {
  Change change;
  std::vector<DrivenLine> lines;
};
std::vector<NewLines> lines_of_changes(const Pool &pool, const std::vector<BaseRun> &runs,
                                       const std::vector<Change> &changes);

// Changes after which a setting, or something in it, has an effect: each element is one way, the likeliest first.
struct Ways {
  std::vector<std::vector<Change>> ways;
  std::vector<std::string> messages;  // of the runs, about what the setting belongs to
};

// The ways of each of these settings, which are in document order and have no effect. Of one alone they have up to
// three changes; several settings share runs, and get ways of one change.
std::vector<Ways> find_ways(const Pool &pool, const std::vector<BaseRun> &runs,
                            const std::vector<const Setting *> &settings);

// The settings that change nothing in any file; where a whole object has no effect, the object alone.
std::vector<const Setting *> unused_settings(const Pool &pool, const std::vector<BaseRun> &runs);

#endif
