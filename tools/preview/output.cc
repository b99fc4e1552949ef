#include "preview/output.h"

#include <sys/stat.h>

#include <cstdio>
#include <string_view>

#include "preview/strings.h"
#include "sandbox/sandbox.h"

namespace {

constexpr const char *bold = "1";
constexpr const char *red = "31";
constexpr const char *green = "32";
constexpr const char *yellow = "33";
constexpr const char *cyan = "36";

// Prints a line; in a colour unless that is null.
void print_line(std::string_view line, const char *colour) {
  if (colour != nullptr) printf("\033[%sm", colour);
  fwrite(line.data(), 1, line.size(), stdout);
  if (colour != nullptr) fputs("\033[0m", stdout);
  putchar('\n');
}

// Whether a section was printed already.
bool has_printed = false;

// Starts a section; an empty line separates it from the section before.
void print_heading(const std::string &line, bool is_coloured) {
  if (has_printed) putchar('\n');
  has_printed = true;
  print_line(line, is_coloured ? bold : nullptr);
}

void print_content(const std::string &content) {
  fwrite(content.data(), 1, content.size(), stdout);
  if (!content.empty() && content.back() != '\n') putchar('\n');
}

const char *line_colour(std::string_view line) {
  switch (line.empty() ? ' ' : line[0]) {
    case '+':
      return green;
    case '-':
      return red;
    case '@':
      return cyan;
    default:
      return nullptr;
  }
}

void print_difference(std::string_view difference, bool is_coloured) {
  if (!is_coloured) {
    fwrite(difference.data(), 1, difference.size(), stdout);
    return;
  }
  // The first two lines are the names.
  for (size_t number = 0; !difference.empty(); number++) {
    std::string_view line = difference.substr(0, difference.find('\n'));
    print_line(line, number < 2 ? bold : line_colour(line));
    difference.remove_prefix(line.size() + 1);
  }
}

const char *fate_colour(Fate fate) {
  switch (fate) {
    case Fate::written:
    case Fate::created:
      return green;
    case Fate::changed:
      return yellow;
    case Fate::removed:
      return red;
    default:
      return nullptr;
  }
}

bool mode_differs(const PlannedFile &file) {
  return file.before != nullptr && file.after != nullptr && file.before->mode != file.after->mode;
}

std::string mode_change(const PlannedFile &file) {
  char result[40];
  snprintf(result, sizeof result, "%o -> %o", file.before->mode & 07777U, file.after->mode & 07777U);
  return result;
}

std::string line_counts(const PlannedFile &file) {
  if (file.fate == Fate::written) {
    if (!S_ISREG(file.after->mode)) return S_ISLNK(file.after->mode) ? " -> " + file.content : "/";
    return " (" + std::to_string(file.lines_added) + (file.lines_added == 1 ? " line)" : " lines)");
  }
  std::string result;
  if (file.lines_added > 0) result += " +" + std::to_string(file.lines_added);
  if (file.lines_removed > 0) result += " -" + std::to_string(file.lines_removed);
  if (file.only_secrets_differ) result += " secrets";
  if (mode_differs(file)) result += " mode " + mode_change(file);
  return result;
}

void print_count(const std::vector<PlannedFile> &plan, bool is_coloured) {
  print_line(count_files(plan), is_coloured ? bold : nullptr);
  has_printed = true;
}

}  // namespace

void print_files(const std::vector<PlannedFile> &plan, bool is_coloured) {
  const PlannedFile *removed = nullptr;
  for (const PlannedFile &file : plan) {
    if (file.path == removed_list) {
      removed = &file;
    } else if (S_ISLNK(file.after->mode)) {
      print_heading("/" + file.path + " -> " + file.content, is_coloured);
    } else {
      print_heading("==> /" + file.path + (S_ISDIR(file.after->mode) ? "/ <==" : " <=="), is_coloured);
      print_content(file.content);
    }
  }
  if (removed == nullptr) return;
  print_heading("==> " + shown_name(removed_list) + " <==", is_coloured);
  print_content(removed->content);
}

void print_runtime_changes(const std::vector<RuntimeChange> &changes, bool is_coloured) {
  if (changes.empty()) return;
  print_heading("==> " + shown_name(runtime_dump) + " <==", is_coloured);
  for (const RuntimeChange &change : changes) {
    std::string key = json_string(change.key) + ": ";
    if (change.before) print_line("- " + key + json_string(*change.before), is_coloured ? red : nullptr);
    if (change.after) print_line("+ " + key + json_string(*change.after), is_coloured ? green : nullptr);
  }
}

void print_differences(const std::vector<PlannedFile> &plan, bool is_coloured) {
  for (const PlannedFile &file : plan) {
    std::string name = shown_name(file.path);
    if (mode_differs(file)) printf("mode of %s: %s\n", name.c_str(), mode_change(file).c_str());
    if (file.only_secrets_differ) {
      printf("secrets differ: %s\n", name.c_str());
    } else if (!file.difference.empty()) {
      print_difference(file.difference, is_coloured);
    } else if (file.before == nullptr || file.after == nullptr) {
      printf("%s, empty: %s\n", fate_names[static_cast<size_t>(file.fate)], name.c_str());
    }
  }
  print_count(plan, is_coloured);
}

void print_summary(const std::vector<PlannedFile> &plan, bool is_coloured) {
  for (const PlannedFile &file : plan) {
    if (file.fate == Fate::unchanged) continue;
    std::string line = fate_names[static_cast<size_t>(file.fate)];
    line += " " + shown_name(file.path) + line_counts(file);
    print_line(line, is_coloured ? fate_colour(file.fate) : nullptr);
  }
  print_count(plan, is_coloured);
}

void print_verdicts(const std::vector<Verdict> &verdicts, bool is_coloured) {
  if (verdicts.empty()) return;
  print_heading("==> verification <==", is_coloured);
  for (const Verdict &verdict : verdicts) {
    if (!verdict.is_installed) {
      print_line("not verified, " + verdict.checker + " is not installed: " + verdict.file,
                 is_coloured ? yellow : nullptr);
    } else if (!is_refused(verdict)) {
      print_line("accepted by " + verdict.checker + ": " + verdict.file, is_coloured ? green : nullptr);
    }
    for (const Remark &remark : verdict.remarks) {
      std::string place = remark.file + (remark.line > 0 ? ":" + std::to_string(remark.line) : "");
      const char *grade = remark.is_warning ? ": warning: " : ": ";
      print_line(place + ": " + verdict.checker + grade + remark.message, !is_coloured        ? nullptr
                                                                          : remark.is_warning ? yellow
                                                                                              : red);
    }
  }
}
