// Loading a document: one pass over its text that checks every value against the schema and stores it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>

// The vector forms need no run-time choice: every processor of these kinds has them.
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#elif defined(__ARM_NEON) && defined(__LITTLE_ENDIAN__)
#define RAPIDJSON_NEON
#endif
#include <rapidjson/reader.h>

#include "config/document.h"
#include "platform/tools.h"

namespace {

constexpr unsigned deepest = 64;
constexpr uint32_t largest_file = 256U << 20;
constexpr uint32_t longest_entry_name = 63;

const char *const kind_names[] = {"a value",   "an object",  "an object", "an array",   "a text",
                                  "a boolean", "an integer", "a number",  "a duration", "a text"};

// What the document holds in a place, as the parser tells it.
enum class Found : uint8_t { object, array, text, boolean, integer, fraction, null };
const char *const found_names[] = {
    "an object", "an array", "a text", "a boolean", "an integer", "a number with a fraction or exponent", "null"};

const char *expected_name(const SchemaRow &row) {
  return row.kind == Kind::duration ? "a duration (seconds, or a text such as \"90s\")"
                                    : kind_names[static_cast<unsigned>(row.kind)];
}

struct DurationUnit {
  const char *name;
  int64_t milliseconds;
};
constexpr DurationUnit duration_units[] = {
    {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}, {"w", 604800000}, {nullptr, 0},
};

constexpr uint64_t every_byte(unsigned byte) {
  return byte * (UINT64_MAX / 255);
}

uint64_t word_at(const char *text) {
  uint64_t word;
  memcpy(&word, text, sizeof word);
  return word;
}

// True when a byte of the word is below 0x20 or is 0x7F.
bool word_holds_control(uint64_t word) {
  uint64_t deletes = word ^ every_byte(0x7F);
  uint64_t low = (word - every_byte(0x20)) & ~word;
  uint64_t zero = (deletes - every_byte(1)) & ~deletes;
  return ((low | zero) & every_byte(0x80)) != 0;
}

bool is_control(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

bool holds_control(const char *text, size_t length) {
  size_t at = 0;
  for (; at + sizeof(uint64_t) <= length; at += sizeof(uint64_t)) {
    if (word_holds_control(word_at(text + at))) return true;
  }
  for (; at < length; at++) {
    if (is_control(text[at])) return true;
  }
  return false;
}

bool holds_control_but_lines(const char *text, size_t length) {
  return std::any_of(text, text + length, [](char c) { return is_control(c) && c != '\t' && c != '\n' && c != '\r'; });
}

// The length of the well-formed UTF-8 character at `text`, which starts with a byte over 0x7F; 0 when it is not one. At
// least four bytes may be read.
unsigned utf8_length(const unsigned char *text) {
  auto follows = [text](unsigned at) { return (text[at] & 0xC0) == 0x80; };
  unsigned char first = text[0];
  if (first >= 0xC2 && first <= 0xDF) return follows(1) ? 2 : 0;
  if (first >= 0xE0 && first <= 0xEF) {
    if (!follows(1) || !follows(2)) return 0;
    if (first == 0xE0 && text[1] < 0xA0) return 0;  // could be written shorter
    if (first == 0xED && text[1] > 0x9F) return 0;  // half of a surrogate pair
    return 3;
  }
  if (first >= 0xF0 && first <= 0xF4) {
    if (!follows(1) || !follows(2) || !follows(3)) return 0;
    if (first == 0xF0 && text[1] < 0x90) return 0;
    if (first == 0xF4 && text[1] > 0x8F) return 0;  // past U+10FFFF
    return 4;
  }
  return 0;
}

// Where the first byte that is not UTF-8 stands, from `from` on; no_position when there is none.
uint32_t find_invalid_utf8(const char *text, uint32_t size, uint32_t from) {
  uint32_t at = from;
  while (at < size) {
    while (at + 32 <= size &&
           ((word_at(text + at) | word_at(text + at + 8) | word_at(text + at + 16) | word_at(text + at + 24)) &
            every_byte(0x80)) == 0) {
      at += 32;
    }
    for (uint32_t stop = std::min(size, at + 32); at < stop;) {
      if (static_cast<unsigned char>(text[at]) < 0x80) {
        at++;
        continue;
      }
      unsigned length = utf8_length(reinterpret_cast<const unsigned char *>(text + at));
      if (length == 0) return at;
      at += length;
    }
  }
  return no_position;
}

bool may_stand_in_name(char character, bool hyphen) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_' || (hyphen && character == '-');
}

bool is_entry_name(const char *name, size_t length, bool hyphen) {
  return length >= 1 && length <= longest_entry_name &&
         std::all_of(name, name + length, [hyphen](char c) { return may_stand_in_name(c, hyphen); });
}

// How many single-letter edits (also swaps of neighbours) lie between two names; a large number for long ones.
unsigned edit_distance(const char *from, size_t from_length, const char *to, size_t to_length) {
  constexpr size_t longest = 40;
  if (from_length > longest || to_length > longest) return UINT_MAX;
  unsigned rows[3][longest + 1];
  unsigned *before = rows[0];
  unsigned *last = rows[1];
  unsigned *now = rows[2];
  for (unsigned j = 0; j <= to_length; j++) last[j] = j;
  for (size_t i = 1; i <= from_length; i++) {
    now[0] = static_cast<unsigned>(i);
    for (size_t j = 1; j <= to_length; j++) {
      now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + (from[i - 1] != to[j - 1] ? 1 : 0)});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        now[j] = std::min(now[j], before[j - 2] + 1);
      }
    }
    unsigned *spare = before;
    before = last;
    last = now;
    now = spare;
  }
  return last[to_length];
}

