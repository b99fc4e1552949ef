// The command check: reads a configuration file as a run would, and prints every finding.
#include "network/check.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "config/report.h"
#include "platform/network.h"
#include "tools/config/commands.h"

namespace {

struct FreeTree {
  void operator()(const ConfigNode *root) const { config_free(root); }
};
struct FreeModel {
  void operator()(NetworkModel *model) const { network_free(model); }
};

const char *grade_name(Grade grade) {
  switch (grade) {
    case Grade::refused:
      return "error";
    case Grade::ignored:
      return "warning";
    case Grade::questionable:
      break;
  }
  return "note";
}

bool stands_before(const Finding &a, const Finding &b) {
  return a.line != b.line ? a.line < b.line : a.column < b.column;
}

void print_finding(const char *file, const Finding &finding) {
  printf("%s:", file);
  if (finding.line > 0) printf("%u:%u:", finding.line, finding.column);
  printf(" %s: ", grade_name(finding.grade));
  if (!finding.path.empty()) printf("%s: ", finding.path.c_str());
  fputs(finding.message.c_str(), stdout);
  std::string place = finding.message == unknown_key_message ? config_place_of_key(finding.path) : "";
  if (!place.empty()) printf(" here, there is one in %s", place.c_str());
  putchar('\n');
}

Status check(const char *file) {
  std::vector<Finding> findings;
  std::unique_ptr<const ConfigNode, FreeTree> root(config_check_file(file, &findings));
  if (root != nullptr) {
    std::unique_ptr<NetworkModel, FreeModel> model(network_load(root.get()));
    network_check(root.get(), model.get());
  }
  std::stable_sort(findings.begin(), findings.end(), stands_before);
  for (const Finding &finding : findings) print_finding(file, finding);
  bool refused =
      std::any_of(findings.begin(), findings.end(), [](const Finding &f) { return f.grade == Grade::refused; });
  return refused ? unusable : sound;
}

}  // namespace

Status check_command(int count, char **arguments) {
  return count == 1 ? check(arguments[0]) : misuse();
}
