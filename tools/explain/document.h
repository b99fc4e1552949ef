// The configuration and the facts of a router: settings by path, each with its line and column, and changed copies of
// the whole.
#ifndef TESSERA_EXPLAIN_DOCUMENT_H
#define TESSERA_EXPLAIN_DOCUMENT_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "config/schema.h"
#include "tools/config/document.h"

using Facts = std::map<std::string, std::string>;

// A value of the configuration, or a fact of the runtime store.
struct Setting {
  std::string path;
  bool is_fact;
  bool is_leaf;       // a string, number or boolean; else an object or array
  bool is_entry;      // an object in a map, whose name the user chose
  std::string value;  // of a leaf; else ""
  std::string json;   // the same as JSON
  unsigned line;      // of the value in the file; 0 for facts
  unsigned column;
  const Value *node;  // in Setup::root; null for facts
};

// One change of the setup: a setting gets another value, is removed, or gets another name.
struct Change {
  std::string path;  // "+" is the index of a new element
  bool is_fact;
  enum Kind { changed, removed, renamed } kind;
  std::string value;  // the string of a fact, the JSON of a setting, or the new name

  bool operator==(const Change &) const = default;
};

struct Setup {
  std::string config_name;  // as the user gave it
  std::string facts_name;
  std::string content;  // of the configuration file
  Value root;           // of the content
  Facts facts;
  std::vector<Setting> settings;                         // in document order, then the facts
  std::map<std::pair<std::string, bool>, size_t> index;  // of the settings by path, facts apart
  std::set<std::string> values;                          // of all settings
  std::set<std::string> entry_names;                     // of all entries of maps
};

// True for the path `top` itself and for the paths below it.
bool lies_in(const std::string &path, const std::string &top);

// Returns the path with "*" in place of the names of entries and of indexes. Alike settings have the same pattern.
std::string pattern_of(const Setup &setup, const std::string &path);

// The path of the innermost entry or element that the path names or lies in; "" when there is none.
std::string owner_of(const Setup &setup, const std::string &path);

// The last name of a path.
std::string last_name(const std::string &path);

// What the schema says about a path. The kind is `ignored` when the schema does not know the path, and that of the
// elements for an element of an array or an entry of a map.
SchemaKey schema_at(const std::string &path);

// Reads the configuration and the facts, each once. When one is refused, prints why and returns nothing.
std::optional<Setup> read_setup(const std::string &config_file, const std::string &facts_file);

// Returns why tessera refuses a configuration with that content, as "LINE:COLUMN: PATH: MESSAGE"; "" when it does not.
std::string why_refused(const std::string &config);

// Returns the setting at a path, or the fact with that key; null when the setup has none.
const Setting *find_setting(const Setup &setup, const std::string &path, bool is_fact = false);

// Returns why a path leads nowhere, with the most similar name; "" for a value that the configuration has, and for a
// key that it leaves out.
std::string why_unknown(const Setup &setup, const std::string &path);

// Returns the value of the configuration at a path; null when there is none.
const Value *value_at(const Setup &setup, const std::string &path);

// Stores the configuration and the facts after the changes, which are made in order. Returns false when a change cannot
// be made.
bool apply_changes(const Setup &setup, const std::vector<Change> &changes, std::string &config, Facts &facts);

// Returns the facts as a flat JSON object.
std::string facts_text(const Facts &facts);

#endif