// The member of the object whose name is closest to a misspelt one; null when none is close.
const char *closest_member(const SchemaRow &object, const char *name, size_t length) {
  const char *closest = nullptr;
  unsigned least = static_cast<unsigned>(std::min<size_t>(2, (length + 1) / 3)) + 1;
  for (unsigned i = 0; i < object.count; i++) {
    const char *candidate = schema_name(schema_row(static_cast<uint16_t>(object.child + i)));
    unsigned distance = edit_distance(name, length, candidate, strlen(candidate));
    if (distance < least) {
      least = distance;
      closest = candidate;
    }
  }
  return closest;
}

using Stream = rapidjson::InsituStringStream;

// An object or array that is being read.
struct Frame {
  uint16_t row;        // of the container; schema_ignored below an unknown key
  uint16_t member;     // of the value that comes next
  bool array;          // as written in the document
  bool unknown_names;  // an object with members that the schema does not know
  bool references;     // some child is a reference that is set
  uint32_t position;
  uint32_t name;     // where the name of the current member stands
  uint32_t counted;  // values begun
  uint32_t first;    // of its children on the pending stack
  uint64_t seen;     // members of an object, by their number
};

// Receives the parser's events. Children wait on the pending stack until their container ends, and are then laid down
// side by side.
struct Loader : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Loader> {
  Document &document;
  Stream &stream;
  Growing<ConfigNode> pending;
  Growing<uint32_t> references;
  uint32_t invalid_utf8;
  bool stopped = false;
  unsigned depth = 0;
  Frame frames[deepest + 1];

  Loader(Document &into, Stream &from) : document(into), stream(from), invalid_utf8(0) {
    frames[0] = Frame{.row = schema_ignored,
                      .member = schema_root,
                      .array = false,
                      .unknown_names = false,
                      .references = false,
                      .position = 0,
                      .name = 0,
                      .counted = 0,
                      .first = 0,
                      .seen = 0};
  }

