// A configuration file as it is written: where its values, names and spaces are. Edits change the file by these places,
// and leave every other byte as it is.
#ifndef TESSERA_TOOLS_CONFIG_DOCUMENT_H
#define TESSERA_TOOLS_CONFIG_DOCUMENT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "config/schema.h"

// A value of the document; its places are offsets in the content.
struct Value {
  enum class Type { literal, string, object, array };
  Type type = Type::literal;
  size_t start = 0;  // of the member's name; of elements and the root as `begin`
  size_t name_end = 0;
  size_t begin = 0;
  size_t end = 0;
  std::string name;    // of a member, without escapes
  std::string string;  // of a string, without escapes
  std::vector<Value> children;

  bool nests() const { return type == Type::object || type == Type::array; }
};

// Reads the whole content; false when it is not JSON, or nested deeper than the loader accepts.
bool parse(std::string_view content, Value *root);

// What the schema says about a value. Of an entry of a map and of an element of an array `key` is that of the map or
// array.
struct Place {
  const SchemaKey *key = &described_schema;
  Kind kind = Kind::object;

  bool is_list() const { return kind == Kind::array; }
};

// The place of a member, entry or element; of Kind::ignored for one that the schema does not know.
Place place_below(const Place &place, std::string_view name);

// A dotted path such as "network.route.static.0", or a reference such as "/network/device/eth0", in its components;
// none, for the root, of "".
std::vector<std::string> components_of(std::string_view path);

// The child with that name or index; null when there is none. `twice` is set when two members have the name.
const Value *child_of(const Value &value, const std::string &name, bool *twice);

// ", did you mean 'NAME'?" for the most similar name, "" when none is similar.
std::string suggestion(const std::string &name, const std::vector<std::string> &names);

// The names below a place: members by the schema, entries and indices by the document; `value` is null where nothing is
// written.
std::vector<std::string> names_below(const Place &place, const Value *value);

// The string in JSON.
std::string quoted(std::string_view string);

#endif
