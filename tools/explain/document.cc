#include "explain/document.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unordered_map>

#include "config/report.h"
#include "sandbox/fd.h"
#include "tools/config/edit.h"

namespace {

bool complain(const std::string &file, const char *problem) {
  fprintf(stderr, "tessera-explain: %s: %s\n", file.c_str(), problem);
  return false;
}

bool read_file(const std::string &name, std::string &content) {
  Fd fd(open(name.c_str(), O_RDONLY | O_CLOEXEC));
  return (fd.is_open() && read_all(fd.get(), &content)) || complain(name, strerror(errno));
}

bool read_facts(const std::string &name, Facts &facts) {
  std::string text;
  if (!read_file(name, text)) return false;
  Value root;
  bool is_flat = parse(text, &root) && root.type == Value::Type::object &&
                 std::all_of(root.children.begin(), root.children.end(),
                             [](const Value &member) { return member.type == Value::Type::string; });
  if (!is_flat) return complain(name, "expected a JSON object of keys and strings");
  for (const Value &member : root.children) facts[member.name] = member.string;
  return true;
}

// Adds the value and all values below it that the schema knows. `line_starts` are the offsets of the lines in the
// content.
void collect_settings(Setup &setup, const std::vector<size_t> &line_starts, const Value &value, const Place &place,
                      const std::string &path, bool is_entry) {
  if (!path.empty()) {
    auto line = std::upper_bound(line_starts.begin(), line_starts.end(), value.begin) - line_starts.begin();
    std::string json = value.nests() ? "" : setup.content.substr(value.begin, value.end - value.begin);
    setup.settings.push_back(
        {path, false, !value.nests(), is_entry && value.nests(),
         value.type == Value::Type::string ? value.string : json, json, static_cast<unsigned>(line),
         static_cast<unsigned>(value.begin - line_starts[static_cast<size_t>(line - 1)] + 1), &value});
  }
  const std::string above = path.empty() ? "" : path + ".";
  for (size_t i = 0; i < value.children.size(); i++) {
    const Value &child = value.children[i];
    const std::string name = value.type == Value::Type::array ? std::to_string(i) : child.name;
    Place below = place_below(place, name);
    if (below.kind != Kind::ignored)
      collect_settings(setup, line_starts, child, below, above + name, place.kind == Kind::map);
  }
}

void index_settings(Setup &setup) {
  std::vector<size_t> line_starts = {0};
  for (size_t i = 0; i < setup.content.size(); i++)
    if (setup.content[i] == '\n') line_starts.push_back(i + 1);
  collect_settings(setup, line_starts, setup.root, Place(), "", false);
  for (const auto &[key, value] : setup.facts)
    setup.settings.push_back({key, true, true, false, value, quoted(value), 0, 0, nullptr});
  for (size_t i = 0; i < setup.settings.size(); i++) {
    setup.index[{setup.settings[i].path, setup.settings[i].is_fact}] = i;
    setup.values.insert(setup.settings[i].value);
    if (setup.settings[i].is_entry) setup.entry_names.insert(last_name(setup.settings[i].path));
  }
}

// The path of the map that an entry is in.
std::string map_of(const std::string &entry) {
  return entry.substr(0, entry.rfind('.'));
}

// Changes by the value that they change or remove.
using Edits = std::unordered_map<const Value *, const Change *>;

// Appends the value as JSON, with the edits of the values below it.
void append_edited(const std::string &text, const Value &value, const Edits &edits, std::string &json) {
  auto edit = edits.find(&value);
  if (edit != edits.end() || !value.nests()) {
    json += edit != edits.end() ? edit->second->value : text.substr(value.begin, value.end - value.begin);
    return;
  }
  bool is_first = true;
  json += text[value.begin];
  for (const Value &child : value.children) {
    edit = edits.find(&child);
    if (edit != edits.end() && edit->second->kind == Change::removed) continue;
    if (!is_first) json += ',';
    is_first = false;
    if (value.type == Value::Type::object) json.append(quoted(child.name)).append(":");
    append_edited(text, child, edits, json);
  }
  json += text[value.end - 1];
}

// Makes changes of any kind, one after the other. Entries of the same map get their new names at once.
bool apply_in_order(std::string &config, const std::vector<const Change *> &changes) {
  for (auto next = changes.begin(); next != changes.end();) {
    const Change &change = **next++;
    Value root;
    if (!parse(config, &root)) return false;
    if (change.kind == Change::renamed) {
      const std::string map = map_of(change.path);
      NewNames new_names = {{last_name(change.path), change.value}};
      for (; next != changes.end() && (*next)->kind == Change::renamed && map_of((*next)->path) == map; ++next)
        new_names[last_name((*next)->path)] = (*next)->value;
      config = rename_entries(config, root, map, new_names);
      continue;
    }
    Edit edit{.command = {}, .path = change.path, .value = change.value, .json = true, .create = true};
    Edited outcome = change.kind == Change::changed ? set_value(config, root, edit) : unset_value(config, root, edit);
    config = std::move(outcome.content);
    if (!outcome.problem.empty()) return false;
  }
  return true;
}

// True for the name of an entry, or an index.
bool is_chosen(const Setup &setup, const std::string &name) {
  return setup.entry_names.count(name) > 0 || name.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

bool lies_in(const std::string &path, const std::string &top) {
  return path.compare(0, top.size(), top) == 0 && (path.size() == top.size() || path[top.size()] == '.');
}

std::string pattern_of(const Setup &setup, const std::string &path) {
  std::string pattern;
  for (const std::string &name : components_of(path))
    pattern.append(pattern.empty() ? "" : ".").append(is_chosen(setup, name) ? "*" : name);
  return pattern;
}

std::string owner_of(const Setup &setup, const std::string &path) {
  std::string owner = path;
  while (!owner.empty() && !is_chosen(setup, last_name(owner)))
    owner.resize(owner.find('.') != std::string::npos ? owner.rfind('.') : 0);
  return owner;
}

std::string last_name(const std::string &path) {
  return path.substr(path.rfind('.') + 1);
}

SchemaKey schema_at(const std::string &path) {
  Place place;
  for (const std::string &name : components_of(path)) {
    place = place_below(place, name);
    if (place.kind == Kind::ignored) return {};
  }
  SchemaKey key = *place.key;
  key.kind = place.kind;
  return key;
}

std::string why_refused(const std::string &config) {
  std::vector<Finding> findings;
  config_free(config_check_content(config, &findings));
  for (const Finding &finding : findings)
    if (finding.grade == Grade::refused)
      return std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " + finding.path +
             (finding.path.empty() ? "" : ": ") + finding.message;
  return "";
}

std::optional<Setup> read_setup(const std::string &config_file, const std::string &facts_file) {
  Setup setup;
  setup.config_name = config_file;
  setup.facts_name = facts_file;
  if (!read_file(config_file, setup.content)) return std::nullopt;
  std::string problem = why_refused(setup.content);
  if (!problem.empty()) {
    fprintf(stderr, "tessera-explain: %s:%s\n", config_file.c_str(), problem.c_str());
    return std::nullopt;
  }
  if (!parse(setup.content, &setup.root)) return complain(config_file, "is not JSON"), std::nullopt;
  if (!facts_file.empty() && !read_facts(facts_file, setup.facts)) return std::nullopt;
  index_settings(setup);
  return setup;
}

const Setting *find_setting(const Setup &setup, const std::string &path, bool is_fact) {
  auto found = setup.index.find({path, is_fact});
  return found != setup.index.end() ? &setup.settings[found->second] : nullptr;
}

std::string why_unknown(const Setup &setup, const std::string &path) {
  const std::vector<std::string> names = components_of(path);
  Found found;
  size_t depth = 0;
  std::string problem;
  if (!find(setup.root, names, &found, &depth, &problem)) return problem;
  bool is_left_out = found.value != nullptr || found.parent_place.kind == Kind::object;
  return is_left_out ? "" : why_missing(names, found, depth);
}

const Value *value_at(const Setup &setup, const std::string &path) {
  const Value *value = &setup.root;
  bool is_twice = false;
  for (const std::string &name : components_of(path))
    if (value != nullptr) value = value->nests() ? child_of(*value, name, &is_twice) : nullptr;
  return value;
}

bool apply_changes(const Setup &setup, const std::vector<Change> &changes, std::string &config, Facts &facts) {
  config.clear();
  facts = setup.facts;
  Edits edits;
  std::vector<const Change *> others;
  for (const Change &change : changes) {
    const Setting *setting = change.is_fact ? nullptr : find_setting(setup, change.path);
    if (!change.is_fact && others.empty() && setting != nullptr && change.kind != Change::renamed) {
      edits[setting->node] = &change;
    } else if (!change.is_fact) {
      others.push_back(&change);
    } else if (change.kind == Change::removed) {
      facts.erase(change.path);
    } else {
      facts[change.path] = change.value;
    }
  }
  if (edits.empty()) {
    config = setup.content;
  } else {
    append_edited(setup.content, setup.root, edits, config);
  }
  return apply_in_order(config, others);
}

std::string facts_text(const Facts &facts) {
  std::string text;
  for (const auto &[key, value] : facts)
    text.append(text.empty() ? "{" : ",").append(quoted(key)).append(":").append(quoted(value));
  return text.empty() ? "{}" : text + "}";
}