  char *text() { return document.text.get(); }
  Frame &frame() { return frames[depth]; }
  uint32_t offset(const char *in_text) { return static_cast<uint32_t>(in_text - text()); }
  uint32_t here() { return static_cast<uint32_t>(stream.Tell()); }

  // A run is over with the first refused finding; a check goes on.
  bool go_on() const { return !stopped && (!document.refused || document.findings != nullptr); }

  std::string path() {
    std::string path;
    for (unsigned i = 1; i <= depth; i++) {
      const Frame &at = frames[i];
      if (at.array) {
        if (at.counted > 0) append_component(path, std::to_string(at.counted - 1));
      } else if (at.name != 0) {
        append_component(path, printable(text() + at.name));
      }
    }
    return path;
  }

  void refuse(uint32_t position, const char *format, ...) __attribute__((format(printf, 3, 4))) {
    va_list arguments;
    va_start(arguments, format);
    report_list(document, Grade::refused, position, path(), format, arguments);
    va_end(arguments);
  }

  ConfigNode *push(uint16_t row, uint32_t position, uint32_t link = 0) {
    ConfigNode *node = pending.add();
    *node = ConfigNode{.position = position, .link = link, .index = 0, .row = row, .broken = false, .value = {}};
    return node;
  }

  // The name of the value that is read when it is an entry of a map: the schema does not know it.
  uint32_t entry_name() { return schema_row(frame().row).kind == Kind::map ? frame().name : 0; }

  // What stands for a value that is refused, so that a check can go on.
  void push_broken(uint32_t position) {
    uint16_t row = frame().member;
    Kind kind = schema_row(row).kind;
    if (kind == Kind::ignored) return;
    ConfigNode *node = push(row, position, entry_name());
    node->broken = true;
    if (kind == Kind::text || kind == Kind::reference) node->value.text = "";
  }

  void refuse_kind(Found found, uint32_t position) {
    const SchemaRow &row = schema_row(frame().member);
    if (found == Found::null) {
      refuse(position, "null is not allowed, leave the key out instead");
    } else {
      refuse(position, "expected %s, found %s", expected_name(row), found_names[static_cast<unsigned>(found)]);
    }
    push_broken(position);
  }

  // Begins a value that is neither object nor array: its row when it is of a fitting kind; else it has been dealt with.
  const SchemaRow *begin(Found found, uint32_t position) {
    Frame &at = frame();
    at.counted++;
    const SchemaRow &row = schema_row(at.member);
    if (row.kind == Kind::ignored && found != Found::null) return nullptr;
    bool fits = false;
    switch (row.kind) {
      case Kind::text:
      case Kind::reference:
        fits = found == Found::text;
        break;
      case Kind::duration:
        fits = found == Found::text || found == Found::integer;
        break;
      case Kind::boolean:
        fits = found == Found::boolean;
        break;
      case Kind::integer:
        fits = found == Found::integer;
        break;
      case Kind::number:
        fits = found == Found::integer || found == Found::fraction;
        break;
      default:
        break;
    }
    if (fits) return &row;
    refuse_kind(found, position);
    return nullptr;
  }

  bool Null() {
    begin(Found::null, here() - 4);
    return go_on();
  }

  bool Bool(bool value) {
    uint32_t position = here() - (value ? 4 : 5);
    if (begin(Found::boolean, position) != nullptr) push(frame().member, position)->value.boolean = value;
    return go_on();
  }

