// The command check: reads a configuration file as a run would, and prints every finding.
#include "check/check.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "config/report.h"
#include "platform/network.h"
#include "tools/config/commands.h"
#include "tools/config/outcome.h"

namespace {

struct FreeTree {
  void operator()(const ConfigNode *root) const { config_free(root); }
};
struct FreeModel {
  void operator()(NetworkModel *model) const { network_free(model); }
};

const char *severity_name(Severity severity) {
  constexpr const char *names[] = {"error", "warning", "note"};
  return names[static_cast<size_t>(severity)];
}

bool stands_before(const Finding &a, const Finding &b) {
  return a.line != b.line ? a.line < b.line : a.column < b.column;
}

}  // namespace

void print_finding(FILE *out, const char *file, const Finding &finding) {
  const RuleWords &words = words_of(finding.rule);
  fprintf(out, "%s:", file);
  if (finding.line > 0) fprintf(out, "%u:%u:", finding.line, finding.column);
  fprintf(out, " %s[%s]: ", severity_name(words.severity), rule_name(words.name).c_str());
  if (!finding.path.empty()) fprintf(out, "%s: ", finding.path.c_str());
  fputs(finding.message.c_str(), out);
  std::string place = finding.message == unknown_key_message ? config_place_of_key(finding.path) : "";
  if (!place.empty()) fprintf(out, " here, there is one in %s", place.c_str());
  fprintf(out, "; %s; %s\n", finding.outcome.empty() ? words.outcome : finding.outcome.c_str(),
          finding.cure.empty() ? words.cure : finding.cure.c_str());
}

namespace {

Status check(const char *file) {
  std::vector<Finding> findings;
  std::unique_ptr<const ConfigNode, FreeTree> root(config_check_file(file, &findings));
  if (root != nullptr) {
    std::unique_ptr<NetworkModel, FreeModel> model(network_load(root.get()));
    network_check(root.get(), model.get());
  }
  std::stable_sort(findings.begin(), findings.end(), stands_before);
  for (const Finding &finding : findings) print_finding(stdout, file, finding);
  bool refused = std::any_of(findings.begin(), findings.end(),
                             [](const Finding &f) { return words_of(f.rule).severity == Severity::error; });
  return refused ? unusable : sound;
}

}  // namespace

Status check_command(int count, char **arguments) {
  return count == 1 ? check(arguments[0]) : misuse();
}
