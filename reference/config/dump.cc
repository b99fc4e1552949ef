// Writes a node and all nodes below it as JSON.
#include <algorithm>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "config/document.h"
#include "platform/tools.h"
#include "util/owned.h"

namespace {

void dump_string(std::string &out, const char *string) {
  static constexpr char escapes[] = "\b\f\n\r\t\"\\";
  static constexpr char letters[] = "bfnrt\"\\";
  out += '"';
  for (;;) {
    const size_t plain = strcspn(string, escapes);
    out.append(string, plain);
    string += plain;
    if (*string == '\0') break;
    out += '\\';
    out += letters[strchr(escapes, *string++) - escapes];
  }
  out += '"';
}

// The shortest digits that read back as the same number.
void dump_number(std::string &out, double number) {
  constexpr int always_enough = 17;
  for (int digits = 1; digits <= always_enough; digits++) {
    char *string;
    xasprintf(&string, "%.*g", digits, number + 0.0);  // also makes -0 a 0
    const OwnedString owner(string);
    if (digits < always_enough && strtod(string, nullptr) != number) continue;
    out += string;
    break;
  }
}

void dump_node(std::string &out, const ConfigNode &node);

void dump_array(std::string &out, const ConfigNode &array) {
  out += '[';
  for (const ConfigNode &element : children_of(&array)) {
    if (index_of(&element) > 0) out += ',';
    dump_node(out, element);
  }
  out += ']';
}

void dump_members(std::string &out, const ConfigNode &object) {
  std::vector<const ConfigNode *> members;
  for (const ConfigNode &member : children_of(&object)) members.push_back(&member);
  std::sort(members.begin(), members.end(),
            [](const ConfigNode *a, const ConfigNode *b) { return strcmp(a->name, b->name) < 0; });
  out += '{';
  for (const ConfigNode *member : members) {
    if (member != members.front()) out += ',';
    dump_string(out, member->name);
    out += ':';
    dump_node(out, *member);
  }
  out += '}';
}

void dump_node(std::string &out, const ConfigNode &node) {
  switch (node.kind) {
    case Kind::object:
    case Kind::map:
      dump_members(out, node);
      break;
    case Kind::array:
      dump_array(out, node);
      break;
    case Kind::string:
    case Kind::reference:
      dump_string(out, node.value.string);
      break;
    case Kind::boolean:
      out += node.value.boolean ? "true" : "false";
      break;
    case Kind::integer:
      out += std::to_string(int64_t{node.value.integer});
      break;
    case Kind::number:
      dump_number(out, node.value.number);
      break;
    case Kind::duration:
      out += std::to_string(node.value.milliseconds);
      break;
    case Kind::ignored:
      break;
  }
}

}  // namespace

const char *config_dump(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  Document &document = document_of(node);
  std::string &dump = document.dumps[node];
  if (dump.empty()) dump_node(dump, *node);
  return dump.c_str();
}