  bool RawNumber(const char *digits, rapidjson::SizeType length, bool) {
    uint32_t position = offset(digits);
    bool fraction = std::any_of(digits, digits + length, [](char c) { return c == '.' || c == 'e' || c == 'E'; });
    const SchemaRow *row = begin(fraction ? Found::fraction : Found::integer, position);
    if (row == nullptr) return go_on();
    if (row->kind == Kind::number) {
      // What follows the number in the document ends it for strtod too.
      push(frame().member, position)->value.number = strtod(digits, nullptr);
      return true;
    }
    int64_t value = 0;
    for (const char *digit = digits + (*digits == '-'); digit < digits + length && value <= INT32_MAX; digit++) {
      value = value * 10 + (*digit - '0');
    }
    if (*digits == '-') value = -value;
    if (value < INT32_MIN || value > INT32_MAX) {
      refuse(position, "expected %s of -2147483648 to 2147483647",
             row->kind == Kind::integer ? "an integer" : "a duration in seconds");
      push_broken(position);
    } else if (row->kind == Kind::integer) {
      push(frame().member, position)->value.integer = static_cast<int32_t>(value);
    } else {
      push(frame().member, position)->value.milliseconds = value * 1000;
    }
    return go_on();
  }

  bool String(const char *string, rapidjson::SizeType length, bool) {
    uint32_t position = offset(string) - 1;
    const SchemaRow *row = begin(Found::text, position);
    if (offset(string) + length > invalid_utf8) refuse_utf8(offset(string) + length);
    if (row == nullptr) return go_on();
    if (row->kind == Kind::duration) {
      add_duration(string, length, position);
      return go_on();
    }
    ConfigNode *node = push(frame().member, position);
    node->value.text = string;
    if (row->kind == Kind::reference && length > 0) frame().references = true;
    if (holds_control(string, length)) refuse_control(*row, string, length, position);
    return go_on();
  }

  void refuse_control(const SchemaRow &row, const char *string, size_t length, uint32_t position) {
    bool many_lines = (row.flags & row_many_lines) != 0;
    if (many_lines && !holds_control_but_lines(string, length)) return;
    refuse(position, "%s",
           many_lines ? "control character in the text; it may hold tabs and line ends only"
                      : "control character in a text of one line");
  }

  void refuse_utf8(uint32_t text_end) {
    refuse(invalid_utf8, "not UTF-8");
    invalid_utf8 = find_invalid_utf8(text(), document.size, std::max(text_end, invalid_utf8 + 1));
  }

  void add_duration(const char *string, size_t length, uint32_t position) {
    constexpr int64_t most = int64_t{INT32_MAX} * 1000 + 999;
    const char *end = string + length;
    const char *unit = string;
    int64_t count = 0;
    for (; unit < end && *unit >= '0' && *unit <= '9'; unit++) count = std::min(count * 10 + (*unit - '0'), most + 1);
    const DurationUnit *known = duration_units;
    while (known->name != nullptr && strcmp(known->name, unit) != 0) known++;
    if (unit == string || known->name == nullptr || strlen(string) != length) {
      refuse(position, "expected a duration: a number of ms, s, m, h, d or w, such as \"90s\"");
      push_broken(position);
    } else if (count > most / known->milliseconds) {
      refuse(position, "duration over 2147483647 seconds");
      push_broken(position);
    } else {
      push(frame().member, position)->value.milliseconds = count * known->milliseconds;
    }
  }

  bool Key(const char *name, rapidjson::SizeType length, bool) {
    Frame &at = frame();
    at.name = offset(name);
    if (at.name + length > invalid_utf8) refuse_utf8(at.name + length);
    const SchemaRow &row = schema_row(at.row);
    if (row.kind == Kind::object) {
      known_key(row, name, length);
    } else if (row.kind == Kind::map) {
      bool hyphen = (row.flags & row_hyphen) != 0;
      if (!is_entry_name(name, length, hyphen)) {
        refuse(at.name - 1, "entry names are 1 to 63 of the characters A-Z a-z 0-9 _%s", hyphen ? " -" : "");
      }
    } else {
      push(schema_ignored, at.name - 1, at.name);
    }
    return go_on();
  }

