// Makes the manual page of the configuration file: copies the given page, and replaces the line ".KEYS" by the list of
// all keys. Runs during the build.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "config/schema.h"

namespace {

constexpr unsigned short_object = 3;  // an object with at most this many members gets no subsection

struct Section {
  std::string path;
  const SchemaKey *key;  // of the object
};
using Sections = std::vector<Section>;

// Table of members that is described already -> path of the section that does so. Several keys may share a table.
using Described = std::map<const SchemaKey *, std::string>;

const char *type_name(const SchemaKey &key) {
  switch (key.kind) {
    case Kind::object:
      return "object";
    case Kind::map:
      return "map";
    case Kind::array:
      switch (key.element) {
        case Kind::object:
          return "list of objects";
        case Kind::reference:
          return "list of references";
        default:
          return "list of strings";
      }
    case Kind::string:
      return key.many_lines ? "string of several lines" : "string";
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

// Prints a description, each sentence on its own line. No sentence may start with a control character of mdoc.
void print_sentences(const char *at) {
  for (; *at != '\0'; at++) {
    if (strncmp(at, ". ", 2) == 0) {
      fputs(".\n", stdout);
      at++;
    } else if (*at == '\\') {
      fputs("\\e", stdout);
    } else {
      putchar(*at);
    }
  }
  putchar('\n');
}

void print_words(const SchemaKey &key) {
  if (key.words == nullptr) return;
  static const char *const titles[] = {"Words:", "Known words:", "Special words:"};
  puts(titles[static_cast<size_t>(key.others)]);
  fputs(".Cm ", stdout);
  for (const char *at = key.words; *at != '\0'; at++) {
    if (*at == ' ')
      fputs(" , ", stdout);
    else
      putchar(*at);
  }
  puts(" .");
}

// Prints the range of an integer, and the default of a key when it is not the empty value.
void print_bounds(const SchemaKey &key) {
  if (key.high != INT32_MAX)
    printf("Range: %d to %d.\n", key.low, key.high);
  else if (key.low != INT32_MIN)
    printf("Range: %d or more.\n", key.low);
  const char *fallback = fallback_of(key);
  if (fallback != nullptr && *fallback != '\0') printf("Default:\n.Cm %s .\n", fallback);
}

void print_members(const std::string &prefix, const Section &section, Described &described, Sections &below);

// Describes the members of a value: right here, in a subsection added to `below`, or by a link to the section that
// describes them already.
void print_inside(const std::string &name, const Section &inside, Described &described, Sections &below) {
  const SchemaKey &key = *inside.key;
  if (key.member_count == 0) return;
  auto [known, is_new] = described.emplace(key.members, inside.path);
  if (!is_new) {
    printf("The keys are those of\n.Sx %s .\n", known->second.c_str());
  } else if (key.member_count > short_object) {
    printf("See\n.Sx %s .\n", inside.path.c_str());
    below.push_back(inside);
  } else {
    print_members(name + ".", inside, described, below);
  }
}

void print_members(const std::string &prefix, const Section &section, Described &described, Sections &below) {
  for (const SchemaKey &member : members_of(*section.key)) {
    std::string name = prefix + member.name;
    printf(".It Ic %s Pq %s", name.c_str(), type_name(member));
    const char *map = map_of_names(member.names);
    if (*map != '\0') printf(" , %s of Ic %s", member.kind == Kind::array ? "keys" : "a key", map);
    puts("");
    print_sentences(member.description);
    print_words(member);
    print_bounds(member);
    std::string any = member.kind == Kind::map ? ".KEY" : member.kind == Kind::array ? ".N" : "";
    print_inside(name + any, {section.path + "." + member.name + any, &member}, described, below);
  }
}

void print_section(const Section &section, Described &described) {
  printf(".Ss %s\n", section.path.c_str());
  print_sentences(section.key->description);
  puts(".Bl -tag -width Ds");
  Sections below;
  print_members("", section, described, below);
  puts(".El");
  for (const Section &next : below) print_section(next, described);
}

void print_keys() {
  std::vector<Section> sections;
  for (const SchemaKey &member : members_of(described_schema))
    sections.push_back({member.name + std::string(member.kind == Kind::map ? ".KEY" : ""), &member});
  puts(".Pp\nThe document has these members:");
  for (const Section &section : sections) printf(".Sx %s\n", section.path.c_str());
  Described described;
  for (const Section &section : sections) print_section(section, described);
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
