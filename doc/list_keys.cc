// Makes the manual page of the configuration file: copies the page that it is given, and puts the list of all keys in
// the place of the line ".KEYS". Runs while the program is built.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "config/schema.h"

namespace {

constexpr unsigned short_shape = 3;  // an object with no more members than these gets no subsection

struct Section {
  std::string path;
  uint16_t row;  // of the object
  const char *description;
};
using Sections = std::vector<Section>;

// Where shapes are described, by the row of their first member.
using Described = std::map<uint16_t, std::string>;

const char *type_name(const SchemaRow &row) {
  switch (row.kind) {
    case Kind::object:
      return "object";
    case Kind::map:
      return "map";
    case Kind::array:
      switch (schema_row(row.child).kind) {
        case Kind::object:
          return "list of objects";
        case Kind::reference:
          return "list of references";
        default:
          return "list of texts";
      }
    case Kind::text:
      return (row.flags & row_many_lines) != 0 ? "text of several lines" : "text";
    case Kind::boolean:
      return "boolean";
    case Kind::integer:
      return "integer";
    case Kind::number:
      return "number";
    case Kind::duration:
      return "duration";
    case Kind::reference:
      return "reference";
    case Kind::ignored:
      break;
  }
  return "";
}

// Prints text, a sentence a line. None starts with a control character of the formatter.
void print_text(const char *text) {
  for (; *text != '\0'; text++) {
    if (strncmp(text, ". ", 2) == 0) {
      fputs(".\n", stdout);
      text++;
    } else if (*text == '\\') {
      fputs("\\e", stdout);
    } else {
      putchar(*text);
    }
  }
  putchar('\n');
}

void print_words(const SchemaText &about) {
  if (*about.words == '\0') return;
  static const char *const titles[] = {"Words:", "Known words:", "Special words:"};
  puts(titles[static_cast<size_t>(about.others)]);
  fputs(".Cm ", stdout);
  for (const char *at = about.words; *at != '\0'; at++) {
    if (*at == ' ')
      fputs(" , ", stdout);
    else
      putchar(*at);
  }
  puts(" .");
}

void print_members(const std::string &prefix, const Section &section, Described &described, Sections &below);

// What lies in a value: in its place, in a subsection to come, or where it has been described already.
void print_inside(const std::string &name, const Section &inside, Described &described, Sections &below) {
  const SchemaRow &object = schema_row(inside.row);
  if (object.kind != Kind::object || object.count == 0) return;
  auto [known, is_new] = described.emplace(object.child, inside.path);
  if (!is_new) {
    printf("The keys are those of\n.Sx %s .\n", known->second.c_str());
  } else if (object.count > short_shape) {
    printf("See\n.Sx %s .\n", inside.path.c_str());
    below.push_back(inside);
  } else {
    print_members(name + ".", inside, described, below);
  }
}

void print_members(const std::string &prefix, const Section &section, Described &described, Sections &below) {
  const SchemaRow &object = schema_row(section.row);
  for (unsigned i = 0; i < object.count; i++) {
    auto row = static_cast<uint16_t>(object.child + i);
    const SchemaRow &member = schema_row(row);
    std::string name = prefix + schema_name(member);
    const SchemaText &about = schema_texts[row];
    printf(".It Ic %s Pq %s%s%s\n", name.c_str(), type_name(member), *about.unit != '\0' ? ", " : "", about.unit);
    print_text(about.description);
    print_words(about);
    std::string path = section.path + "." + schema_name(member);
    if (member.kind == Kind::object) print_inside(name, {path, row, about.description}, described, below);
    const char *any = member.kind == Kind::map ? ".KEY" : member.kind == Kind::array ? ".N" : nullptr;
    if (any != nullptr) print_inside(name + any, {path + any, member.child, about.description}, described, below);
  }
}

void print_section(const Section &section, Described &described) {
  printf(".Ss %s\n", section.path.c_str());
  print_text(section.description);
  puts(".Bl -tag -width Ds");
  Sections below;
  print_members("", section, described, below);
  puts(".El");
  for (const Section &next : below) print_section(next, described);
}

void print_keys() {
  Described described;
  const SchemaRow &root = schema_row(schema_root);
  for (unsigned i = 0; i < root.count; i++) {
    auto row = static_cast<uint16_t>(root.child + i);
    const SchemaRow &member = schema_row(row);
    bool map = member.kind == Kind::map;
    print_section({std::string(schema_name(member)) + (map ? ".KEY" : ""), map ? member.child : row,
                   schema_texts[row].description},
                  described);
  }
}

}  // namespace

int main(int argc, char **argv) {
  FILE *page = argc == 2 ? fopen(argv[1], "re") : nullptr;
  if (page == nullptr) {
    fputs("usage: list_keys PAGE\n", stderr);
    return 1;
  }
  char line[4096];
  while (fgets(line, sizeof line, page) != nullptr) {
    if (strcmp(line, ".KEYS\n") == 0)
      print_keys();
    else
      fputs(line, stdout);
  }
  bool read = ferror(page) == 0;
  fclose(page);
  return read && fflush(stdout) == 0 ? 0 : 1;
}