  void known_key(const SchemaRow &row, const char *name, size_t length) {
    Frame &at = frame();
    // Documents mostly keep the order of the schema: try the member after the last one first.
    unsigned hint = at.member >= row.child ? at.member - row.child + 1U : 0;
    uint16_t member = row.count > 0 ? schema_member(row, name, length, hint < row.count ? hint : 0) : schema_ignored;
    if (member == schema_ignored) {
      const char *meant = closest_member(row, name, length);
      report_at(document, Grade::ignored, at.name - 1, path(), "unknown key%s%s%s",
                meant != nullptr ? ", did you mean '" : "", meant != nullptr ? meant : "",
                meant != nullptr ? "'?" : "");
      push(schema_ignored, at.name - 1, at.name);
      at.unknown_names = true;
    } else {
      uint64_t bit = uint64_t{1} << (member - row.child);
      if ((at.seen & bit) != 0) refuse_duplicate(at.name - 1);
      at.seen |= bit;
    }
    at.member = member;
  }

  void refuse_duplicate(uint32_t position) { refuse(position, "this name stands twice in its object"); }

  bool open(Found found, bool array) {
    uint32_t position = here() - 1;
    Frame &parent = frame();
    parent.counted++;
    if (depth == deepest) {
      refuse(position, "nested deeper than %u levels", deepest);
      stopped = true;
      return false;
    }
    const SchemaRow &row = schema_row(parent.member);
    bool fits = array ? row.kind == Kind::array : row.kind == Kind::object || row.kind == Kind::map;
    uint16_t own = fits ? parent.member : schema_ignored;
    if (!fits && row.kind != Kind::ignored) refuse_kind(found, position);
    depth++;
    frame() = Frame{.row = own,
                    .member = fits && row.kind != Kind::object ? row.child : schema_ignored,
                    .array = array,
                    .unknown_names = false,
                    .references = false,
                    .position = position,
                    .name = 0,
                    .counted = 0,
                    .first = pending.used,
                    .seen = 0};
    return go_on();
  }

