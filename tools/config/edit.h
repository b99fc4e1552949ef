// Edits of a document.
#ifndef TESSERA_TOOLS_CONFIG_EDIT_H
#define TESSERA_TOOLS_CONFIG_EDIT_H

#include <string>

#include "tools/config/document.h"

// One edit as it was asked for.
struct Edit {
  std::string command;  // set, unset or rename
  std::string path;
  std::string value;    // the new value or name
  bool json = false;    // the value is JSON
  bool create = false;  // entries of maps that are missing are made
  bool brief = false;   // of the facts that have the old name, the first is told
};

// What became of it.
struct Edited {
  std::string content;  // the new content
  std::string problem;  // why there is none; "" when there is
  std::string notes;    // what the user should know: lines
};

// A value with what leads to it.
struct Found {
  const Value *value = nullptr;   // null when the path leads on to what is not written
  const Value *parent = nullptr;  // the last container that is written; null for the root
  const Value *around = nullptr;  // the container that holds the parent
  Place place = {};               // of the value
  Place parent_place = {};
  size_t index = 0;  // of the value in the parent
};

// Follows the path as far as it is written. False after filling `problem`, when the schema and the document know no
// such name or the document has the name twice. `depth` is the number of components that lead to the parent.
bool find(const Value &root, const std::vector<std::string> &names, Found *found, size_t *depth, std::string *problem);

// What to say about a path that `find` could not follow to its end.
std::string why_missing(const std::vector<std::string> &names, const Found &found, size_t depth);

Edited set_value(const std::string &content, const Value &root, const Edit &edit);
Edited unset_value(const std::string &content, const Value &root, const Edit &edit);
Edited rename_entry(const std::string &content, const Value &root, const Edit &edit);

#endif
