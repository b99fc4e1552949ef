// The commands set, unset and rename: they change a configuration file, and check the change before they write it.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "tools/config/commands.h"
#include "tools/config/edit.h"
#include "tools/config/file.h"
#include "tools/config/outcome.h"
#include "util/file.h"
#include "util/strings.h"

namespace {

constexpr size_t largest_input = 64U << 20;

using Words = std::vector<std::string>;

struct Request {
  const char *file = nullptr;
  bool dry_run = false;
  std::vector<Edit> edits = {};
};

struct Command {
  const char *name;
  Edited (*run)(const std::string &content, const Value &root, const Edit &edit);
};
constexpr Command commands[] = {{"set", set_value}, {"unset", unset_value}, {"rename", rename_entry}};

const Command *command_named(const std::string &name) {
  for (const Command &command : commands)
    if (name == command.name) return &command;
  return nullptr;
}

bool is_option(const std::string &word) {
  return word.size() > 1 && word[0] == '-';
}

// Takes an option; returns false when it is unknown.
bool take_option(const std::string &option, Request *request, Edit *edit) {
  request->dry_run = request->dry_run || option == "-n" || option == "--dry-run";
  edit->create = edit->create || option == "--create";
  edit->json = edit->json || option == "--json";
  return is_word_of(option, "-n --dry-run --create --json");
}

bool read_input(std::string *content) {
  if (read_all(STDIN_FILENO, content, largest_input)) return true;
  perror("tessera-config: standard input");
  return false;
}

// Adds the edits in the words. Each is a command, options, a path and, except for unset, a value. Returns false for
// other words.
bool add_edits(const Words &words, Request *request) {
  for (size_t i = 0; i < words.size();) {
    Edit edit{.command = words[i++], .path = {}, .value = {}};
    if (command_named(edit.command) == nullptr) return false;
    while (i < words.size() && is_option(words[i]))
      if (!take_option(words[i++], request, &edit)) return false;
    size_t wanted = edit.command == "unset" ? 1 : 2;
    if (words.size() - i < wanted) return false;
    edit.path = words[i++];
    if (wanted == 2) edit.value = words[i++];
    request->edits.push_back(edit);
  }
  return true;
}

// The words of one edit in a line; the value extends to the end of the line.
Words words_of_line(std::string_view line) {
  Words words;
  bool at_path = false;
  while (!at_path) {
    std::string_view word = line.substr(0, line.find(' '));
    at_path = !words.empty() && !is_option(std::string(word));
    words.emplace_back(word);
    if (word.size() == line.size()) return words;
    line.remove_prefix(word.size() + 1);
  }
  words.emplace_back(line);
  return words;
}

bool add_edits_of_input(Request *request) {
  std::string input;
  if (!read_input(&input)) return false;
  size_t number = 0;
  for (std::string_view line : line_views(input)) {
    number++;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#' || add_edits(words_of_line(line), request)) continue;
    fprintf(stderr, "tessera-config: standard input:%zu: expected set PATH VALUE, unset PATH or rename PATH NAME\n",
            number);
    return false;
  }
  return true;
}

// Reads the command line: the command, options, the file, the rest of the first edit, and further edits.
Status read_request(int count, char **arguments, Request *request) {
  Words words(arguments, arguments + count);
  size_t file = 1;
  while (file < words.size() && is_option(words[file])) file++;
  if (file + 1 >= words.size()) return misuse();
  request->file = arguments[file];
  words.erase(words.begin() + static_cast<ptrdiff_t>(file));
  if (words.back() == "-" && file + 1 == words.size()) {
    Edit shared;
    for (size_t i = 1; i < file; i++)
      if (!take_option(words[i], request, &shared)) return misuse();
    return shared.json || shared.create ? misuse() : add_edits_of_input(request) ? sound : unusable;
  }
  if (!add_edits(words, request)) return misuse();
  for (Edit &edit : request->edits) {
    if (!edit.json || edit.value != "-") continue;
    edit.value.clear();
    if (!read_input(&edit.value)) return unusable;
  }
  return sound;
}

// Makes all edits, one after the other; false after a message.
bool apply(const Request &request, std::string *content, std::string *notes) {
  for (Edit edit : request.edits) {
    edit.brief = !request.dry_run;
    Value root;
    if (!parse(*content, &root)) {
      print_errors(request.file, find_problems(*content));
      return false;
    }
    Edited outcome = command_named(edit.command)->run(*content, root, edit);
    if (!outcome.problem.empty()) {
      fprintf(stderr, "tessera-config: %s\n", outcome.problem.c_str());
      return false;
    }
    *content = outcome.content;
    *notes += outcome.notes;
  }
  return true;
}

// Prints the findings that the edits add; returns false when one is an error.
bool check_edits(const Request &request, const std::string &before, const std::string &after) {
  bool renamed = std::any_of(request.edits.begin(), request.edits.end(),
                             [](const Edit &edit) { return edit.command == "rename"; });
  std::vector<Finding> fresh = new_findings(find_problems(before), find_problems(after), renamed);
  print_findings(request.file, fresh);
  if (std::none_of(fresh.begin(), fresh.end(), is_error)) return true;
  fprintf(stderr, "tessera-config: %s is left as it was\n", request.file);
  return false;
}

}  // namespace

Status edit_command(int count, char **arguments) {
  signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit of file size fails then, as on a full file system
  Request request;
  Status status = read_request(count, arguments, &request);
  if (status != sound) return status;
  EditedFile file;
  std::string notes;
  if (!open_file(request.file, !request.dry_run, &file)) return unusable;
  std::string content = file.content;
  if (!apply(request, &content, &notes) || !check_edits(request, file.content, content)) return unusable;
  if (content != file.content &&
      !(request.dry_run ? print_difference(request.file, file.content, content) : replace_file(file, content)))
    return unusable;
  fputs(notes.c_str(), request.dry_run ? stderr : stdout);
  return sound;
}
