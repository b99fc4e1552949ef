// The command get: prints values of a configuration file.
#include <cstdio>
#include <cstring>

#include "tools/config/commands.h"
#include "tools/config/edit.h"
#include "tools/config/file.h"
#include "tools/config/outcome.h"

namespace {

enum class Form { plain, json, names };

void print_line(const std::string &line) {
  fwrite(line.data(), 1, line.size(), stdout);
  putchar('\n');
}

// Prints the value as it is in the file, a string without quotes in the plain form, or the names below it. Returns
// false after a message.
bool print_value(const std::string &content, const Value &root, const char *path, Form form) {
  Found found;
  size_t depth = 0;
  std::string problem;
  const std::vector<std::string> names = components_of(path);
  bool known = find(root, names, &found, &depth, &problem);
  if (known && form == Form::names) {
    for (const std::string &name : names_below(found.place, found.value)) print_line(name);
    return true;
  }
  if (known && found.value == nullptr) problem = why_missing(names, found, depth);
  if (!problem.empty() || found.value == nullptr) {
    fprintf(stderr, "tessera-config: %s\n", problem.c_str());
    return false;
  }
  const Value &value = *found.value;
  bool plain = value.type == Value::Type::string && form == Form::plain;
  print_line(plain ? value.string : content.substr(value.begin, value.end - value.begin));
  return true;
}

Form form_of(const char *option) {
  if (strcmp(option, "--json") == 0) return Form::json;
  return strcmp(option, "--names") == 0 ? Form::names : Form::plain;
}

}  // namespace

Status get_command(int count, char **arguments) {
  Form form = count > 0 ? form_of(arguments[0]) : Form::plain;
  if (form != Form::plain) arguments++, count--;
  if (count < 2) return misuse();
  EditedFile file;
  Value root;
  if (!open_file(arguments[0], false, &file)) return unusable;
  if (!parse(file.content, &root)) {
    print_errors(arguments[0], find_problems(file.content));
    return unusable;
  }
  Status status = sound;
  for (int i = 1; i < count; i++)
    if (!print_value(file.content, root, arguments[i], form)) status = unusable;
  return status;
}
