// Parses a document: one pass over its content checks every value against the schema and builds the tree.
#include <rapidjson/reader.h>
#include <rapidjson/stream.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string_view>

#include "config/document.h"
#include "config/duration.h"
#include "config/syntax.h"

namespace {

constexpr unsigned deepest = 64;

// A type of JSON value.
enum class Found : uint8_t { object, array, string, boolean, integer, fraction, null };
const char *const found_names[] = {
    "an object", "an array", "a string", "a boolean", "an integer", "a number with a fraction or exponent", "null"};

// The names of kinds for messages, in the order of Kind.
const char *const kind_names[] = {"a value",    "an object", "an object",
                                  "an array",   "a string",  "a boolean",
                                  "an integer", "a number",  "a duration (seconds, or a string such as \"90s\")",
                                  "a string"};

bool is_written_as(Kind kind, Found found) {
  switch (found) {
    case Found::object:
      return kind == Kind::object || kind == Kind::map;
    case Found::array:
      return kind == Kind::array;
    case Found::string:
      return kind == Kind::string || kind == Kind::duration || kind == Kind::reference;
    case Found::boolean:
      return kind == Kind::boolean;
    case Found::integer:
      return kind == Kind::integer || kind == Kind::number || kind == Kind::duration;
    case Found::fraction:
      return kind == Kind::number;
    case Found::null:
      break;
  }
  return false;
}

// An object or array that is being read.
struct Frame {
  const SchemaKey *key = nullptr;  // of the object or array; null below an unknown key
  Kind kind = Kind::ignored;
  const SchemaKey *member = nullptr;  // of the next value
  Kind member_kind = Kind::ignored;
  bool array = false;  // true for an array in the document, false for an object
  uint32_t position = 0;
  const char *name = nullptr;  // of the current member
  uint32_t counted = 0;        // number of values so far
  size_t first_child = 0;      // index of its first child in `pending`
  size_t first_unknown = 0;    // index of its first name in `unknown_names`
  uint64_t seen = 0;           // a bit for each member that an object has had so far
};

// Receives the parser's events. Finished nodes wait on the stack `pending` until their object or array ends and takes
// them as its children.
struct Loader : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Loader> {
  Document &document;
  rapidjson::InsituStringStream &stream;
  char *const content;
  std::vector<ConfigNode> pending;
  std::vector<std::string_view> unknown_names;
  std::vector<ConfigNode *> references;  // those that are set
  uint32_t next_id = 1;
  bool halted = false;
  Frame frames[deepest + 1];
  Frame *current = frames;

  Loader(Document &into, rapidjson::InsituStringStream &from)
      : document(into), stream(from), content(into.content.data()) {
    current->member = document.schema;
    current->member_kind = document.schema->kind;
    // More nodes than wait at a time in most documents. Without this, a long array would be copied several times; the
    // unused part is address space, not memory.
    pending.reserve(into.content.size() / 64);
  }

  uint32_t offset(const char *place) const { return static_cast<uint32_t>(place - content); }
  uint32_t here() const { return static_cast<uint32_t>(stream.Tell()); }

  // ---- Findings.

  std::string path() const {
    std::string path;
    for (const Frame *at = frames + 1; at <= current; at++) {
      if (at->array) {
        if (at->counted > 0) append_component(path, std::to_string(int64_t{at->counted} - 1));
      } else if (at->name != nullptr) {
        append_component(path, printable(at->name));
      }
    }
    return path;
  }

  // Reports a refused finding. It ends a run; a check goes on.
  void refuse(Rule rule, uint32_t position, const char *format, ...) __attribute__((format(printf, 4, 5))) {
    va_list arguments;
    va_start(arguments, format);
    report_list(document, rule, position, path(), format, arguments);
    va_end(arguments);
    if (document.findings == nullptr) halted = true;
  }

