// Every key of the configuration document with its type: the one list that the loader, the getters, the checker and the
// JSON Schema go by.
//
// The table is flat and free of pointers, so that it costs a start nothing: no relocation, no constructor.
#ifndef TESSERA_REFERENCE_CONFIG_SCHEMA_H
#define TESSERA_REFERENCE_CONFIG_SCHEMA_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <array>
#include <string>

enum class Kind : uint8_t {
  ignored,  // what stands under an unknown key
  object,   // fixed members
  map,      // entries named by the user, all objects of one shape
  array,
  text,
  boolean,
  integer,
  number,
  duration,
  reference,
};

// What else a row says about its value.
enum RowFlag : uint8_t {
  row_many_lines = 1,      // a text that may hold tabs and line ends
  row_device = 2,          // an object: is a device; a reference: has to name one
  row_interface_name = 4,  // a reference by the bare name of an entry of network.interface
  row_hyphen = 8,          // a map: entry names may hold '-'
  row_always = 16,         // a text that is held even when it is not written
  row_holds_always = 32,   // an object with such a member
};

struct SchemaRow {
  uint16_t name;   // offset in Schema::names; elements of arrays, entries of maps and the root have an empty name
  uint16_t tag;    // schema_tag of the name
  uint16_t child;  // object: its first member; map and array: the element; text held always: offset of its default
  uint8_t count;   // object: how many members follow from `child` on
  Kind kind;
  uint8_t flags;
};

inline constexpr uint16_t schema_ignored = 0;
inline constexpr uint16_t schema_root = 1;

// The tables have a little room to grow; a key too many does not compile.
inline constexpr size_t schema_room = 552;
struct Schema {
  SchemaRow rows[schema_room];
  char names[4608];  // not quite full: they are read in blocks
};
extern const Schema schema;

// What texts do that are none of the words listed for a key.
enum class OtherTexts : uint8_t {
  useless,   // nothing: the writers compare with the words
  doubtful,  // go to a daemon that may know them, or do what the description says
  usual,     // what is mostly written: the words have a meaning of their own
};

// What a row is for, in words. The linker leaves the table out of programs that do not print it, tessera among them.
struct SchemaText {
  const char *description = "";  // of elements of arrays, entries of maps and the root empty
  const char *unit = "";         // of integers that count something
  const char *words = "";        // of texts, and arrays of them, the known ones, separated by blanks
  OtherTexts others = OtherTexts::useless;
};
extern const std::array<SchemaText, schema_room> schema_texts;

// The description of a row with what its kind and unit add to it; empty where the row has none.
std::string schema_description(uint16_t row);

inline const SchemaRow &schema_row(uint16_t row) {
  return schema.rows[row];
}

inline constexpr size_t longest_key = 63;

// Tells most different names apart without looking at them whole. Names of at most longest_key characters.
constexpr uint16_t schema_tag(const char *name, size_t length) {
  return static_cast<uint16_t>(length << 8 | static_cast<unsigned char>(*name));
}

inline const char *schema_name(const SchemaRow &row) {
  return schema.names + row.name;
}

inline bool same_characters(const char *one, const char *other, size_t count) {
  while (count > 0 && one[count - 1] == other[count - 1]) count--;
  return count == 0;
}

// The number of the object's member of that name; row.count for a name that the object does not define. The search
// starts at member number `hint` (at most row.count) and wraps: documents mostly follow the order of the table. Names
// of one length are compared with `same`.
template <typename Same>
inline unsigned schema_member(const SchemaRow &object, const char *name, size_t length, unsigned hint, Same same) {
  unsigned count = object.count;
  if (length > longest_key) return count;
  uint16_t tag = schema_tag(name, length);
  const SchemaRow *members = schema.rows + object.child;
  for (unsigned left = count, i = hint; left > 0; left--, i++) {
    if (i >= count) i = 0;
    if (members[i].tag == tag && same(schema_name(members[i]), name, length)) return i;
  }
  return count;
}

inline unsigned schema_member(const SchemaRow &object, const char *name, size_t length) {
  return schema_member(object, name, length, 0, same_characters);
}

#endif
