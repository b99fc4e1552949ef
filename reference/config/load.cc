// Loading a document: one pass over its text that checks every value against the schema and stores it.

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "config/document.h"
#include "config/text_stream.h"
#include "platform/tools.h"

namespace {

constexpr unsigned deepest = 64;

// What the document holds in a place, as the parser tells it.
enum class Found : uint8_t { object, array, text, boolean, integer, fraction, null };
const char found_names[][38] = {
    "an object", "an array", "a text", "a boolean", "an integer", "a number with a fraction or exponent", "null"};

// By kind: what a value of that kind is called.
const char kind_names[][46] = {"a value",    "an object", "an object",
                               "an array",   "a text",    "a boolean",
                               "an integer", "a number",  "a duration (seconds, or a text such as \"90s\")",
                               "a text"};

template <typename... Each>
constexpr unsigned set_of(Each... members) {
  return (0U | ... | (1U << static_cast<unsigned>(members)));
}

// By what is found: the kinds that are written so.
constexpr unsigned fitting_kinds[] = {
    set_of(Kind::ignored, Kind::object, Kind::map),
    set_of(Kind::ignored, Kind::array),
    set_of(Kind::ignored, Kind::string, Kind::duration, Kind::reference),
    set_of(Kind::ignored, Kind::boolean),
    set_of(Kind::ignored, Kind::integer, Kind::number, Kind::duration),
    set_of(Kind::ignored, Kind::number),
    0,
};

struct DurationUnit {
  char name[3];  // "" ends the table
  int64_t milliseconds;
};
constexpr DurationUnit duration_units[] = {
    {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}, {"w", 604800000}, {"", 0},
};

// The member of the object whose name is closest to a misspelt one; null when none is close.
const char *closest_member(const SchemaKey &object, const char *name, size_t length) {
  const char *closest = nullptr;
  unsigned least = static_cast<unsigned>(std::min<size_t>(2, (length + 1) / 3)) + 1;
  for (const SchemaKey &member : members_of(object)) {
    unsigned distance = edit_distance(name, length, member.name, strlen(member.name), least);
    if (distance < least) {
      least = distance;
      closest = member.name;
    }
  }
  return closest;
}

// An object or array that is being read.
struct Frame {
  const SchemaKey *key = nullptr;  // of the container; null below an unknown key
  Kind kind = Kind::ignored;
  const SchemaKey *member = nullptr;  // of the value that comes next
  Kind member_kind = Kind::ignored;
  bool array = false;          // as written in the document
  bool unknown_names = false;  // an object with members that the schema does not know
  bool references = false;     // some child is a reference that is set
  uint32_t position = 0;
  uint32_t name = 0;     // where the name of the current member stands
  uint32_t counted = 0;  // values begun
  uint32_t first = 0;    // of its children on the pending stack
  uint64_t seen = 0;     // members of an object, by their number
};

// Receives the parser's events. Children wait on the pending stack until their container ends, and are then laid down
// side by side. What deals with mistakes is marked cold: made for size, and out of the way of what every start runs.
struct Loader : rapidjson::BaseReaderHandler<TextEncoding, Loader> {
  Document &document;
  const TextStream &stream;
  char *const text;
  Growing<ConfigNode> pending;
  Growing<uint32_t> references;
  bool halted = false;

  // Texts that reach past this place have to be looked at: it is the first of the following three.
  const char *suspect = nullptr;
  uint32_t invalid_utf8 = 0;
  uint32_t backslash = 0;  // the parser lets control characters pass when they are escaped
  uint32_t delete_character = 0;

  Frame *current;
  Frame frames[deepest + 1];

  Loader(Document &into, const TextStream &from)
      : document(into), stream(from), text(into.text.get()), current(frames) {
    frames[0].member = document.schema;
    frames[0].member_kind = document.schema->kind;
    suspect_from(0);
  }

  uint32_t offset(const char *in_text) const { return static_cast<uint32_t>(in_text - text); }
  uint32_t here() const { return static_cast<uint32_t>(stream.Tell()); }

  uint32_t find_character(char character, uint32_t from) const {
    const void *found = memchr(text + from, character, document.size - from);
    return found != nullptr ? offset(static_cast<const char *>(found)) : no_position;
  }

  void suspect_from(uint32_t from) {
    if (invalid_utf8 <= from) invalid_utf8 = find_invalid_utf8(text, document.size, from);
    if (backslash <= from) backslash = find_character('\\', from);
    if (delete_character <= from) delete_character = find_character('\x7F', from);
    suspect = text + std::min({invalid_utf8, backslash, delete_character, document.size});
  }

