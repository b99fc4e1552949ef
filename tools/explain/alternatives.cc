#include "explain/alternatives.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "util/strings.h"

namespace {

// The offset of the character that can change while the string keeps its form: its last digit, or its last letter when
// there is no digit.
size_t place_of_change(const std::string &text) {
  size_t digit = text.find_last_of("0123456789");
  if (digit != std::string::npos) return digit;
  size_t place = text.size();
  while (place > 0 && isalnum(static_cast<unsigned char>(text[place - 1])) == 0) place--;
  return place > 0 ? place - 1 : std::string::npos;
}

// Changes all lines but those that begin and end a key or certificate.
std::string similar_lines(const Setup &setup, const std::string &text) {
  std::string other;
  for (std::string_view line : split(text, '\n')) {
    bool is_fixed = line.empty() || line.substr(0, 5) == "-----";
    other += (is_fixed ? std::string(line) : similar(setup, std::string(line))) + "\n";
  }
  other.pop_back();
  return other;
}

// References to the other entries of the map: "/network/device/eth0" for "/network/device/eth1".
std::vector<std::string> other_targets(const Setup &setup, const std::string &reference) {
  std::vector<std::string> targets;
  size_t slash = reference.rfind('/');
  if (slash == std::string::npos || slash == 0) return targets;
  std::string map = reference.substr(1, slash - 1);
  std::replace(map.begin(), map.end(), '/', '.');
  const Value *entries = value_at(setup, map);
  if (entries == nullptr || entries->type != Value::Type::object) return targets;
  for (const Value &entry : entries->children) {
    std::string target = reference.substr(0, slash + 1) + entry.name;
    if (target != reference) targets.push_back(target);
  }
  return targets;
}

std::vector<std::string> known_words(const SchemaKey &key) {
  if (key.words == nullptr) return {};
  std::vector<std::string_view> words = split(key.words, ' ');
  return {words.begin(), words.end()};
}

std::vector<std::string> other_strings(const Setup &setup, const SchemaKey &key, const std::string &value) {
  constexpr size_t most = 3;
  std::vector<std::string> values = known_words(key);
  values.erase(std::remove(values.begin(), values.end(), value), values.end());
  if (values.size() > most) values.resize(most);
  if (value.empty()) return values;
  if (value[0] == '/') {
    for (const std::string &target : other_targets(setup, value))
      if (values.size() < most) values.push_back(target);
  } else if (key.others != OtherWords::useless || known_words(key).empty()) {
    values.push_back(similar(setup, value));
  }
  if (key.kind != Kind::duration) values.emplace_back();
  return values;
}

// Facts are strings, and some strings mean yes or no.
std::string other_fact(const Setup &setup, const std::string &value) {
  static constexpr const char *answers[][2] = {{"true", "false"}, {"1", "0"}, {"y", "n"}};
  for (const auto &[yes, no] : answers)
    if (value == yes) return no;
  return similar(setup, value);
}

std::vector<std::string> other_numbers(const std::string &value) {
  long number = strtol(value.c_str(), nullptr, 10);
  if (number == 0) return {"1"};
  return {std::to_string(number - 1), "0"};
}

// Values for a key that the document leaves out.
std::vector<Change> additions(const Setup &setup, const std::string &path) {
  std::vector<std::string> values;
  SchemaKey key = schema_at(path);
  if (key.kind == Kind::boolean) values = {"true"};
  if (key.kind == Kind::integer || key.kind == Kind::number) values = {"1"};
  if (key.kind == Kind::duration) values = {"60"};
  if (key.kind == Kind::string)
    for (const std::string &word : other_strings(setup, key, "")) values.push_back(quoted(word));
  std::vector<Change> changes;
  for (const std::string &value : values) changes.push_back({path, false, Change::changed, value});
  return changes;
}

// Adds one more known word to an array of strings; gives no change for anything else.
std::vector<Change> more_elements(const Setup &setup, const std::string &path) {
  std::vector<Change> changes;
  SchemaKey key = schema_at(path);
  if (key.kind != Kind::array || key.element != Kind::string) return changes;
  const Value *array = value_at(setup, path);
  std::vector<Value> elements;
  if (array != nullptr) elements = array->children;
  for (const std::string &word : known_words(key)) {
    bool is_there = std::any_of(elements.begin(), elements.end(), [&](const Value &is) { return is.string == word; });
    if (!is_there) changes.push_back({path + ".+", false, Change::changed, quoted(word)});
  }
  return changes;
}

// Values for a missing fact. `kind` tells how the run read it: bool, int, string or list.
std::vector<Change> reports(const Setup &setup, const std::string &key, const std::string &kind) {
  std::vector<Change> changes;
  if (kind == "bool") changes.push_back({key, true, Change::changed, "true"});
  if (kind == "int") changes.push_back({key, true, Change::changed, "1"});
  if (kind == "string")
    for (const char *value : {"192.0.2.1", "1"}) changes.push_back({key, true, Change::changed, value});
  const Value *interfaces = value_at(setup, "network.interface");
  if (kind == "list" && interfaces != nullptr)
    for (const Value &entry : interfaces->children)
      changes.push_back({key + ".0", true, Change::changed, "network.interface." + entry.name});
  return changes;
}

}  // namespace

std::string similar(const Setup &setup, const std::string &text) {
  if (std::count(text.begin(), text.end(), '\n') > 1) return similar_lines(setup, text);
  size_t slash = text.find('/');
  if (slash != 0 && slash != std::string::npos)
    return similar(setup, text.substr(0, slash)) + "/" + similar(setup, text.substr(slash + 1));
  size_t place = place_of_change(text);
  if (place == std::string::npos) return text + "x";
  const std::string characters = isdigit(static_cast<unsigned char>(text[place])) != 0 ? "9876543210" : "abcdefABCDEF";
  std::string other = text;
  size_t at = characters.find(text[place]);
  for (size_t i = 1; i <= characters.size(); i++) {
    other[place] = characters[((at == std::string::npos ? 0 : at) + i) % characters.size()];
    if (other != text && setup.values.count(other) == 0) return other;
  }
  return text + "x";
}

std::vector<Change> alternatives(const Setup &setup, const Setting &setting) {
  std::vector<Change> changes;
  auto add = [&](Change::Kind kind, const std::string &value) {
    changes.push_back({setting.path, setting.is_fact, kind, value});
  };
  if (setting.is_fact) {
    add(Change::changed, other_fact(setup, setting.value));
    add(Change::removed, "");
    return changes;
  }
  if (!setting.is_leaf) {
    std::string name = last_name(setting.path) + "x";
    while (setup.entry_names.count(name) > 0) name += "x";
    if (setting.is_entry) add(Change::renamed, name);
    add(Change::removed, "");
    return changes;
  }
  if (setting.json == "true" || setting.json == "false") {
    add(Change::changed, setting.json == "true" ? "false" : "true");
  } else if (setting.json[0] != '"') {
    for (const std::string &number : other_numbers(setting.value)) add(Change::changed, number);
  } else {
    for (const std::string &text : other_strings(setup, schema_at(setting.path), setting.value))
      add(Change::changed, quoted(text));
  }
  return changes;
}

std::vector<Change> changes_of(const Setup &setup, const Read &read) {
  const Setting *setting = find_setting(setup, read.path, read.is_fact);
  if (setting != nullptr && setting->is_leaf) return alternatives(setup, *setting);
  if (read.is_fact) return reports(setup, read.path, read.kind);
  std::vector<Change> changes = more_elements(setup, read.path);
  if (setting == nullptr)
    for (const Change &change : additions(setup, read.path)) changes.push_back(change);
  return changes;
}
