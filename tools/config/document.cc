#include "tools/config/document.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <cstring>

#include "config/characters.h"
#include "util/strings.h"

namespace {

constexpr size_t deepest = 64;

// Builds the tree of values, with their offsets, from the events of the JSON reader.
struct Recorder {
  std::string_view content;
  rapidjson::MemoryStream stream;
  std::vector<Value> open = {Value()};  // the containers around the next value; the root is the child of the first
  Value next = {};
  size_t token_end = 0;

  explicit Recorder(std::string_view text) : content(text), stream(text.data(), text.size()) {}

  size_t token_begin() const { return content.find_first_not_of(" \t\r\n,:", token_end); }
  void start(Value::Type type) {
    next.type = type;
    next.begin = token_begin();
    if (next.name_end == 0) next.start = next.begin;
  }
  bool finish(Value value, size_t end) {
    value.end = token_end = end;
    open.back().children.push_back(std::move(value));
    next = {};
    return true;
  }
  bool scalar(Value::Type type) {
    start(type);
    return finish(std::move(next), stream.Tell());
  }
  // The reader calls these before it passes the bracket.
  bool enter(Value::Type type) {
    start(type);
    token_end = stream.Tell() + 1;
    open.push_back(std::move(next));
    next = {};
    return open.size() <= deepest + 1;
  }
  bool leave() {
    Value value = std::move(open.back());
    open.pop_back();
    return finish(std::move(value), stream.Tell() + 1);
  }

  bool Key(const char *bytes, rapidjson::SizeType length, bool /*copy*/) {
    next.start = token_begin();
    next.name.assign(bytes, length);
    next.name_end = token_end = stream.Tell();
    return true;
  }
  bool String(const char *bytes, rapidjson::SizeType length, bool /*copy*/) {
    next.string.assign(bytes, length);
    return scalar(Value::Type::string);
  }
  bool StartObject() { return enter(Value::Type::object); }
  bool StartArray() { return enter(Value::Type::array); }
  bool EndObject(rapidjson::SizeType /*members*/) { return leave(); }
  bool EndArray(rapidjson::SizeType /*elements*/) { return leave(); }
  bool Null() { return scalar(Value::Type::literal); }
  bool Bool(bool /*value*/) { return scalar(Value::Type::literal); }
  bool RawNumber(const char * /*bytes*/, rapidjson::SizeType /*length*/, bool /*copy*/) {
    return scalar(Value::Type::literal);
  }
  // Not called: the reader passes numbers as strings.
  bool Int(int /*value*/) { return false; }
  bool Uint(unsigned /*value*/) { return false; }
  bool Int64(int64_t /*value*/) { return false; }
  bool Uint64(uint64_t /*value*/) { return false; }
  bool Double(double /*value*/) { return false; }
};

bool is_index(std::string_view name) {
  return !name.empty() && name.size() < 10 && name.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

bool parse(std::string_view content, Value *root) {
  constexpr unsigned flags =
      rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseValidateEncodingFlag;
  Recorder recorder(content);
  rapidjson::Reader reader;
  if (reader.Parse<flags>(recorder.stream, recorder).IsError()) return false;
  // The reader also stops at a zero byte.
  if (recorder.stream.Tell() != content.size()) return false;
  *root = std::move(recorder.open.front().children.front());
  return true;
}

Place place_below(const Place &place, std::string_view name) {
  if (place.kind == Kind::map) return {place.key, Kind::object};
  if (place.is_list() && (name == "+" || is_index(name))) return {place.key, place.key->element};
  const SchemaKey *member = place.kind == Kind::object ? schema_member(*place.key, name) : nullptr;
  return member != nullptr ? Place{member, member->kind} : Place{nullptr, Kind::ignored};
}

std::vector<std::string> components_of(std::string_view path) {
  char separator = '.';
  if (!path.empty() && path.front() == '/') {
    path.remove_prefix(1);
    separator = '/';
  }
  if (path.empty()) return {};
  std::vector<std::string_view> pieces = split(path, separator);
  return {pieces.begin(), pieces.end()};
}

const Value *child_of(const Value &value, const std::string &name, bool *twice) {
  if (value.type == Value::Type::array) {
    size_t index = is_index(name) ? std::stoul(name) : value.children.size();
    return index < value.children.size() ? &value.children[index] : nullptr;
  }
  const Value *found = nullptr;
  for (const Value &child : value.children) {
    if (child.name != name) continue;
    *twice = found != nullptr;
    found = &child;
  }
  return found;
}

std::string suggestion(const std::string &name, const std::vector<std::string> &names) {
  Meant meant(name);
  for (const std::string &candidate : names) meant.look_at(candidate);
  return meant.hint();
}

std::vector<std::string> names_below(const Place &place, const Value *value) {
  std::vector<std::string> names;
  if (place.kind == Kind::object) {
    for (const SchemaKey &member : members_of(*place.key)) names.emplace_back(member.name);
  } else if (value != nullptr) {
    for (size_t i = 0; i < value->children.size(); i++)
      names.push_back(place.is_list() ? std::to_string(i) : value->children[i].name);
  }
  return names;
}

std::string quoted(std::string_view string) {
  constexpr std::string_view escaped = "\"\\\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\bfnrt";
  std::string json = "\"";
  for (char byte : string) {
    size_t which = escaped.find(byte);
    if (which != std::string_view::npos) {
      json.append("\\").append(1, letters[which]);
    } else if (static_cast<unsigned char>(byte) < 0x20) {
      constexpr char digits[] = "0123456789abcdef";
      json.append("\\u00").append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    } else {
      json += byte;
    }
  }
  return json + "\"";
}
