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
  ignored,  // any value of an unknown key
  object,   // fixed members
  map,      // entries named by the user: objects with the same members
  array,
  string,
  boolean,
  integer,
  number,
  duration,
  reference,
};

// The effect of strings that are not among the words listed for a key.
enum class OtherWords : uint8_t {
  useless,   // none: the writers compare the string with the words
  doubtful,  // the daemon that gets the string may know it, or the description says what happens
  usual,     // most documents hold other strings; the words have a special meaning
};

// The string that the tree holds when a key is not written.
enum class Fallback : uint8_t { none, empty, wlan };

// The map whose entries a string names; several names have spaces between them.
enum class NamesOf : uint8_t { nothing, interfaces, modems, scep_clients, tunnels };

struct SchemaKey {
  const char *name = "";  // "" for the root
  // Of an object, of each entry of a map, or of each object in an array; see members_of.
  const SchemaKey *members = nullptr;
  uint8_t member_count = 0;
  Kind kind = Kind::ignored;     // of the value
  Kind element = Kind::ignored;  // of the entries of a map (object) or the elements of an array
  OtherWords others = OtherWords::useless;

  bool many_lines : 1 = false;      // a string that may hold tabs and line ends
  bool secret : 1 = false;          // a string that is not shown to people
  bool device : 1 = false;          // a map: its entries are devices; a reference: it must name a device
  bool interface_name : 1 = false;  // a reference by the bare name of an entry of network.interface
  bool hyphen : 1 = false;          // a map whose entry names may hold '-'
  bool has_fallbacks : 1 = false;   // some member has a fallback

  NamesOf names = NamesOf::nothing;
  Fallback fallback = Fallback::none;

  int32_t low = INT32_MIN;  // the range of integers that make sense; 0 is also the value of a key that is not written
  int32_t high = INT32_MAX;

  // Strings for people. All are null in `schema`.
  const char *description = nullptr;  // of all keys but the root
  const char *words = nullptr;        // the known strings, separated by spaces; null when none are listed
};

// The root of the document. The two tables are the same, except that only the second has the strings for people. They
// take 40 KB, which a program that does not show them does not need.
extern const SchemaKey schema;
extern const SchemaKey described_schema;

inline constexpr size_t most_members = 64;

// The members of an object, of each entry of a map, or of each object in an array.
inline std::span<const SchemaKey> members_of(const SchemaKey &key) {
  return {key.members, key.member_count};
}

// The member of that name; null when there is none. For a map or an array of objects, the member of its entries or
// elements.
const SchemaKey *schema_member(const SchemaKey &key, std::string_view name);

// The key at the dotted `path` below `key`, without names of entries and indexes; null when there is none.
const SchemaKey *schema_key_at(const SchemaKey &key, std::string_view path);

// The string that the tree holds when the key is not written; null when it holds none.
const char *fallback_of(const SchemaKey &key);

// The path of the map; "" for NamesOf::nothing.
const char *map_of_names(NamesOf names);

// The description of a key, followed by the form of its value; "" for a key without description.
std::string schema_description(const SchemaKey &key);

#endif
