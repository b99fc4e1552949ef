// A loaded document: the content of its file, and the tree of its nodes.
//
// Strings and names are borrowed from the content, into which the parser writes their ends.
#ifndef TESSERA_REFERENCE_CONFIG_DOCUMENT_H
#define TESSERA_REFERENCE_CONFIG_DOCUMENT_H

#include <stdarg.h>
#include <stdint.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/characters.h"
#include "config/report.h"
#include "config/schema.h"

struct Document;

struct ConfigNode {
  union Value {
    const char *string;  // string, reference
    bool boolean;
    int32_t integer;
    double number;
    int64_t milliseconds;
    uint32_t first_child_id;  // object, map, array: the children have consecutive numbers
  };

  const SchemaKey *key;              // entries of maps and elements of arrays have that of the map or array
  const char *name;                  // within the object or map; "" for elements of arrays and the root
  const ConfigNode *parent;          // null for the root
  std::vector<ConfigNode> children;  // object, map, array: in document order
  Value value;
  union {
    const ConfigNode *target;  // of a reference: the node that it names; null when it is unset
    Document *document;        // of the root
  };
  uint32_t position;  // of the value in the file, for messages
  Kind kind;
  bool broken;  // stands for a refused value, or is a reference that names nothing: that has been reported
};

// The name of an entry of a map, and the first entry of that map.
using EntryName = std::pair<const ConfigNode *, std::string_view>;

struct Document {
  ~Document();

  const SchemaKey *schema = nullptr;
  std::string file;
  std::string content;
  ConfigNode root = {};
  uint32_t root_id = 0;
  std::map<EntryName, const ConfigNode *> entries;
  std::map<const ConfigNode *, std::string> dumps;

  std::vector<Finding> *findings = nullptr;  // null in a run: findings are logged
  bool refused = false;
  bool accepted = false;            // nothing can refuse the document any more
  std::vector<Finding> held;        // in a run, until the document is accepted: a refused one gets its one message only
  std::map<Rule, unsigned> counts;  // in a run, of findings by their rule
  std::optional<std::string> original;  // see original_content
  std::vector<uint32_t> line_starts;    // in it; empty until a finding needs them
};

inline Document &document_of(const ConfigNode *node) {
  while (node->parent != nullptr) node = node->parent;
  return *node->document;
}

// The number of a node among its siblings; 0 for the root.
inline size_t index_of(const ConfigNode *node) {
  return node->parent != nullptr ? static_cast<size_t>(node - node->parent->children.data()) : 0;
}

// Reads the document's content into its tree. False when there is no tree: in a run after any refused finding, in a
// check only when the rest of the content could not be made out.
bool parse_document(Document &document);

// The node that a reference of the form "/network/device/eth1" names; null when there is none.
const ConfigNode *find_by_reference(const ConfigNode *root, const char *string);

// Makes every reference point at the node that it names; those that name nothing become unset and are reported.
// `references` are all that are set.
void resolve_references(Document &document, const std::vector<ConfigNode *> &references);

// The content of the file as it was before the parser wrote into it, read anew when a finding needs it for the first
// time; "" when the file is gone, or was a pipe.
const std::string &original_content(Document &document);

// Reports a finding at a place of the document (no_position: about the document as a whole).
void report_at(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format, ...)
    __attribute__((format(printf, 5, 6)));
void report_list(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) __attribute__((format(printf, 5, 0)));

// Logs, at the end of a run, how many findings it has not logged.
void report_unlogged(const Document &document);

// Ends the load of a document that is not refused: what was held back in a run is logged.
void accept_document(Document &document);

// Appends one component to a dotted path.
void append_component(std::string &path, const std::string &component);

// Reads a file of at most 256 MiB into `content`. False after filling `problem` when that fails.
bool read_file(const char *path, std::string *content, std::string *problem);

#endif
