// Changes the content of a document, and leaves every other byte as it is.
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

// The content after the splices, which do not overlap and are in the order of their offsets.
std::string spliced(const std::string &content, const std::vector<Splice> &splices);

// A child to add, and the containers inside it, each with one child. `names` are the names from the outermost child to
// the innermost, "+" for an element of an array; `json` is the innermost value.
struct Addition {
  std::vector<std::string> names;
  std::string json;
};

// Each returns the content after one change. `root` is the document parsed from `content`, `parent` a container in it,
// and `around` the container that holds the parent, or null.
//
// Replaces a value. A new value of several lines gets the indentation of its place.
std::string with_value(const std::string &content, const Value &value, const std::string &json);

// Adds a child at `index`, with the spaces, line ends and indentation of its neighbours.
std::string with_child(const std::string &content, const Value &root, const Value *around, const Value &parent,
                       size_t index, const Addition &addition);

// Removes the child at `index`. The opposite of with_child.
std::string without_child(const std::string &content, const Value &parent, size_t index);

#endif
