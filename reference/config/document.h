// A loaded document: its text, and its nodes in flat storage.
//
// The members of an object, the entries of a map and the elements of an array lie side by side in document order, so
// the n-th is found by counting and the next one is the next. A block header stands before the first of them and knows
// what they share: their parent and, for large maps, an index of the names. Texts and names are borrowed from the
// document's text, into which the parser writes their ends.
#ifndef TESSERA_REFERENCE_CONFIG_DOCUMENT_H
#define TESSERA_REFERENCE_CONFIG_DOCUMENT_H

#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/characters.h"
#include "config/report.h"
#include "config/schema.h"
#include "util/memory.h"

struct Document;

enum NodeFlag : uint8_t {
  node_broken = 1,  // stands for a value that is refused, or a reference that names nothing: that has been reported
  node_nests = 2,   // has children
};

struct ConfigNode {
  union Value {
    struct {
      uint32_t back;  // how many cells before this one the first child lies
      uint32_t count;
    } children;        // object, map, array
    const char *text;  // string, reference
    bool boolean;
    int32_t integer;
    double number;
    int64_t milliseconds;
  };

  uint32_t position;  // of the value in the document's text, for messages
  uint32_t link;      // map entry: where its name lies in the text; reference: cell of the node it names; else 0
  uint32_t index;     // among its siblings
  Kind kind;
  uint8_t flags;
  const SchemaKey *key;  // entries of maps and elements of arrays have that of the map or array
  Value value;
};

struct BlockHeader {
  Document *document;
  uint32_t count;       // of nodes in the block
  uint32_t parent;      // how many cells behind the header it lies; 0 above the root
  uint32_t name_index;  // map of many entries: where its index lies in Document::name_indexes; else 0
};

union Cell {
  ConfigNode node;
  BlockHeader header;
};

// A growing array of plain data. What it holds moves when it grows.
template <typename T>
struct Growing {
  std::unique_ptr<T, void (*)(void *)> data{nullptr, free};
  uint32_t used = 0;
  uint32_t room = 0;

  void reserve(size_t wanted) {
    // Storage for a document of the largest size stays far below 2^32 elements.
    auto *moved = static_cast<T *>(realloc(static_cast<void *>(data.get()), wanted * sizeof(T)));
    if (moved == nullptr) end_without_memory();
    (void)data.release();
    data.reset(moved);
    room = static_cast<uint32_t>(wanted);
  }

  T *add(uint32_t count = 1) {
    if (room - used < count) [[unlikely]]
      reserve(size_t{used} + count + used / 2 + 16);
    used += count;
    return data.get() + used - count;
  }
};

// Where a position lies: the last answer is kept, because findings mostly come in document order.
struct Place {
  uint32_t position = 0;
  uint32_t line_start = 0;
  unsigned line = 1;
};

struct Document {
  const SchemaKey *schema = nullptr;
  std::string file;
  std::unique_ptr<char, void (*)(void *)> text{nullptr, free};
  uint32_t size = 0;
  Growing<Cell> cells;
  Growing<uint32_t> name_indexes;
  uint32_t root = 0;

  std::vector<Finding> *findings = nullptr;  // null in a run: findings are logged
  bool refused = false;
  bool accepted = false;      // nothing can refuse the document any more
  std::vector<Finding> held;  // in a run, until the document is accepted: a refused one gets its one message only
  uint32_t file_size = 0;
  std::vector<uint32_t> line_starts;  // empty until a finding needs them

  std::map<const ConfigNode *, std::string> dumps;
};

// Bytes past the end of the text that may be read (and hold 0), for reading in words and vectors.
inline constexpr size_t text_padding = 64;

inline const Cell *cell_at(const ConfigNode *node) {
  return reinterpret_cast<const Cell *>(node);
}

inline const BlockHeader &header_of(const ConfigNode *node) {
  return (cell_at(node) - node->index - 1)->header;
}

// The number of the cell that the node stands in.
inline uint32_t cell_number(const ConfigNode *node) {
  return static_cast<uint32_t>(cell_at(node) - header_of(node).document->cells.data.get());
}

inline const ConfigNode *node_at(const Document &document, uint32_t cell) {
  return &document.cells.data.get()[cell].node;
}

// The n-th child, of which there have to be more.
inline const ConfigNode *nth_child(const ConfigNode *node, uint32_t index) {
  return &(cell_at(node) - node->value.children.back + index)->node;
}

// The name of a map entry or of an object's member; "" for elements of arrays and the root.
inline const char *name_of(const Document &document, const ConfigNode *node) {
  if (node->kind == Kind::object && node->link != 0) return document.text.get() + node->link;
  return node->kind == node->key->kind ? node->key->name : "";
}

// Maps of more entries than this have an index of their names.
inline constexpr uint32_t small_map = 8;

// The size of such an index: a power of two with room to spare.
inline uint32_t name_index_size(uint32_t count) {
  uint32_t size = 4 * small_map;
  while (size < 2 * count) size *= 2;
  return size;
}

inline uint32_t name_hash(const char *name, size_t length) {
  uint32_t hash = 2166136261U;
  for (size_t i = 0; i < length; i++) hash = (hash ^ static_cast<unsigned char>(name[i])) * 16777619U;
  return hash ^ hash >> 15;
}

// The node that a reference of the form "/network/device/eth1" names; null when there is none.
const ConfigNode *find_by_reference(const ConfigNode *root, const char *text);

// Makes every reference point at the node that it names; those that name nothing become unset and are reported.
// `references` are the cells of all that are set.
void resolve_references(Document &document, const Growing<uint32_t> &references);

// Reports a finding at a place of the document (no_position: about the document as a whole).
void report_at(Document &document, Grade grade, uint32_t position, const std::string &path, const char *format, ...)
    __attribute__((format(printf, 5, 6)));
void report_list(Document &document, Grade grade, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) __attribute__((format(printf, 5, 0)));

// Ends the load of a document that is not refused: what was held back in a run is logged.
void accept_document(Document &document);

// Appends one component to a dotted path.
void append_component(std::string &path, const std::string &component);

// Reads a file into memory with `padding` zero bytes behind it. Null after filling `problem` when that fails.
char *read_padded(const char *path, size_t padding, uint32_t *size, std::string *problem);

#endif
