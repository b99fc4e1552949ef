// The answers: which settings a line comes from, which lines come from a setting, and why none do.
#ifndef TESSERA_EXPLAIN_ANSWERS_H
#define TESSERA_EXPLAIN_ANSWERS_H

#include <string>
#include <vector>

#include "explain/effects.h"

// A line of a file, the settings that it comes from, the nearest first, and those that only keep it in the file.
struct LineAnswer {
  size_t number;  // from 1
  std::string text;
  std::vector<const Setting *> from;
  std::vector<const Setting *> conditions;
  std::string router_file;  // a file of the router that the line comes from too; "" for none
  std::string remark;       // what is known when no setting changes the line alone; else ""
};

// Explains one line of a file of the run, or all lines when `number` is 0.
std::vector<LineAnswer> explain_lines(const Pool &pool, const BaseRun &base, const std::string &file, size_t number);

struct DrivenLine {
  std::string file;
  size_t number;
  std::string text;
};

// The lines that change or disappear when the setting at the path, or one below it, changes.
std::vector<DrivenLine> driven_lines(const Pool &pool, const std::vector<BaseRun> &runs, const std::string &path);

// The lines that a change adds, and the new content of those that it changes.
struct NewLines {
  Change change;
  std::vector<DrivenLine> lines;
};
std::vector<NewLines> lines_of_changes(const Pool &pool, const std::vector<BaseRun> &runs,
                                       const std::vector<Change> &changes);

// Changes after which a setting, or one below it, has an effect. Each element is one way; the likeliest is first.
struct Ways {
  std::vector<std::vector<Change>> ways;
  std::vector<std::string> messages;  // of the runs, about the entry that the setting lies in
};

// Finds the ways of each of these settings, which have no effect and are in document order. The ways of a single
// setting have up to three changes; several settings share runs, and their ways have one change.
std::vector<Ways> find_ways(const Pool &pool, const std::vector<BaseRun> &runs,
                            const std::vector<const Setting *> &settings);

// The settings that change nothing in any file. When a whole object has no effect, only the object is listed.
std::vector<const Setting *> unused_settings(const Pool &pool, const std::vector<BaseRun> &runs);

#endif