  [[gnu::cold]] std::string path() const {
    std::string path;
    for (const Frame *at = frames + 1; at <= current; at++) {
      if (at->array) {
        if (at->counted > 0) append_component(path, std::to_string(int64_t{at->counted} - 1));
      } else if (at->name != 0) {
        append_component(path, printable(text + at->name));
      }
    }
    return path;
  }

  // A run is over with the first refused finding; a check goes on.
  [[gnu::cold]] void refuse(uint32_t position, const char *format, ...) __attribute__((format(printf, 3, 4))) {
    va_list arguments;
    va_start(arguments, format);
    report_list(document, Grade::refused, position, path(), format, arguments);
    va_end(arguments);
    if (document.findings == nullptr) halted = true;
  }

  // The name of the value that is read when it is an entry of a map: the schema does not know it.
  uint32_t entry_name() const { return current->kind == Kind::map ? current->name : 0; }

  ConfigNode *push(const SchemaKey *key, Kind kind, uint32_t position, uint32_t link = 0) {
    ConfigNode *node = pending.add();
    *node =
        ConfigNode{.position = position, .link = link, .index = 0, .kind = kind, .flags = 0, .key = key, .value = {}};
    return node;
  }

  ConfigNode *push_value(uint32_t position, uint32_t link = 0) {
    return push(current->member, current->member_kind, position, link);
  }

  // What stands for a value that is refused, so that a check can go on.
  void push_broken(uint32_t position) {
    Kind kind = current->member_kind;
    if (kind == Kind::ignored) return;
    ConfigNode *node = push_value(position, entry_name());
    node->flags = node_broken;
    if (kind == Kind::string || kind == Kind::reference) node->value.text = "";
  }

  // Names of unknown keys and below are kept until their object ends, to be compared.
  void push_name(uint32_t name, size_t length) {
    push(nullptr, Kind::ignored, name - 1, name)->value.integer = static_cast<int32_t>(length);
  }

  [[gnu::cold]] void refuse_found(Found found, uint32_t position) {
    if (found == Found::null) {
      refuse(position, "null is not allowed, leave the key out instead");
    } else {
      refuse(position, "expected %s, found %s", kind_names[static_cast<unsigned>(current->member_kind)],
             found_names[static_cast<unsigned>(found)]);
    }
    push_broken(position);
  }

  // Begins a value: its kind; Kind::ignored when it has been dealt with.
  Kind begin(Found found, uint32_t position) {
    current->counted++;
    Kind kind = current->member_kind;
    if ((fitting_kinds[static_cast<unsigned>(found)] & set_of(kind)) != 0) return kind;
    refuse_found(found, position);
    return Kind::ignored;
  }

  bool Null() {
    begin(Found::null, here() - 4);
    return !halted;
  }

  bool Bool(bool value) {
    uint32_t position = here() - (value ? 4 : 5);
    if (begin(Found::boolean, position) != Kind::ignored) push_value(position)->value.boolean = value;
    return !halted;
  }

  bool RawNumber(const char *digits, rapidjson::SizeType length, bool) {
    uint32_t position = offset(digits);
    bool fraction = std::any_of(digits, digits + length, [](char c) { return c == '.' || c == 'e' || c == 'E'; });
    Kind kind = begin(fraction ? Found::fraction : Found::integer, position);
    if (kind == Kind::ignored) return !halted;
    if (kind == Kind::number) {
      // What follows the number in the document ends it for strtod too. An integer has no negative zero.
      double number = strtod(digits, nullptr);
      if (!std::isfinite(number)) refuse(position, "expected a number from -1.8e308 to 1.8e308");
      push_value(position)->value.number = number == 0 && !fraction ? 0 : number;
    } else {
      add_integer(kind, digits, length, position);
    }
    return !halted;
  }

  void add_integer(Kind kind, const char *digits, size_t length, uint32_t position) {
    constexpr int64_t too_large = int64_t{1} << 32;
    int64_t value = 0;
    for (const char *digit = digits + (*digits == '-' ? 1 : 0); digit < digits + length; digit++) {
      value = std::min(value * 10 + (*digit - '0'), too_large);
    }
    if (*digits == '-') value = -value;
    if (value < INT32_MIN || value > INT32_MAX) {
      refuse(position, "expected %s from -2147483648 to 2147483647",
             kind == Kind::integer ? "an integer" : "a duration in seconds");
      push_broken(position);
    } else if (kind == Kind::integer) {
      push_value(position)->value.integer = static_cast<int32_t>(value);
    } else {
      push_value(position)->value.milliseconds = value * 1000;
    }
  }