  void refuse_type(Found found, uint32_t position) {
    const Kind kind = current->member_kind;
    std::string message = std::string("expected ") + kind_names[static_cast<unsigned>(kind)] + ", found " +
                          found_names[static_cast<unsigned>(found)];
    std::string cure = document.cures != nullptr ? document.cures->of_type(*current->member, kind) : "";
    report_words(document, Rule::wrong_type, position, path(),
                 {.message = std::move(message), .cure = std::move(cure)});
    if (document.findings == nullptr) halted = true;
  }

  void refuse_found(Found found, uint32_t position) {
    if (found == Found::null)
      refuse(Rule::wrong_type, position, "null is not allowed, leave the key out instead");
    else
      refuse_type(found, position);
    push_broken(position);
  }

  void refuse_repeated(const char *name) {
    current->name = name;
    refuse(Rule::repeated_name, offset(name) - 1, "this name occurs twice in its object");
  }

  // Refuses unknown names that occur twice in the current object.
  void compare_unknown_names() {
    if (unknown_names.size() == current->first_unknown) return;
    std::set<std::string_view> seen;
    for (size_t i = current->first_unknown; i < unknown_names.size(); i++) {
      if (!seen.insert(unknown_names[i]).second) refuse_repeated(unknown_names[i].data());
    }
    unknown_names.resize(current->first_unknown);
  }

  // ---- Nodes.

  const char *name_of_next() const {
    if (current->kind == Kind::map) return current->name;
    return current->kind == Kind::array ? "" : current->member->name;
  }

  ConfigNode::Value &push(uint32_t position) {
    ConfigNode &node = pending.emplace_back();
    node.key = current->member;
    node.name = name_of_next();
    node.position = position;
    node.kind = current->member_kind;
    return node.value;
  }

  // Adds an empty value for a refused one, so that a check can go on.
  void push_broken(uint32_t position) {
    Kind kind = current->member_kind;
    if (kind == Kind::ignored) return;
    ConfigNode::Value &value = push(position);
    if (kind == Kind::string || kind == Kind::reference) value.string = "";
    if (is_container(kind)) {
      document.containers.push_back({&document, 0, {}});
      value.container = &document.containers.back();
    }
    pending.back().broken = true;
  }

  // Moves the children of the current object or array from the stack to a container. They do not move in memory any
  // more, so this also sets the parent of their own children.
  Container *take_children() {
    auto begin = pending.begin() + static_cast<ptrdiff_t>(current->first_child);
    // One number is skipped for the container itself. It is not used, but it must stay: file names hold these numbers.
    document.containers.push_back({&document, next_id + 1, {begin, pending.end()}});
    Container &container = document.containers.back();
    pending.erase(begin, pending.end());
    if (!container.children.empty()) next_id += 1 + static_cast<uint32_t>(container.children.size());
    for (ConfigNode &child : container.children) {
      if (is_container(child.kind)) set_parent(child);
      if (child.kind == Kind::reference && *child.value.string != '\0') references.push_back(&child);
    }
    return &container;
  }

  static void set_parent(const ConfigNode &parent) {
    for (ConfigNode &child : parent.value.container->children) child.parent = &parent;
  }

  void index_entries(const Container *map) {
    for (const ConfigNode &entry : map->children) {
      bool is_new = document.entries.emplace(EntryName(map, entry.name), &entry).second;
      if (!is_new) refuse_repeated(entry.name);
    }
  }

  // The tree of a document that has been read.
  void finish_tree() {
    ConfigNode &root = document.root;
    root = pending.back();
    set_parent(root);
    document.root_id = next_id + 1;
    resolve_references(document, references);
  }

  // ---- Values.

  // Begins a value and returns its kind. Kind::ignored for a value that is refused or below an unknown key.
  Kind begin(Found found, uint32_t position) {
    current->counted++;
    Kind kind = current->member_kind;
    bool fits = kind == Kind::ignored ? found != Found::null : is_written_as(kind, found);
    if (fits) return kind;
    refuse_found(found, position);
    return Kind::ignored;
  }

  bool Null() {
    begin(Found::null, here() - 4);
    return !halted;
  }

  bool Bool(bool value) {
    uint32_t position = here() - (value ? 4 : 5);
    if (begin(Found::boolean, position) != Kind::ignored) push(position).boolean = value;
    return !halted;
  }