  bool StartObject() { return open(Found::object, false); }
  bool StartArray() { return open(Found::array, true); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  bool close() {
    Frame &at = frame();
    const SchemaRow &row = schema_row(at.row);
    if (row.kind == Kind::ignored) {
      if (!at.array) refuse_repeated_names(at.first, pending.used);
      pending.used = at.first;
      depth--;
      return go_on();
    }
    if (at.unknown_names) drop_unknown(at);
    if ((row.flags & row_holds_always) != 0) add_held(at, row);
    uint32_t count = pending.used - at.first;
    uint32_t first = lay_down(at, count);
    if (row.kind == Kind::map && count > 1) index_names(first, count);
    uint32_t position = at.position;
    uint16_t own = at.row;
    pending.used = at.first;
    depth--;
    push(own, position, entry_name())->value.children = {first, count};
    return go_on();
  }

  // Moves the pending children into a block of cells, and tells the blocks of their own children where they are now.
  uint32_t lay_down(const Frame &at, uint32_t count) {
    if (count == 0) return 0;
    Cell *block = document.cells.add(count + 1);
    uint32_t first = document.cells.used - count;
    Cell *cells = document.cells.data.get();
    block->header = BlockHeader{.document = &document, .parent = 0, .name_index = 0};
    const ConfigNode *children = pending.data.get() + at.first;
    for (uint32_t i = 0; i < count; i++) {
      ConfigNode &node = block[i + 1].node;
      node = children[i];
      node.index = i;
      if (holds_children(row_of(&node).kind) && node.value.children.count > 0) {
        cells[node.value.children.first - 1].header.parent = first + i;
      }
    }
    if (at.references) {
      for (uint32_t i = 0; i < count; i++) {
        const ConfigNode &node = block[i + 1].node;
        if (row_of(&node).kind == Kind::reference && *node.value.text != '\0') *references.add() = first + i;
      }
    }
    return first;
  }

  // Members that are held even when they are not written.
  void add_held(const Frame &at, const SchemaRow &row) {
    for (unsigned i = 0; i < row.count; i++) {
      auto member = static_cast<uint16_t>(row.child + i);
      const SchemaRow &held = schema_row(member);
      if ((held.flags & row_always) == 0 || (at.seen & uint64_t{1} << i) != 0) continue;
      push(member, at.position)->value.text = schema.names + held.child;
    }
  }

  void drop_unknown(const Frame &at) {
    ConfigNode *begin = pending.data.get() + at.first;
    ConfigNode *end = pending.data.get() + pending.used;
    ConfigNode *unknown =
        std::stable_partition(begin, end, [](const ConfigNode &n) { return n.row != schema_ignored; });
    auto kept = static_cast<uint32_t>(unknown - pending.data.get());
    refuse_repeated_names(kept, pending.used);
    pending.used = kept;
  }

  // Builds the index of a large map's names, or compares those of a small one.
  void index_names(uint32_t first, uint32_t count) {
    const Cell *cells = document.cells.data.get() + first;
    auto name = [cells](uint32_t i) { return cells[i].node.link; };
    if (count <= small_map) {
      refuse_repeated_few(count, name);
      return;
    }
    uint32_t start = refuse_repeated_many(count, name);
    document.cells.data.get()[first - 1].header.name_index = start;
  }

  void refuse_repeated_names(uint32_t first, uint32_t end) {
    const ConfigNode *nodes = pending.data.get() + first;
    auto name = [nodes](uint32_t i) { return nodes[i].link; };
    uint32_t count = end - first;
    if (count <= small_map) {
      refuse_repeated_few(count, name);
    } else {
      document.name_indexes.used = refuse_repeated_many(count, name);
    }
  }

  void refuse_name_at(uint32_t name) {
    frame().name = name;
    refuse_duplicate(name - 1);
  }

  template <typename Name>
  void refuse_repeated_few(uint32_t count, Name name) {
    for (uint32_t i = 1; i < count; i++) {
      for (uint32_t j = 0; j < i; j++) {
        if (strcmp(text() + name(i), text() + name(j)) != 0) continue;
        refuse_name_at(name(i));
        break;
      }
    }
  }

  // The start of the new index: number of the entry plus 1 in the slot of its name, or the next free one.
  template <typename Name>
  uint32_t refuse_repeated_many(uint32_t count, Name name) {
    uint32_t size = name_index_size(count);
    if (document.name_indexes.used == 0) document.name_indexes.add();  // 0 means none
    uint32_t start = document.name_indexes.used;
    uint32_t *slots = document.name_indexes.add(size);
    memset(slots, 0, size * sizeof *slots);
    for (uint32_t i = 0; i < count; i++) {
      const char *own = text() + name(i);
      uint32_t slot = name_hash(own, strlen(own)) & (size - 1);
      while (slots[slot] != 0 && strcmp(text() + name(slots[slot] - 1), own) != 0) slot = (slot + 1) & (size - 1);
      if (slots[slot] != 0) {
        refuse_name_at(name(i));
      } else {
        slots[slot] = i + 1;
      }
    }
    return start;
  }
};

const char *syntax_problem(rapidjson::ParseErrorCode code) {
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "the file is empty";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "something follows the end of the document";
    case rapidjson::kParseErrorValueInvalid:
      return "expected a value";
    case rapidjson::kParseErrorObjectMissName:
      return "expected a member name in double quotes";
    case rapidjson::kParseErrorObjectMissColon:
      return "expected ':' after the member name";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return "expected ',' or '}'";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return "expected ',' or ']'";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "expected four hexadecimal digits after \\u";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "half of a surrogate pair in a \\u escape";
    case rapidjson::kParseErrorStringEscapeInvalid:
      return "unknown escape after '\\'";
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "a text without its closing quote";
    case rapidjson::kParseErrorStringInvalidEncoding:
      return "a control character in a text has to be escaped";
    case rapidjson::kParseErrorNumberTooBig:
      return "number too big";
    case rapidjson::kParseErrorNumberMissFraction:
      return "expected digits after the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
      return "expected digits in the exponent";
    default:
      return "not JSON";
  }
}

