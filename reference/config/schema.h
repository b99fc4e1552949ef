// Every key of the configuration document with its type: the only list of keys. The loader, the getters, the checker,
// the JSON Schema, the manual and the tools read it. The files in keys/ declare it.
#ifndef TESSERA_REFERENCE_CONFIG_SCHEMA_H
#define TESSERA_REFERENCE_CONFIG_SCHEMA_H

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <string_view>

enum class Kind : uint8_t {
  ignored,  // what lies below an unknown key
  object,   // fixed members
  map,      // entries named by the user: objects of one shape
  array,
  string,
  boolean,
  integer,
  number,
  duration,
  reference,
};

// What strings do that are not among the words listed for a key.
enum class OtherWords : uint8_t {
  useless,   // nothing: the writers compare with the words
  doubtful,  // go to a daemon that may know them, or do what the description says
  usual,     // what most documents hold: the words have a meaning of their own
};

// The map whose entries a string names, with spaces between several.
enum class NamesOf : uint8_t { nothing, interfaces, modems, scep_clients, tunnels };

struct SchemaKey {
  const char *name = "";  // of the root ""
  // Of an object, of each entry of a map, or of each object in an array; see members_of.
  const SchemaKey *members = nullptr;
  uint8_t member_count = 0;
  Kind kind = Kind::ignored;     // of the value
  Kind element = Kind::ignored;  // of the entries of a map (object) or the elements of an array
  OtherWords others = OtherWords::useless;

  bool many_lines : 1 = false;      // a string that may hold tabs and line ends
  bool secret : 1 = false;          // a string that is not shown to people
  bool device : 1 = false;          // a map: its entries are devices; a reference: has to name one
  bool interface_name : 1 = false;  // a reference by the bare name of an entry of network.interface
  bool hyphen : 1 = false;          // a map whose entry names may hold '-'
  bool has_fallbacks : 1 = false;   // some member has a fallback

  NamesOf names = NamesOf::nothing;

  int32_t low = INT32_MIN;  // the integers that make sense; all by default. 0 also stands for a key that is not written
  int32_t high = INT32_MAX;

  const char *fallback = nullptr;  // the string that is held when the document does not; null for all other keys

  // Strings for people. All are null in `schema`.
  const char *description = nullptr;  // of all keys but the root
  const char *unit = nullptr;         // of integers that count something, else null
  const char *words = nullptr;        // the known strings, separated by spaces; null when none are listed
  const char *example = nullptr;      // a value in JSON, or null
};

// The root of the document. Both are the same table; only the second has the strings for people. A program that does
// not show them does without their 40 KB.
extern const SchemaKey schema;
extern const SchemaKey described_schema;

inline constexpr size_t most_members = 64;

inline std::span<const SchemaKey> members_of(const SchemaKey &key) {
  return {key.members, key.member_count};
}

// The member of that name; null when there is none. Of a map and of an array of objects it is a member of the entries
// and elements.
const SchemaKey *schema_member(const SchemaKey &key, std::string_view name);

// The key at the dotted `path` below a value of `key`; null when there is none.
const SchemaKey *schema_key_at(const SchemaKey &key, std::string_view path);

// The path of that map; "" of nothing.
const char *map_of_names(NamesOf names);

// The description of a key with what its kind and unit add to it; empty where the key has none.
std::string schema_description(const SchemaKey &key);

#endif