  bool RawNumber(const char *digits, rapidjson::SizeType length, bool /*copy*/) {
    uint32_t position = offset(digits);
    bool fraction = std::any_of(digits, digits + length, [](char c) { return c == '.' || c == 'e' || c == 'E'; });
    Kind kind = begin(fraction ? Found::fraction : Found::integer, position);
    if (kind == Kind::number) {
      add_number(digits, fraction, position);
    } else if (kind != Kind::ignored) {
      add_integer(kind, digits, position);
    }
    return !halted;
  }

  // strtod stops at the character that follows the number in the document.
  void add_number(const char *digits, bool fraction, uint32_t position) {
    double number = strtod(digits, nullptr);
    if (!std::isfinite(number)) refuse(Rule::number_range, position, "expected a number from -1.8e308 to 1.8e308");
    push(position).number = number == 0 && !fraction ? 0 : number;  // an integer has no negative zero
  }

  void add_integer(Kind kind, const char *digits, uint32_t position) {
    constexpr int64_t too_large = int64_t{1} << 32;
    bool negative = *digits == '-';
    const char *end;
    int64_t value = read_digits(digits + (negative ? 1 : 0), too_large, &end);
    if (negative) value = -value;
    if (value < INT32_MIN || value > INT32_MAX) {
      refuse(Rule::number_range, position, "expected %s from -2147483648 to 2147483647",
             kind == Kind::integer ? "an integer" : "a duration in seconds");
      push_broken(position);
    } else if (kind == Kind::integer) {
      push(position).integer = static_cast<int32_t>(value);
    } else {
      push(position).milliseconds = value * 1000;
    }
  }

  bool String(const char *string, rapidjson::SizeType length, bool /*copy*/) {
    uint32_t position = offset(string) - 1;
    Kind kind = begin(Found::string, position);
    check_bytes(kind, string, length);
    if (kind == Kind::duration) {
      add_duration({string, length}, position);
    } else if (kind != Kind::ignored) {
      push(position).string = string;
    }
    return !halted;
  }

  // Checks the bytes of a string. The kind is Kind::ignored for a name, and for a string below an unknown key.
  void check_bytes(Kind kind, const char *string, uint32_t length) {
    if (is_printable_ascii(string, length)) return;
    check_utf8(offset(string), offset(string) + length);
    if (kind == Kind::ignored || kind == Kind::duration || !holds_control(string, length)) return;
    if (!current->member->many_lines) {
      refuse(Rule::characters, offset(string) - 1, "control character in a string of one line");
    } else if (holds_control_but_lines(string, length)) {
      refuse(Rule::characters, offset(string) - 1, "control character other than tab, line feed and carriage return");
    }
  }

  void check_utf8(uint32_t start, uint32_t end) {
    uint32_t invalid = find_invalid_utf8(content, end, start);
    if (invalid == no_position) return;
    if (is_surrogate(content + invalid)) {
      refuse(Rule::characters, start - 1, "half of a surrogate pair, which is not a character");
      return;
    }
    // The parser has moved the bytes after an escape, so the place of the byte comes from the original content.
    const std::string &original = original_content(document);
    refuse(Rule::characters, find_invalid_utf8(original.data(), static_cast<uint32_t>(original.size()), start),
           "not UTF-8");
  }

  void add_duration(std::string_view string, uint32_t position) {
    int64_t milliseconds = read_duration(string);
    if (milliseconds >= 0 && milliseconds <= longest_duration) {
      push(position).milliseconds = milliseconds;
      return;
    }
    refuse(Rule::duration, position, "%s",
           milliseconds < 0 ? "expected a duration: a number of ms, s, m, h, d or w, such as \"90s\""
                            : "expected a duration of at most 2147483647 seconds");
    push_broken(position);
  }

  // ---- Names.

