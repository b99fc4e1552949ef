// A loaded document: the content of its file, and the tree of its nodes.
//
// Strings and names of the nodes point into the content: the parser unescapes them there and ends them with zero bytes.
#ifndef TESSERA_REFERENCE_CONFIG_DOCUMENT_H
#define TESSERA_REFERENCE_CONFIG_DOCUMENT_H

#include <stdarg.h>
#include <stdint.h>

#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/characters.h"
#include "config/report.h"
#include "config/schema.h"

struct Document;
struct Container;

struct ConfigNode {
  union Value {
    const char *string;  // string, reference
    bool boolean;
    int32_t integer;
    double number;
    int64_t milliseconds;
    Container *container;  // object, map, array: owned by the document
  };

  const SchemaKey *key;      // for an entry or element, the key of its map or array
  const char *name;          // within the object or map; "" for elements of arrays and the root
  const ConfigNode *parent;  // null for the root
  Value value;
  uint32_t position;  // of the value in the file, for messages
  Kind kind;
  bool broken;  // a refused value or a reference to nothing: a finding has been reported
};

// What an object, a map or an array holds.
struct Container {
  Document *document;
  uint32_t first_child_id;           // the children have consecutive numbers
  std::vector<ConfigNode> children;  // in document order
};

// A map and the name of an entry.
using EntryName = std::pair<const Container *, std::string_view>;

// The functions that make cures for a value of the wrong kind and for a reference to nothing. They return "" when the
// cure of the rule is enough. A run does not need them, so they are not linked into tessera.
struct Cures {
  std::string (*of_type)(const SchemaKey &key, Kind kind);
  std::string (*of_reference)(const ConfigNode *root, const SchemaKey &key, const char *written);
};
extern const Cures cures;

// The cure for a string that names no entry of the map: the entry that the last part of a path names, or one whose name
// is close; "" for none. A null map has no entries.
std::string cure_of_name(const ConfigNode *map, const char *written);

struct Document {
  const SchemaKey *schema = nullptr;
  std::string file;
  std::string content;
  ConfigNode root = {};
  uint32_t root_id = 0;
  std::deque<Container> containers;                          // of all objects, maps and arrays
  std::map<EntryName, const ConfigNode *> entries;           // of all maps
  std::map<const ConfigNode *, const ConfigNode *> targets;  // of the references that are set
  std::map<const ConfigNode *, std::string> dumps;           // the results of config_dump

  std::vector<Finding> *findings = nullptr;  // of a check; null in a run, which logs its findings
  const Cures *cures = nullptr;              // of a check; null in a run
  bool refused = false;
  bool accepted = false;        // the document cannot be refused any more
  std::vector<Finding> held;    // in a run, findings not yet logged: a refused document gets only one message
  FindingCounts counts;         // the number of findings of each rule
  unsigned most = most_listed;  // in a check, the number of findings of a rule that are listed
  bool in_lan_mode = false;     // the present findings only matter while the runtime fact hybrid.lanmode is true
  std::optional<std::string> original;  // see original_content
  std::vector<uint32_t> line_starts;    // positions in `original`; empty until a finding needs them
};

inline bool is_container(Kind kind) {
  return kind == Kind::object || kind == Kind::map || kind == Kind::array;
}

// The children of an object, map or array; none for other nodes.
inline std::span<const ConfigNode> children_of(const ConfigNode *node) {
  if (!is_container(node->kind)) return {};
  return node->value.container->children;
}

inline Document &document_of(const ConfigNode *node) {
  const ConfigNode *container = node->parent != nullptr ? node->parent : node;
  return *container->value.container->document;
}

// The index of a node among its siblings; 0 for the root.
inline size_t index_of(const ConfigNode *node) {
  return node->parent != nullptr ? static_cast<size_t>(node - children_of(node->parent).data()) : 0;
}

// Parses the document's content and builds its tree. False when there is no tree: in a run after any refused finding,
// in a check only when the rest of the content cannot be parsed.
bool parse_document(Document &document);

// The node that a reference of the form "/network/device/eth1" names; null when there is none.
const ConfigNode *find_by_reference(const ConfigNode *root, const char *string);

// Finds the targets of references. Reports references to nothing and makes them unset: their string becomes "".
// `references` holds all references that are set.
void resolve_references(Document &document, const std::vector<ConfigNode *> &references);

// The content of the file before the parser changed it. A run reads the file again when a finding first needs this; ""
// if that fails, for example because the file was a pipe.
const std::string &original_content(Document &document);

// The texts of a finding; `outcome` and `cure` may be empty, as in Finding.
struct FindingWords {
  std::string message;
  std::string outcome = {};
  std::string cure = {};
};

// Report a finding at a position in the document, or at no_position for the document as a whole.
void report_words(Document &document, Rule rule, uint32_t position, const std::string &path, FindingWords words);
void report_at(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format, ...)
    __attribute__((format(printf, 5, 6)));
void report_list(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) __attribute__((format(printf, 5, 0)));

// Logs at the end of a run how many more findings of each rule there were than have been logged.
void report_unlogged(const Document &document);

// Marks a document as accepted when its load is over, and logs the findings that a run has held back.
void accept_document(Document &document);

// Appends one component to a dotted path.
void append_component(std::string &path, const std::string &component);

// Appends a file of at most 256 MiB to `content`. False, with a message in `problem`, when that fails.
bool read_file(const char *path, std::string *content, std::string *problem);

#endif
