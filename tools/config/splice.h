// Changes of a document's content that leave every other byte as it is.
#ifndef TESSERA_TOOLS_CONFIG_SPLICE_H
#define TESSERA_TOOLS_CONFIG_SPLICE_H

#include <string>
#include <vector>

#include "tools/config/document.h"

// `text` replaces the bytes from `from` to `to`.
struct Splice {
  size_t from;
  size_t to;
  std::string text;
};

// The content after the splices, which do not overlap and are in the order of their places.
std::string spliced(const std::string &content, const std::vector<Splice> &splices);

// A child that a document does not have yet, with the containers to make inside: the name of the child, then of the
// only child inside, and so on; "+" is an element of an array. `json` is the innermost value.
struct Addition {
  std::vector<std::string> names;
  std::string json;
};

// Each gives the content after one change. `root` is the document in `content`, `parent` a container in it, and
// `around` the container that holds the parent, or null.
//
// The value of several lines is indented as its new place is.
std::string with_value(const std::string &content, const Value &value, const std::string &json);

// The addition becomes child number `index` and takes the spaces, line ends and indentation of its neighbours.
std::string with_child(const std::string &content, const Value &root, const Value *around, const Value &parent,
                       size_t index, const Addition &addition);

// Undoes with_child.
std::string without_child(const std::string &content, const Value &parent, size_t index);

#endif
