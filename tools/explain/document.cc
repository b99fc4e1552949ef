#include "explain/document.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include "config/report.h"

namespace {

using rapidjson::Value;

struct Place {
  unsigned line;
  unsigned column;
};

// The member or element of that name; null when there is none.
Value *child(Value &node, const std::string &name) {
  if (node.IsObject()) {
    auto member = node.FindMember(name.c_str());
    return member != node.MemberEnd() ? &member->value : nullptr;
  }
  if (!node.IsArray() || name.empty() || name.find_first_not_of("0123456789") != std::string::npos) return nullptr;
  unsigned long index = strtoul(name.c_str(), nullptr, 10);
  return index < node.Size() ? &node[static_cast<rapidjson::SizeType>(index)] : nullptr;
}

std::string shown_value(const Value &value) {
  return value.IsObject() || value.IsArray() ? "" : value.IsString() ? value.GetString() : text_of(value);
}

// Calls `visit` for every value below `node`, its path and its depth-first order.
void walk(const Value &node, const std::string &path,
          const std::function<void(const std::string &, const Value &)> &visit) {
  if (!path.empty()) visit(path, node);
  std::string prefix = path.empty() ? "" : path + ".";
  if (node.IsObject()) {
    for (const auto &member : node.GetObject()) walk(member.value, prefix + member.name.GetString(), visit);
  } else if (node.IsArray()) {
    for (rapidjson::SizeType i = 0; i < node.Size(); i++) walk(node[i], prefix + std::to_string(i), visit);
  }
}

// Where each value of the loaded tree stands. The loader tells places in findings only, so each value gets one.
void collect_places(const ConfigNode *node, std::vector<Finding> &findings, std::map<std::string, Place> &places) {
  config_add_finding(node, Rule::unknown_key, "", "", "");
  if (!findings.empty()) {
    places[findings.back().path] = {findings.back().line, findings.back().column};
    findings.clear();
  }
  for (auto *member = config_object_first(node); member != nullptr; member = config_object_next(member))
    collect_places(member, findings, places);
  for (auto *element = config_array_first(node); element != nullptr; element = config_array_next(element))
    collect_places(element, findings, places);
}

bool read_file(const std::string &name, std::string &content) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  content = text.str();
  return file.good();
}

bool complain(const std::string &file, const char *problem) {
  fprintf(stderr, "tessera-explain: %s: %s\n", file.c_str(), problem);
  return false;
}

bool read_facts(const std::string &name, Facts &facts) {
  std::string text;
  if (!read_file(name, text)) return complain(name, "cannot be read");
  rapidjson::Document document;
  if (document.Parse(text.c_str(), text.size()).HasParseError() || !document.IsObject())
    return complain(name, "expected a JSON object of keys and strings");
  for (const auto &member : document.GetObject()) {
    if (!member.value.IsString()) return complain(name, "expected a string for every key");
    facts[member.name.GetString()] = member.value.GetString();
  }
  return true;
}

// Loads the tree with the loader of tessera, which refuses what tessera refuses.
bool load_places(const std::string &name, std::map<std::string, Place> &places) {
  std::vector<Finding> findings;
  const ConfigNode *root = config_check_file(name.c_str(), &findings);
  bool refused = root == nullptr;
  for (const Finding &finding : findings) {
    if (finding.grade != Grade::refused) continue;
    refused = true;
    fprintf(stderr, "tessera-explain: %s:%u:%u: %s%s%s\n", name.c_str(), finding.line, finding.column,
            finding.path.c_str(), finding.path.empty() ? "" : ": ", finding.message.c_str());
  }
  // Of a reference to nothing there is this finding only.
  for (const Finding &finding : findings) places[finding.path] = {finding.line, finding.column};
  findings.clear();
  if (!refused) collect_places(root, findings, places);
  config_free(root);
  return !refused;
}

void collect_settings(Setup &setup, const std::map<std::string, Place> &places) {
  walk(setup.config, "", [&](const std::string &path, const Value &value) {
    auto found = places.find(path);
    if (found == places.end()) return;  // a key that no program knows
    size_t dot = path.rfind('.');
    bool is_leaf = !value.IsObject() && !value.IsArray();
    bool is_entry = value.IsObject() && dot != std::string::npos && schema_at(path.substr(0, dot)).kind == Kind::map;
    setup.settings.push_back(
        {path, false, is_leaf, is_entry, shown_value(value), found->second.line, found->second.column});
  });
  for (const auto &[key, value] : setup.facts) setup.settings.push_back({key, true, true, false, value, 0, 0});
}

// References to what is renamed follow it.
void rename_references(Value &node, const std::string &from, const std::string &to,
                       rapidjson::Document::AllocatorType &memory) {
  if (node.IsString() && node.GetString() == from) node.SetString(to.c_str(), memory);
  if (node.IsObject())
    for (auto &member : node.GetObject()) rename_references(member.value, from, to, memory);
  if (node.IsArray())
    for (auto &element : node.GetArray()) rename_references(element, from, to, memory);
}

