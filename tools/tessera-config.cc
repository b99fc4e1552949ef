// The program tessera-config: checks a configuration file, and prints the JSON Schema of such files.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "config/report.h"
#include "network/check.h"
#include "platform/network.h"

namespace {

enum Status { sound = 0, unusable = 1, misused = 2 };

constexpr char usage[] =
    "Usage: tessera-config check FILE\n"
    "       tessera-config schema [--strict]\n";

constexpr char help[] =
    "\n"
    "check   reads FILE as tessera would and prints every finding as FILE:LINE:COLUMN: GRADE: PATH: MESSAGE.\n"
    "        GRADE is\n"
    "          error    the file cannot be used: tessera stops and leaves what it wrote before\n"
    "          warning  a run goes on without what the finding names, and logs it\n"
    "          note     a run says nothing, but a daemon may refuse or misread the outcome\n"
    "        Exit status: 0, or 1 when there is an error.\n"
    "schema  prints the JSON Schema (draft 2020-12) of configuration files. It takes what tessera takes, also\n"
    "        keys that tessera does not know and ignores; with --strict, for editors, it does not.\n";

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
  std::unique_ptr<const ConfigNode, FreeTree> root(config_load_file(file, &findings));
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

Status misuse() {
  fputs(usage, stderr);
  return misused;
}

Status run(int argc, char **argv) {
  if (argc == 2 && strcmp(argv[1], "--help") == 0) {
    printf("%s%s", usage, help);
    return sound;
  }
  if (argc == 3 && strcmp(argv[1], "check") == 0) return check(argv[2]);
  if (argc >= 2 && strcmp(argv[1], "check") != 0 && strcmp(argv[1], "schema") != 0)
    fprintf(stderr, "tessera-config: '%s' is no command\n", argv[1]);
  if (argc < 2 || strcmp(argv[1], "schema") != 0 || argc > 3) return misuse();
  bool strict = argc == 3;
  if (strict && strcmp(argv[2], "--strict") != 0) return misuse();
  config_print_json_schema(stdout, strict);
  return sound;
}

}  // namespace

int main(int argc, char **argv) {
  Status status = run(argc, argv);
  if (fflush(stdout) != 0 && status == sound) {
    perror("tessera-config: standard output");
    return unusable;
  }
  return status;
}