  [[gnu::always_inline]] bool String(const char *string, rapidjson::SizeType length, bool) {
    uint32_t start = offset(string);
    Kind kind = begin(Found::text, start - 1);
    if (string + length > suspect) [[unlikely]]
      inspect(kind, string, length);
    if (kind == Kind::ignored) return !halted;
    if (kind == Kind::duration) {
      add_duration(string, length, start - 1);
    } else {
      push_value(start - 1)->value.text = string;
      if (kind == Kind::reference && length > 0) current->references = true;
    }
    return !halted;
  }

  // Looks at the characters of a string; Kind::ignored: of a name, or of a string below an unknown key.
  [[gnu::noinline]] void inspect(Kind kind, const char *string, uint32_t length) {
    uint32_t start = offset(string);
    if (invalid_utf8 < start) invalid_utf8 = find_invalid_utf8(text, document.size, start);
    // What stood in the file is not UTF-8 when, and only when, what the parser made of it is not.
    uint32_t invalid = find_invalid_utf8(text, start + length, start);
    if (invalid != no_position && is_surrogate(text + invalid)) {
      refuse(start - 1, "half of a surrogate pair, which is no character");
    } else if (invalid != no_position) {
      refuse(invalid_utf8, "not UTF-8");
    }
    if (kind != Kind::ignored && kind != Kind::duration && holds_control(string, length)) {
      bool many_lines = current->member->many_lines;
      if (!many_lines) {
        refuse(start - 1, "control character in a text of one line");
      } else if (holds_control_but_lines(string, length)) {
        refuse(start - 1, "control character other than tab, line feed and carriage return");
      }
    }
    suspect_from(start + length);
  }

  [[gnu::noinline]] void add_duration(const char *string, size_t length, uint32_t position) {
    constexpr int64_t most = int64_t{INT32_MAX} * 1000 + 999;
    const char *unit = string;
    int64_t count = 0;
    for (; *unit >= '0' && *unit <= '9'; unit++) count = std::min(count * 10 + (*unit - '0'), most + 1);
    const DurationUnit *known = duration_units;
    while (*known->name != '\0' && strcmp(known->name, unit) != 0) known++;
    if (unit == string || *known->name == '\0' || strlen(string) != length) {
      refuse(position, "expected a duration: a number of ms, s, m, h, d or w, such as \"90s\"");
      push_broken(position);
    } else if (count > most / known->milliseconds) {
      refuse(position, "expected a duration of at most 2147483647 seconds");
      push_broken(position);
    } else {
      push_value(position)->value.milliseconds = count * known->milliseconds;
    }
  }

  [[gnu::always_inline]] bool Key(const char *name, rapidjson::SizeType length, bool) {
    uint32_t start = offset(name);
    current->name = start;
    if (name + length > suspect) [[unlikely]]
      inspect(Kind::ignored, name, length);
    if (current->kind == Kind::object) {
      known_key(name, length);
    } else if (current->kind == Kind::map) {
      bool hyphen = current->key->hyphen;
      if (!is_entry_name(name, length, hyphen)) {
        refuse(start - 1, "entry names are 1 to 63 of the characters A-Z a-z 0-9 _%s", hyphen ? " -" : "");
      }
    } else {
      push_name(start, length);
    }
    return !halted;
  }

  void known_key(const char *name, size_t length) {
    const SchemaKey &object = *current->key;
    const SchemaKey *member = schema_member(object, {name, length});
    if (member == nullptr) {
      unknown_key(object, name, length);
      return;
    }
    uint64_t bit = uint64_t{1} << (member - object.members);
    if ((current->seen & bit) != 0) refuse_repeated(current->name);
    current->seen |= bit;
    current->member = member;
    current->member_kind = member->kind;
  }

  [[gnu::cold, gnu::noinline]] void unknown_key(const SchemaKey &object, const char *name, size_t length) {
    const char *meant = closest_member(object, name, length);
    std::string hint = meant != nullptr ? std::string(", did you mean '") + meant + "'?" : "";
    report_at(document, Grade::ignored, current->name - 1, path(), "%s%s", unknown_key_message, hint.c_str());
    push_name(current->name, length);
    current->unknown_names = true;
    current->member = nullptr;
    current->member_kind = Kind::ignored;
  }

  [[gnu::cold]] void refuse_repeated(uint32_t name) {
    current->name = name;
    refuse(name - 1, "this name stands twice in its object");
  }

