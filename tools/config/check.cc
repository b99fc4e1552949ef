// The command check: reads configuration files as a run would, and prints every finding.
#include "check/check.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/network.h"
#include "tools/config/commands.h"
#include "tools/config/forms.h"
#include "util/owned.h"

namespace {

struct Form {
  const char *name;
  void (*print)(const std::vector<Listed> &listed);
  void (*print_summary)(const std::vector<Listed> &listed);  // null: the form has no summary
};
constexpr Form forms[] = {{"text", print_text, print_summary},
                          {"json", print_json, print_summary_json},
                          {"github", print_github, nullptr},
                          {"sarif", print_sarif, nullptr}};

struct Options {
  Severity fail_on = Severity::error;
  const Form *form = forms;
  bool summary = false;
  const char *facts = nullptr;
  std::vector<const char *> files;
};

bool set_form(Options &options, const char *name) {
  for (const Form &form : forms) {
    if (strcmp(form.name, name) != 0) continue;
    options.form = &form;
    return true;
  }
  return false;
}

bool set_fail_on(Options &options, const char *name) {
  for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
    if (strcmp(severity_name(severity), name) != 0) continue;
    options.fail_on = severity;
    return true;
  }
  return false;
}

bool set_facts(Options &options, const char *file) {
  options.facts = file;
  return true;
}

struct ValueOption {
  std::string_view name;
  bool (*set)(Options &options, const char *value);
};
constexpr ValueOption value_options[] = {{"--fail-on", set_fail_on}, {"--format", set_form}, {"--facts", set_facts}};

// Takes the option at `arguments[at]`, and the argument after it when that is the value. Returns false for an unknown
// option or value.
bool take_option(Options &options, int count, char **arguments, int &at) {
  const std::string_view argument = arguments[at];
  if (argument == "--summary") {
    options.summary = true;
    return true;
  }
  const size_t equals = std::min(argument.find('='), argument.size());
  for (const ValueOption &option : value_options) {
    if (option.name != argument.substr(0, equals)) continue;
    if (equals < argument.size()) return option.set(options, arguments[at] + equals + 1);
    return ++at < count && option.set(options, arguments[at]);
  }
  return false;
}

bool parse(Options &options, int count, char **arguments) {
  bool only_files = false;
  for (int at = 0; at < count; at++) {
    if (!only_files && strcmp(arguments[at], "--") == 0)
      only_files = true;
    else if (only_files || arguments[at][0] != '-' || strcmp(arguments[at], "-") == 0)
      options.files.push_back(arguments[at]);
    else if (!take_option(options, count, arguments, at))
      return false;
  }
  return !options.files.empty() && (!options.summary || options.form->print_summary != nullptr);
}

bool stands_before(const Finding &a, const Finding &b) {
  return a.line != b.line ? a.line < b.line : a.column < b.column;
}

void list(std::vector<Listed> &listed, const char *file, std::vector<Finding> findings) {
  std::stable_sort(findings.begin(), findings.end(), stands_before);
  for (Finding &finding : findings) listed.push_back({file, std::move(finding)});
}

// Lists what is found in the document; and in the file of facts, unless `facts_file` is null.
void check_file(std::vector<Listed> &listed, const char *file, Facts &facts, const char *facts_file) {
  std::vector<Finding> findings;
  const char *path = strcmp(file, "-") == 0 ? "/dev/stdin" : file;
  OwnedTree root(config_check_file(path, &findings));
  if (root != nullptr) {
    OwnedModel model(network_load(root.get()));
    network_check(root.get(), model.get(), facts.lan_mode);
    check_facts(facts, root.get());
  }
  root.reset();
  list(listed, file, std::move(findings));
  if (facts_file == nullptr) return;
  list(listed, facts_file, std::exchange(facts.findings, {}));
  facts.counts.clear();
}

}  // namespace

Status check_command(int count, char **arguments) {
  if (count == 1 && strcmp(arguments[0], "--rules") == 0) {
    print_rules();
    return sound;
  }
  Options options;
  if (!parse(options, count, arguments)) return misuse();
  std::vector<Listed> listed;
  Facts facts;
  if (options.facts != nullptr) facts = read_facts(options.facts);
  for (const char *file : options.files) check_file(listed, file, facts, options.facts);
  (options.summary ? options.form->print_summary : options.form->print)(listed);
  const bool failed = std::any_of(listed.begin(), listed.end(), [&options](const Listed &each) {
    return words_of(each.finding.rule).severity <= options.fail_on;
  });
  return failed ? unusable : sound;
}
