// The configuration and the facts of one setup as the explanations see them: settings by path, each with its place in
// the file, and changed copies of the whole.
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

// A value of the document, or a fact of the runtime store.
struct Setting {
  std::string path;
  bool is_fact;
  bool is_leaf;       // a string, number or boolean; else an object or array
  bool is_entry;      // an object whose name its user chose
  std::string value;  // "" for what is no leaf
  std::string json;   // the same as JSON
  unsigned line;      // where the value stands in the file; 0 for facts
  unsigned column;
  const Value *node;  // in Setup::root; null for facts
};

// One change of the setup: a setting gets another value, is removed, or is renamed.
struct Change {
  std::string path;  // an element "+" is a new one
  bool is_fact;
  enum Kind { changed, removed, renamed } kind;
  std::string value;  // of a fact its string, of a setting its JSON text; of a rename the new name

  bool operator==(const Change &) const = default;
};

struct Setup {
  std::string config_name;  // as the user gave it
  std::string facts_name;
  std::string text;  // of the configuration, as its file holds it
  Value root;        // what the text holds
  Facts facts;
  std::vector<Setting> settings;                         // in document order; facts behind them
  std::map<std::pair<std::string, bool>, size_t> index;  // of the settings by path, facts apart
  std::set<std::string> values;                          // of all settings
  std::set<std::string> entry_names;                     // of all entries of maps
};

// True for the path of `top` itself and for what lies below it.
bool lies_in(const std::string &path, const std::string &top);

// The path with "*" in place of the names that users chose and of indexes: alike settings have it in common.
std::string pattern_of(const Setup &setup, const std::string &path);

// The innermost entry or element that the path is of or lies in; "" where there is none.
std::string owner_of(const Setup &setup, const std::string &path);

// The last of the names that a path is made of.
std::string last_name(const std::string &path);

// What the schema says about a path; of the kind `ignored` for one that it does not know. An element of an array or an
// entry of a map has the kind of the elements.
SchemaKey schema_at(const std::string &path);

// Reads the configuration and the facts, each once. Prints why one is refused and gives nothing then.
std::optional<Setup> read_setup(const std::string &config_file, const std::string &facts_file);

// Why tessera refuses a configuration with that content, as "LINE:COLUMN: PATH: MESSAGE"; "" when it does not.
std::string why_refused(const std::string &config);

// The setting at a path, or the fact of that key; null where the setup has none.
const Setting *find_setting(const Setup &setup, const std::string &path, bool is_fact = false);

// Why a path leads nowhere, with the nearest name; "" for what the document has, and for keys that it leaves out.
std::string why_unknown(const Setup &setup, const std::string &path);

// The value in the document at a path; null when there is none.
const Value *value_at(const Setup &setup, const std::string &path);

// The configuration and the facts after the changes, in order. False when a change does not apply.
bool apply_changes(const Setup &setup, const std::vector<Change> &changes, std::string &config, Facts &facts);

// The facts as a flat JSON object.
std::string facts_text(const Facts &facts);

#endif