// Reads the document's text. False when there is no tree: in a run after any refused finding, in a check only when the
// rest of the text could not be made out.
bool parse(Document &document) {
  Stream stream(document.text.get());
  Loader loader(document, stream);
  if (strncmp(document.text.get(), "\xEF\xBB\xBF", 3) == 0) {
    report_at(document, Grade::refused, 0, {},
              "syntax error: the file starts with a byte order mark, save it without one");
    return false;
  }
  // Nodes take about one in 14 bytes of an indented document, and memory that is never touched costs nothing.
  loader.pending.reserve(document.size / 24 + 64);
  document.cells.reserve(document.size / 12 + 64);
  document.cells.add();  // 0 stands for no cell
  loader.invalid_utf8 = find_invalid_utf8(document.text.get(), document.size, 0);

  rapidjson::Reader reader;
  constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::ParseResult result = reader.Parse<flags>(stream, loader);
  if (!loader.go_on()) return false;
  auto end = static_cast<uint32_t>(result.IsError() ? result.Offset() : stream.Tell());
  if (result.IsError() || end < document.size) {
    bool cut_off = end >= document.size && document.size > 0;
    // A zero byte ends the text for the parser.
    auto code = result.IsError() ? result.Code() : rapidjson::kParseErrorDocumentRootNotSingular;
    loader.refuse(end, "syntax error: %s", cut_off ? "the file ends too early" : syntax_problem(code));
    return false;
  }
  document.root = loader.lay_down(loader.frames[0], 1);
  resolve_references(document, loader.references);
  return true;
}

}  // namespace

char *read_padded(const char *path, size_t padding, uint32_t *size, std::string *problem) {
  auto fail = [problem](const char *what) {
    *problem = std::string(what) + ": " + strerror(errno);
    return nullptr;
  };
  int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return fail("cannot be opened");
  std::unique_ptr<const int, void (*)(const int *)> closer(&fd, [](const int *held) { close(*held); });
  struct stat status;
  if (fstat(fd, &status) != 0) return fail("cannot be read");
  bool regular = S_ISREG(status.st_mode);
  if (regular && status.st_size > largest_file) {
    *problem = "is larger than 256 MiB";
    return nullptr;
  }
  size_t room = regular ? static_cast<size_t>(status.st_size) : 65536;
  size_t used = 0;
  std::unique_ptr<char, void (*)(void *)> text(static_cast<char *>(malloc(room + padding)), free);
  while (text != nullptr && !(regular && used == room)) {
    ssize_t got = read(fd, text.get() + used, room - used);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail("cannot be read");
    if (got == 0) break;
    used += static_cast<size_t>(got);
    if (used < room || regular) continue;
    if (room >= largest_file) {
      *problem = "is larger than 256 MiB";
      return nullptr;
    }
    room *= 2;
    text.reset(static_cast<char *>(realloc(text.release(), room + padding)));
  }
  if (text == nullptr) return fail("cannot be read");
  memset(text.get() + used, 0, padding);
  *size = static_cast<uint32_t>(used);
  return text.release();
}

const ConfigNode *config_load_file(const char *path, std::vector<Finding> *findings) {
  auto document = std::make_unique<Document>();
  document->file = path;
  document->findings = findings;
  std::string problem;
  document->text.reset(read_padded(path, text_padding, &document->size, &problem));
  if (document->text == nullptr) {
    report_at(*document, Grade::refused, no_position, {}, "%s", problem.c_str());
    return nullptr;
  }
  if (!parse(*document)) return nullptr;
  Document *loaded = document.release();  // the tree's handles keep it until config_free
  return node_at(*loaded, loaded->root);
}

const ConfigNode *config_load() {
  return config_load_file("/etc/config/config.json", nullptr);
}

void config_free(const ConfigNode *root) {
  if (root != nullptr) delete header_of(root).document;
}
