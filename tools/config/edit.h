// Edits of a document.
#ifndef TESSERA_TOOLS_CONFIG_EDIT_H
#define TESSERA_TOOLS_CONFIG_EDIT_H

#include <map>
#include <string>

#include "tools/config/document.h"

// One edit of a command line.
struct Edit {
  std::string command;  // set, unset or rename
  std::string path;
  std::string value;    // the new value or name
  bool json = false;    // the value is JSON
  bool create = false;  // missing entries of maps are created
  bool brief = false;   // the notes name only the first fact with the old name
};

// The outcome of an edit.
struct Edited {
  std::string content;  // the new content
  std::string problem;  // why the edit failed; "" when it did not
  std::string notes;    // lines that the user should know
};

// A value and the containers around it.
struct Found {
  const Value *value = nullptr;   // null when the document does not have it
  const Value *parent = nullptr;  // the last container on the path that the document has; null for the root
  const Value *around = nullptr;  // the container that holds the parent
  Place place = {};               // of the value
  Place parent_place = {};
  size_t index = 0;  // of the value in the parent
};

// Follows the path as far as the document goes. Returns false, with `problem` set, when neither the table of keys nor
// the document has such a name, or the document has a name twice. `depth` gets the number of components before the
// parent's child.
bool find(const Value &root, const std::vector<std::string> &names, Found *found, size_t *depth, std::string *problem);

// The message for a path that `find` could not follow to its end.
std::string why_missing(const std::vector<std::string> &names, const Found &found, size_t depth);

// Each makes one edit of the document `root`, which is parsed from `content`.
Edited set_value(const std::string &content, const Value &root, const Edit &edit);
Edited unset_value(const std::string &content, const Value &root, const Edit &edit);
Edited rename_entry(const std::string &content, const Value &root, const Edit &edit);

// The new names of entries of one map by their old names.
using NewNames = std::map<std::string, std::string>;

// The content after several entries of a map got new names, which no entry has and which the map allows. `map` is its
// path; without such a map the content is the same.
std::string rename_entries(const std::string &content, const Value &root, const std::string &map,
                           const NewNames &new_names);

#endif
