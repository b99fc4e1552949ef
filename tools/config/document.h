// A configuration file with the offsets of its values and names. Edits use these offsets to leave every other byte of
// the file as it is.
#ifndef TESSERA_TOOLS_CONFIG_DOCUMENT_H
#define TESSERA_TOOLS_CONFIG_DOCUMENT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "config/schema.h"

// A value of the document. The numbers are offsets in the content; each end is the offset after the last byte.
struct Value {
  enum class Type { literal, string, object, array };
  Type type = Type::literal;
  size_t start = 0;     // of the member's name; for elements and the root the same as `begin`
  size_t name_end = 0;  // 0 for elements and the root
  size_t begin = 0;
  size_t end = 0;
  std::string name;    // of a member, without escapes
  std::string string;  // of a string, without escapes
  std::vector<Value> children;

  bool nests() const { return type == Type::object || type == Type::array; }
};

// Parses the content. Returns false when it is not JSON, or has more levels of nesting than the loader accepts.
bool parse(std::string_view content, Value *root);

// The row of the table of keys for a value, and its kind. For an entry of a map or an element of an array, `key` is the
// row of the map or array.
struct Place {
  const SchemaKey *key = &described_schema;
  Kind kind = Kind::object;

  bool is_list() const { return kind == Kind::array; }
};

// The place of a member, entry or element below `place`; its kind is Kind::ignored when the table has no such key.
Place place_below(const Place &place, std::string_view name);

// Splits a dotted path such as "network.route.static.0", or a reference such as "/network/device/eth0". The path "" of
// the root has no components.
std::vector<std::string> components_of(std::string_view path);

// The child with that name or index; null when there is none. Sets `twice` when two members have the name.
const Value *child_of(const Value &value, const std::string &name, bool *twice);

// ", did you mean 'NAME'?" for the most similar name, "" when none is similar.
std::string suggestion(const std::string &name, const std::vector<std::string> &names);

// The names below a place: all members that the table of keys has, or the entries or indices in the document. `value`
// is null when the document has nothing at the place.
std::vector<std::string> names_below(const Place &place, const Value *value);

// The string in JSON.
std::string quoted(std::string_view string);

#endif