  bool StartObject() { return open(Found::object); }
  bool StartArray() { return open(Found::array); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  bool open(Found found) {
    uint32_t position = here() - 1;
    if (current == frames + deepest) {
      current->counted++;
      refuse(position, "nested deeper than %u levels", deepest);
      halted = true;
      return false;
    }
    Kind kind = begin(found, position);
    const SchemaKey *key = current->member;
    current++;
    *current = Frame{.array = found == Found::array, .position = position, .first = pending.used};
    if (kind == Kind::ignored) return !halted;
    current->key = key;
    current->kind = kind;
    if (kind != Kind::object) {
      current->member = key;
      current->member_kind = key->element;
    }
    return !halted;
  }

  bool close() {
    Frame &at = *current;
    if (at.kind == Kind::ignored) {
      if (!at.array) compare_pending_names(at.first);
      pending.used = at.first;
      current--;
      return !halted;
    }
    if (at.unknown_names) drop_unknown();
    if (at.kind == Kind::object && at.key->has_fallbacks) add_held(*at.key);
    uint32_t count = pending.used - at.first;
    uint32_t first = lay_down(at.first, count);
    if (at.kind == Kind::map && count > 1) index_names(first, count);
    pending.used = at.first;
    current--;
    ConfigNode *node = push_value(at.position, entry_name());
    node->value.children = {first, count};
    if (count > 0) node->flags = node_nests;
    return !halted;
  }

  // Moves pending nodes into a block of cells. On the stack a node knows the cell of its first child; from now on it
  // and its children know how far they lie apart.
  [[gnu::always_inline]] uint32_t lay_down(uint32_t start, uint32_t count) {
    if (count == 0) return 0;
    Cell *block = document.cells.add(count + 1);
    Cell *cells = document.cells.data.get();
    uint32_t first = document.cells.used - count;
    block->header = BlockHeader{.document = &document, .count = count, .parent = 0, .name_index = 0};
    const ConfigNode *from = pending.data.get() + start;
    for (uint32_t i = 0; i < count; i++) {
      ConfigNode &node = block[i + 1].node;
      node = from[i];
      node.index = i;
      if ((node.flags & node_nests) == 0) continue;
      uint32_t back = first + i - node.value.children.back;
      cells[node.value.children.back - 1].header.parent = back + 1;
      node.value.children.back = back;
    }
    if (current->references) note_references(first, count);
    return first;
  }

  void note_references(uint32_t first, uint32_t count) {
    for (uint32_t cell = first; cell < first + count; cell++) {
      const ConfigNode *node = node_at(document, cell);
      if (node->kind == Kind::reference && *node->value.text != '\0') *references.add() = cell;
    }
  }

  // Members that are held even when they are not written.
  void add_held(const SchemaKey &object) {
    for (const SchemaKey &member : members_of(object)) {
      bool seen = (current->seen & uint64_t{1} << (&member - object.members)) != 0;
      if (member.fallback == nullptr || seen) continue;
      push(&member, member.kind, current->position)->value.text = member.fallback;
    }
  }

  [[gnu::cold]] void drop_unknown() {
    ConfigNode *begin = pending.data.get() + current->first;
    ConfigNode *end = pending.data.get() + pending.used;
    ConfigNode *names = std::stable_partition(begin, end, [](const ConfigNode &n) { return n.kind != Kind::ignored; });
    auto kept = static_cast<uint32_t>(names - pending.data.get());
    compare_pending_names(kept);
    pending.used = kept;
  }

  [[gnu::cold]] void compare_pending_names(uint32_t start) {
    const ConfigNode *nodes = pending.data.get() + start;
    auto name = [this, nodes](uint32_t i) {
      return std::string_view(text + nodes[i].link, static_cast<size_t>(nodes[i].value.integer));
    };
    uint32_t before = document.name_indexes.used;
    compare_names(pending.used - start, name);
    document.name_indexes.used = before;
  }

  void index_names(uint32_t first, uint32_t count) {
    const Cell *cells = document.cells.data.get() + first;
    auto name = [this, cells](uint32_t i) { return std::string_view(text + cells[i].node.link); };
    document.cells.data.get()[first - 1].header.name_index = compare_names(count, name);
  }

  // Refuses names that stand twice. Few are compared with each other; many get an index, whose start is returned: in
  // the slot of a name's hash, or the next free one, stands the number of the entry plus 1.
  template <typename Name>
  uint32_t compare_names(uint32_t count, Name name) {
    if (count <= small_map) {
      for (uint32_t i = 1; i < count; i++) {
        for (uint32_t j = 0; j < i; j++) {
          if (name(i) == name(j)) refuse_repeated(offset(name(i).data()));
        }
      }
      return 0;
    }
    uint32_t mask = name_index_size(count) - 1;
    if (document.name_indexes.used == 0) document.name_indexes.add();  // 0 means none
    uint32_t start = document.name_indexes.used;
    uint32_t *slots = document.name_indexes.add(mask + 1);
    memset(slots, 0, (size_t{mask} + 1) * sizeof *slots);
    for (uint32_t i = 0; i < count; i++) {
      std::string_view own = name(i);
      uint32_t slot = name_hash(own.data(), own.size()) & mask;
      while (slots[slot] != 0 && name(slots[slot] - 1) != own) slot = (slot + 1) & mask;
      if (slots[slot] != 0) {
        refuse_repeated(offset(own.data()));
      } else {
        slots[slot] = i + 1;
      }
    }
    return start;
  }
};

[[gnu::cold]] const char *syntax_problem(const Document &document, rapidjson::ParseErrorCode code, uint32_t at) {
  if (at >= document.size && code != rapidjson::kParseErrorDocumentEmpty) return "the file ends too early";
  const char *found = document.text.get() + at;
  if (found[0] == '/' && (found[1] == '/' || found[1] == '*')) return "JSON has no comments";
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return "the file is empty";
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "something follows the end of the document";
    case rapidjson::kParseErrorValueInvalid:
      return *found == ']' ? "a comma before the closing bracket"
                           : "expected a value: a text in double quotes, a number, true, false, an object or an array";
    case rapidjson::kParseErrorObjectMissName:
      return *found == '}' ? "a comma before the closing bracket" : "expected a member name in double quotes";
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
      // The parser tells of both with the same code.
      return *found == '\\' ? "unknown escape after '\\'" : "a control character in a text has to be escaped";
    case rapidjson::kParseErrorStringMissQuotationMark:
      return "a text without its closing quote";
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

// True for what is wrong behind a whole value: the name of that value is no place of the problem.
bool stands_between_values(rapidjson::ParseErrorCode code) {
  return code == rapidjson::kParseErrorObjectMissName || code == rapidjson::kParseErrorObjectMissCommaOrCurlyBracket ||
         code == rapidjson::kParseErrorArrayMissCommaOrSquareBracket;
}

// Reads the document's text. False when there is no tree: in a run after any refused finding, in a check only when the
// rest of the text could not be made out.
bool parse(Document &document) {
  TextStream stream(document.text.get());
  Loader loader(document, stream);
  if (strncmp(document.text.get(), "\xEF\xBB\xBF", 3) == 0) {
    report_at(document, Grade::refused, 0, {},
              "syntax error: the file starts with a byte order mark, save it without one");
    return false;
  }
  // Room for more nodes than most documents of that size have: memory that is never touched costs nothing.
  loader.pending.reserve(document.size / 24 + 16);
  document.cells.reserve(document.size / 12 + 16);
  document.cells.add();  // 0 stands for no cell

  rapidjson::GenericReader<TextEncoding, TextEncoding> reader;
  constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::ParseResult result = reader.Parse<flags>(stream, loader);
  if (loader.halted) return false;
  auto end = static_cast<uint32_t>(result.IsError() ? result.Offset() : stream.Tell());
  if (result.IsError() || end < document.size) {
    // A zero byte ends the text for the parser.
    auto code = result.IsError() ? result.Code() : rapidjson::kParseErrorDocumentRootNotSingular;
    if (stands_between_values(code)) *loader.current = Frame{};
    loader.refuse(end, "syntax error: %s", syntax_problem(document, code, end));
    return false;
  }
  document.root = loader.lay_down(0, 1);
  resolve_references(document, loader.references);
  return true;
}

}  // namespace

static const ConfigNode *load_file(const char *path, const SchemaKey &table, std::vector<Finding> *findings) {
  // The text comes first: what is read tells how large the heap has to be.
  std::string problem;
  uint32_t size = 0;
  char *text = read_padded(path, text_padding, &size, &problem);
  auto document = std::make_unique<Document>();
  document->schema = &table;
  document->file = path;
  document->findings = findings;
  document->size = size;
  document->text.reset(text);
  if (document->text == nullptr) {
    report_at(*document, Grade::refused, no_position, {}, "%s", problem.c_str());
    return nullptr;
  }
  if (!parse(*document)) return nullptr;
  accept_document(*document);
  Document *loaded = document.release();  // the tree's handles keep it until config_free
  return node_at(*loaded, loaded->root);
}

const ConfigNode *config_load_file(const char *path) {
  return load_file(path, schema, nullptr);
}

const ConfigNode *config_check_file(const char *path, std::vector<Finding> *findings) {
  return load_file(path, described_schema, findings);
}

const ConfigNode *config_load() {
  return config_load_file("/etc/config/config.json");
}

void config_free(const ConfigNode *root) {
  if (root != nullptr) delete header_of(root).document;
}
