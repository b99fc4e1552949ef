// The configuration and the facts of one setup as the explanations see them: settings by path, each with its place in
// the file, and changed copies of the whole.
#ifndef TESSERA_EXPLAIN_DOCUMENT_H
#define TESSERA_EXPLAIN_DOCUMENT_H

#include <rapidjson/document.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "config/schema.h"

using Facts = std::map<std::string, std::string>;

// A value of the document, or a fact of the runtime store.
struct Setting {
  std::string path;
  bool is_fact;
  bool is_leaf;       // a string, number or boolean; else an object or array
  bool is_entry;      // an object whose name its user chose
  std::string value;  // as it is shown; "" for what is no leaf
  unsigned line;      // where the value stands in the file; 0 for facts and for what the file does not hold
  unsigned column;
};

// One change of the setup: a setting gets another value, is removed, or is renamed.
struct Change {
  std::string path;
  bool is_fact;
  enum Kind { set, remove, rename } kind;
  std::string value;  // of a fact its string, of a setting its JSON text; of a rename the new name

  bool operator==(const Change &) const = default;
};

// The names that a dotted path is made of.
std::vector<std::string> components(const std::string &path);

// What the schema says about a path; of the kind `ignored` for one that it does not know. An element of an array or an
// entry of a map has the kind of the elements.
SchemaKey schema_at(const std::string &path);

struct Setup {
  std::string config_name;  // as the user gave it
  std::string facts_name;
  std::string text;  // of the configuration, as its file holds it
  rapidjson::Document config;
  Facts facts;
  std::vector<Setting> settings;  // in document order; facts behind them
};

// Reads the configuration and the facts. Prints the findings of a document that is refused and gives nothing then.
std::optional<Setup> read_setup(const std::string &config_file, const std::string &facts_file);

// The setting at a path, null where the document holds none.
const Setting *find_setting(const Setup &setup, const std::string &path);

// The configuration and the facts after the changes, in order; without changes the text as it is. False when a change
// does not apply.
bool apply_changes(const Setup &setup, const std::vector<Change> &changes, std::string &config, Facts &facts);

// The JSON text of a value.
std::string text_of(const rapidjson::Value &value);

// The facts as a flat JSON object.
std::string facts_text(const Facts &facts);

// The value in the document at a dotted path; null when there is none.
const rapidjson::Value *value_at(const rapidjson::Value &root, const std::string &path);

#endif