bool apply_to_document(rapidjson::Document &document, const Change &change) {
  auto &memory = document.GetAllocator();
  std::vector<std::string> names = components(change.path);
  if (names.empty()) return !document.Parse(change.value.c_str()).HasParseError();
  Value *parent = &document;
  for (size_t i = 0; i + 1 < names.size(); i++) {
    Value *next = child(*parent, names[i]);
    if (next == nullptr && parent->IsObject() && change.kind == Change::set) {
      parent->AddMember(Value(names[i].c_str(), memory), Value(rapidjson::kObjectType), memory);
      next = child(*parent, names[i]);
    }
    if (next == nullptr) return false;
    parent = next;
  }
  const std::string &name = names.back();
  Value *old = child(*parent, name);
  if (change.kind == Change::set) {
    rapidjson::Document value(&memory);
    if (value.Parse(change.value.c_str()).HasParseError()) return false;
    if (old != nullptr) {
      *old = value.Move();
    } else if (parent->IsObject()) {
      parent->AddMember(Value(name.c_str(), memory), value.Move(), memory);
    } else if (parent->IsArray()) {
      parent->PushBack(value.Move(), memory);
    }
    return old != nullptr || !parent->IsNull();
  }
  if (old == nullptr) return false;
  if (change.kind == Change::rename) {
    parent->FindMember(name.c_str())->name.SetString(change.value.c_str(), memory);
    std::string reference = "/" + change.path;
    std::replace(reference.begin(), reference.end(), '.', '/');
    rename_references(document, reference, reference.substr(0, reference.rfind('/') + 1) + change.value, memory);
  } else if (parent->IsObject()) {
    parent->EraseMember(name.c_str());
  } else {
    parent->Erase(parent->Begin() + atoi(name.c_str()));
  }
  return true;
}

}  // namespace

std::vector<std::string> components(const std::string &path) {
  std::vector<std::string> names;
  for (size_t start = 0; start < path.size();) {
    size_t end = std::min(path.find('.', start), path.size());
    names.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return names;
}

SchemaKey schema_at(const std::string &path) {
  SchemaKey key = described_schema;
  bool is_entry = false;  // `key` is the map or array, and one of its entries is meant
  for (const std::string &name : components(path)) {
    if ((key.kind == Kind::map || key.kind == Kind::array) && !is_entry) {
      is_entry = true;
      continue;
    }
    const SchemaKey *member = schema_member(key, name);
    if (member == nullptr) return {};
    key = *member;
    is_entry = false;
  }
  if (is_entry) key.kind = key.element;
  return key;
}

std::optional<Setup> read_setup(const std::string &config_file, const std::string &facts_file) {
  Setup setup;
  setup.config_name = config_file;
  setup.facts_name = facts_file;
  std::map<std::string, Place> places;
  std::string &text = setup.text;
  if (!load_places(config_file, places)) return std::nullopt;
  if (!read_file(config_file, text)) return complain(config_file, "cannot be read"), std::nullopt;
  setup.config.Parse<rapidjson::kParseFullPrecisionFlag>(text.c_str(), text.size());
  if (!facts_file.empty() && !read_facts(facts_file, setup.facts)) return std::nullopt;
  collect_settings(setup, places);
  return setup;
}

const Setting *find_setting(const Setup &setup, const std::string &path) {
  for (const Setting &setting : setup.settings)
    if (setting.path == path) return &setting;
  return nullptr;
}

bool apply_changes(const Setup &setup, const std::vector<Change> &changes, std::string &config, Facts &facts) {
  rapidjson::Document document;
  document.CopyFrom(setup.config, document.GetAllocator());
  facts = setup.facts;
  for (const Change &change : changes) {
    if (!change.is_fact) {
      if (!apply_to_document(document, change)) return false;
    } else if (change.kind == Change::remove) {
      facts.erase(change.path);
    } else {
      facts[change.path] = change.value;
    }
  }
  config = changes.empty() ? setup.text : text_of(document);
  return true;
}

std::string text_of(const Value &value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return buffer.GetString();
}

std::string facts_text(const Facts &facts) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.StartObject();
  for (const auto &[key, value] : facts) {
    writer.Key(key.c_str());
    writer.String(value.c_str());
  }
  writer.EndObject();
  return buffer.GetString();
}

const rapidjson::Value *value_at(const rapidjson::Value &root, const std::string &path) {
  const Value *node = &root;
  for (const std::string &name : components(path)) {
    node = child(const_cast<Value &>(*node), name);
    if (node == nullptr) return nullptr;
  }
  return node;
}
