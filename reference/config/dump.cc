// A node and all below it as text.
#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "config/document.h"
#include "platform/tools.h"

namespace {

void dump_text(std::string &out, const char *text) {
  static constexpr char escapes[] = "\b\f\n\r\t\"\\";
  static constexpr char letters[] = "bfnrt\"\\";
  out += '"';
  for (;;) {
    const size_t plain = strcspn(text, escapes);
    out.append(text, plain);
    text += plain;
    if (*text == '\0') break;
    out += '\\';
    out += letters[strchr(escapes, *text++) - escapes];
  }
  out += '"';
}

// The shortest digits that read back as the same number.
void dump_number(std::string &out, double number) {
  constexpr int always_enough = 17;
  for (int digits = 1; digits <= always_enough; digits++) {
    char *text;
    xasprintf(&text, "%.*g", digits, number + 0.0);  // also makes -0 a 0
    const std::unique_ptr<char, void (*)(void *)> owner(text, free);
    if (digits < always_enough && strtod(text, nullptr) != number) continue;
    out += text;
    break;
  }
}

void dump_node(std::string &out, const Document &document, const ConfigNode *node);

void dump_array(std::string &out, const Document &document, const ConfigNode *array) {
  out += '[';
  for (const ConfigNode *element = config_array_first(array); element != nullptr;
       element = config_array_next(element)) {
    if (element->index > 0) out += ',';
    dump_node(out, document, element);
  }
  out += ']';
}

void dump_members(std::string &out, const Document &document, const ConfigNode *object) {
  std::vector<const ConfigNode *> members;
  members.reserve(object->value.children.count);
  for (const ConfigNode *member = config_object_first(object); member != nullptr; member = config_object_next(member)) {
    members.push_back(member);
  }
  std::sort(members.begin(), members.end(), [&document](const ConfigNode *a, const ConfigNode *b) {
    return strcmp(name_of(document, a), name_of(document, b)) < 0;
  });
  out += '{';
  for (const ConfigNode *member : members) {
    if (member != members.front()) out += ',';
    dump_text(out, name_of(document, member));
    out += ':';
    dump_node(out, document, member);
  }
  out += '}';
}

void dump_node(std::string &out, const Document &document, const ConfigNode *node) {
  switch (node->kind) {
    case Kind::object:
    case Kind::map:
      dump_members(out, document, node);
      break;
    case Kind::array:
      dump_array(out, document, node);
      break;
    case Kind::string:
    case Kind::reference:
      dump_text(out, node->value.text);
      break;
    case Kind::boolean:
      out += node->value.boolean ? "true" : "false";
      break;
    case Kind::integer:
      out += std::to_string(int64_t{node->value.integer});
      break;
    case Kind::number:
      dump_number(out, node->value.number);
      break;
    case Kind::duration:
      out += std::to_string(node->value.milliseconds);
      break;
    case Kind::ignored:
      break;
  }
}

}  // namespace

const char *config_dump(const ConfigNode *node) {
  if (node == nullptr) return nullptr;
  Document &document = *header_of(node).document;
  std::string &text = document.dumps[node];
  if (text.empty()) dump_node(text, document, node);
  return text.c_str();
}