  bool Key(const char *name, rapidjson::SizeType length, bool /*copy*/) {
    current->name = name;
    if (current->kind == Kind::object) {
      begin_member({name, length});
    } else if (current->kind == Kind::ignored) {
      add_unknown({name, length});
    } else if (!is_entry_name(name, length, current->key->hyphen)) {
      check_bytes(Kind::ignored, name, length);
      refuse(Rule::entry_name, offset(name) - 1, "entry names are 1 to 63 of the characters A-Z a-z 0-9 _%s",
             current->key->hyphen ? " -" : "");
    }
    return !halted;
  }

  void begin_member(std::string_view name) {
    const SchemaKey *member = schema_member(*current->key, name);
    current->member = member;
    current->member_kind = member != nullptr ? member->kind : Kind::ignored;
    if (member == nullptr) {
      add_unknown(name);
      report_unknown(name);
      return;
    }
    uint64_t bit = uint64_t{1} << (member - current->key->members);
    if ((current->seen & bit) != 0) refuse_repeated(name.data());
    current->seen |= bit;
  }

  void add_unknown(std::string_view name) {
    check_bytes(Kind::ignored, name.data(), static_cast<uint32_t>(name.size()));
    unknown_names.push_back(name);
  }

  void report_unknown(std::string_view name) {
    Meant meant(name);
    for (const SchemaKey &member : members_of(*current->key)) meant.look_at(member.name);
    report_at(document, Rule::unknown_key, offset(name.data()) - 1, path(), "%s%s", unknown_key_message,
              meant.hint().c_str());
  }

  // ---- Objects and arrays.

  bool StartObject() { return open(Found::object); }
  bool StartArray() { return open(Found::array); }
  bool EndObject(rapidjson::SizeType /*count*/) { return close(); }
  bool EndArray(rapidjson::SizeType /*count*/) { return close(); }

  bool open(Found found) {
    uint32_t position = here() - 1;
    if (current == frames + deepest) {
      current->counted++;
      refuse(Rule::nesting, position, "nested deeper than %u levels", deepest);
      halted = true;
      return false;
    }
    Kind kind = begin(found, position);
    const SchemaKey *key = current->member;
    *++current = Frame{.array = found == Found::array,
                       .position = position,
                       .first_child = pending.size(),
                       .first_unknown = unknown_names.size()};
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
    compare_unknown_names();
    if (current->kind == Kind::ignored) {
      current--;
      return !halted;
    }
    if (current->kind == Kind::object && current->key->has_fallbacks) add_fallbacks();
    Container *container = take_children();
    if (current->kind == Kind::map) index_entries(container);
    current--;
    push(current[1].position).container = container;
    return !halted;
  }

  // Adds the members with a fallback that are not written.
  void add_fallbacks() {
    for (const SchemaKey &member : members_of(*current->key)) {
      bool seen = (current->seen & uint64_t{1} << (&member - current->key->members)) != 0;
      if (member.fallback == Fallback::none || seen) continue;
      current->member = &member;
      current->member_kind = member.kind;
      push(current->position).string = fallback_of(member);
    }
  }
};

}  // namespace

bool parse_document(Document &document) {
  rapidjson::InsituStringStream stream(document.content.data());
  Loader loader(document, stream);
  if (document.content.starts_with("\xEF\xBB\xBF")) {
    report_at(document, Rule::syntax, 0, {},
              "syntax error: the file starts with a byte order mark, save it without one");
    return false;
  }
  rapidjson::Reader reader;
  constexpr unsigned flags = rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::ParseResult result = reader.Parse<flags>(stream, loader);
  if (loader.halted) return false;
  size_t size = document.content.size();
  size_t end = result.IsError() ? result.Offset() : stream.Tell();
  if (result.IsError() || end < size) {
    // Without an error, the parser has stopped at a zero byte, which ends the content for it.
    auto code = result.IsError() ? result.Code() : rapidjson::kParseErrorDocumentRootNotSingular;
    if (is_between_values(code)) *loader.current = Frame{};
    loader.refuse(Rule::syntax, static_cast<uint32_t>(end), "syntax error: %s",
                  syntax_problem(code, document.content.c_str() + end, end >= size));
    return false;
  }
  loader.finish_tree();
  return true;
}
