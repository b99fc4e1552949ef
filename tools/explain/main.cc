// tessera-explain: tells which settings a line of a file comes from, which lines come from a setting, and why none do.
#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "explain/alternatives.h"
#include "explain/answers.h"
#include "explain/batch.h"
#include "explain/print.h"
#include "preview/strings.h"

namespace {

constexpr int exit_usage = 2;
constexpr int exit_setup = 3;

constexpr const char *usage_line =
    "Usage: tessera-explain [-c CONFIG] [-r RUNTIME] [-f ROOTFS_DIR] [OPTIONS] FILE[:LINE] | PATH | FACT | --unused\n";

constexpr const char *help_text =
    "For a line of a file: tells which settings it comes from and which only keep it there. For a path of the\n"
    "configuration or a runtime fact: tells which lines come from it, or what has to change before one does.\n"
    "FILE alone shows every line with the path of the setting that it comes from. Each answer is proved by\n"
    "runs of tessera on changed copies of the router; nothing on the machine changes.\n"
    "\n"
    "  -c, --config=CONFIG    the configuration; without it the machine's /etc/config/config.json\n"
    "  -r, --runtime=RUNTIME  runtime facts, a flat JSON object of key and string\n"
    "  -f, --rootfs=ROOTFS_DIR\n"
    "                         files that tessera finds on the router, laid over the root directory\n"
    "  --unused               lists the settings that change nothing in any file\n"
    "  --json                 prints a JSON object\n"
    "  --show-secrets         shows passwords, private keys and shared secrets, which are otherwise masked\n"
    "  --help, --version\n"
    "\n"
    "Exit status: 0 after an answer; 2 when the command line is wrong, there is no such line, path or fact,\n"
    "or the configuration is refused; 3 when the runs cannot be set up.\n";

struct Options {
  const char *config = config_document;
  const char *facts = "";
  const char *rootfs = "";
  int lists_unused = 0;
  int is_json = 0;
  int shows_secrets = 0;
  int prints_help = 0;
  int prints_version = 0;
  std::string subject;
};

[[noreturn]] void refuse(const std::string &problem) {
  fprintf(stderr, "tessera-explain: %s\n", problem.c_str());
  exit(exit_usage);
}

[[noreturn]] void refuse_usage(const char *problem) {
  if (problem != nullptr) fprintf(stderr, "tessera-explain: %s\n", problem);
  fputs(usage_line, stderr);
  exit(exit_usage);
}

// Returns the exit status. Prints a message when the output could not be written.
int finish_output() {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return 0;
  fprintf(stderr, "tessera-explain: cannot print the answer: %s\n", strerror(errno));
  return exit_setup;
}

Options read_command_line(int argc, char **argv) {
  static char name[] = "tessera-explain";  // for the messages of getopt
  argv[0] = name;
  Options options;
  const option forms[] = {{"config", required_argument, nullptr, 'c'},
                          {"runtime", required_argument, nullptr, 'r'},
                          {"rootfs", required_argument, nullptr, 'f'},
                          {"unused", no_argument, &options.lists_unused, 1},
                          {"json", no_argument, &options.is_json, 1},
                          {"show-secrets", no_argument, &options.shows_secrets, 1},
                          {"help", no_argument, &options.prints_help, 1},
                          {"version", no_argument, &options.prints_version, 1},
                          {}};
  for (int letter; (letter = getopt_long(argc, argv, "c:r:f:", forms, nullptr)) >= 0;) {
    if (letter == 'c') options.config = optarg;
    if (letter == 'r') options.facts = optarg;
    if (letter == 'f') options.rootfs = optarg;
    if (letter == '?') refuse_usage(nullptr);
  }
  if (options.prints_help != 0) printf("%s\n%s", usage_line, help_text);
  if (options.prints_version != 0) puts("tessera-explain " TESSERA_VERSION);
  if (options.prints_help != 0 || options.prints_version != 0) exit(finish_output());
  if (argc - optind != (options.lists_unused != 0 ? 0 : 1))
    refuse_usage("expected one FILE[:LINE], PATH or FACT, or --unused");
  if (options.lists_unused == 0) options.subject = argv[optind];
  if (*options.config == '\0') refuse_usage("expected the name of a file after -c");
  return options;
}

// Returns the path of an installed program; ends the run when there is none. A program that only tessera-explain uses
// is in libexec, next to the bin directory.
std::string program(const char *name) {
  char self[PATH_MAX] = "";
  ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  std::string directory(self, static_cast<size_t>(std::max<ssize_t>(length, 0)));
  directory.resize(directory.rfind('/') == std::string::npos ? 0 : directory.rfind('/'));
  std::string path = installed_program(name, {directory + "/../libexec/tessera"});
  if (path.empty()) {
    fprintf(stderr, "tessera-explain: %s is not installed\n", name);
    exit(exit_setup);
  }
  return path;
}

Pool make_pool(const Options &options, const Setup &setup) {
  Pool pool{setup, program("tessera-explain"), program("tessera-trace"), {}, {}, find_secrets(setup.content)};
  pool.secrets.masks = options.shows_secrets == 0;
  pool.router.tessera = program("tessera");
  pool.router.runt = program("runt");
  if (*options.rootfs == '\0') return pool;
  Fd directory(open(options.rootfs, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.is_open()) refuse(std::string(options.rootfs) + ": " + strerror(errno));
  std::string trouble = read_tree(directory.get(), pool.router.files);
  if (!trouble.empty()) refuse(std::string(options.rootfs) + "/" + trouble);
  return pool;
}

// Returns the dotted path. A reference is accepted as the configuration writes it: "/network/device/eth0" is
// network.device.eth0.
std::string path_of(const std::string &subject) {
  if (subject.size() < 2 || subject[0] != '/') return subject;
  const std::string path = with_replaced(subject.substr(1), "/", ".");
  return schema_at(path.substr(0, path.find('.'))).kind != Kind::ignored ? path : subject;
}

// Returns FILE of "FILE:LINE" and stores ":LINE", or "" when there is no colon.
std::string split_subject(const std::string &subject, std::string &line) {
  size_t colon = subject.rfind(':');
  if (colon != std::string::npos) line = subject.substr(colon);
  return subject.substr(0, colon);
}

// Returns the number after the colon; ends the program when there is none.
size_t line_number(const std::string &line) {
  size_t number = strtoul(line.c_str() + 1, nullptr, 10);
  if (number == 0 || line.find_first_not_of("0123456789", 1) != std::string::npos)
    refuse("expected the number of a line, not '" + line.substr(1) + "'");
  return number;
}

// Returns the run that writes the file with that path or end of a path, and stores the path; null when no run does.
const BaseRun *writer_of(const std::vector<BaseRun> &runs, const std::string &name, std::string &file) {
  for (const BaseRun &run : runs) {
    for (const auto &[path, lines] : run.lines) {
      bool is_named =
          path == name || path == "/var" + name ||
          (path.size() > name.size() && path.compare(path.size() - name.size() - 1, name.size() + 1, "/" + name) == 0);
      if (!is_named) continue;
      file = path;
      return &run;
    }
  }
  return nullptr;
}

// Returns how a run reads the fact: as bool, int, string or list; "" when no run reads it.
std::string fact_kind(const std::vector<BaseRun> &runs, const std::string &key) {
  for (const BaseRun &run : runs) {
    auto found = run.trace.facts.find(key);
    if (found != run.trace.facts.end()) return run.trace.reads[found->second[0]].kind;
  }
  return "";
}

// Ends the program: `name` is not a file of a service, not a fact and not a path.
[[noreturn]] void refuse_subject(const Setup &setup, const std::vector<BaseRun> &runs, const std::string &name,
                                 bool is_file) {
  std::vector<std::string> names;
  for (const BaseRun &run : runs) {
    for (const auto &[file, lines] : run.lines) names.insert(names.end(), {file, file.substr(file.rfind('/') + 1)});
    for (const auto &[key, places] : run.trace.facts) names.push_back(key);
  }
  const std::string hint = suggestion(name, names);
  if (is_file) refuse("no service writes '" + name + "' on this router" + hint);
  const std::string problem = hint.empty() ? why_unknown(setup, name) : "";
  refuse(problem.empty() ? "there is no path, fact or file '" + name + "'" + hint : problem);
}

void explain_file(const Printing &printing, const BaseRun &base, const std::string &file, const std::string &line) {
  size_t count = base.lines.at(file).size();
  size_t number = line.empty() ? 0 : line_number(line);
  if (count == 0) refuse(file + " is empty");
  if (number > count) refuse(file + " has " + std::to_string(count) + (count == 1 ? " line" : " lines"));
  print_lines(printing, file, explain_lines(printing.pool, base, file, number), number == 0);
}

void explain_setting(const Printing &printing, const std::vector<BaseRun> &runs, const std::string &path) {
  const Pool &pool = printing.pool;
  std::vector<DrivenLine> lines = driven_lines(pool, runs, path);
  if (!lines.empty()) return print_driven(printing, path, lines);
  const Setting *setting = find_setting(pool.setup, path);
  if (setting == nullptr) setting = find_setting(pool.setup, path, true);
  if (setting != nullptr) return print_ways(printing, path, find_ways(pool, runs, {setting})[0]);
  const std::string kind = fact_kind(runs, path);
  print_would(printing, path, lines_of_changes(pool, runs, changes_of(pool.setup, {path, kind, !kind.empty()})));
}

void explain_unused(const Printing &printing, const std::vector<BaseRun> &runs) {
  std::vector<const Setting *> settings = unused_settings(printing.pool, runs);
  print_unused(printing, settings, find_ways(printing.pool, runs, settings));
}

void explain(const Options &options, Pool &pool) {
  std::vector<BaseRun> runs = run_base(pool, {"dnsmasq", "pam", "ipsec"});
  pool.ipsec_files = runs.back().result.links;
  for (const auto &[file, content] : runs.back().result.files)
    pool.ipsec_files.try_emplace(file.substr(1), File{S_IFREG | 0600, content});
  std::vector<BaseRun> network = run_base(pool, {"network"});
  network[0].ipsec_trace = runs.back().trace;
  runs.push_back(std::move(network[0]));
  const Printing printing{pool, options.is_json != 0};
  if (options.lists_unused != 0) return explain_unused(printing, runs);

  std::string line;
  std::string file;
  const std::string name = split_subject(options.subject, line);
  // A name can be both: "network" is the path of the configuration, the file is uci/network.
  bool is_path = find_setting(pool.setup, options.subject) != nullptr;
  const BaseRun *base = is_path ? nullptr : writer_of(runs, name, file);
  if (base != nullptr) return explain_file(printing, *base, file, line);
  const std::string path = path_of(options.subject);
  bool is_fact = find_setting(pool.setup, path, true) != nullptr || !fact_kind(runs, path).empty();
  if (!is_fact && (components_of(path).empty() || !why_unknown(pool.setup, path).empty()))
    refuse_subject(pool.setup, runs, path, path.find('/') != std::string::npos || !line.empty());
  explain_setting(printing, runs, path);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 2 && strcmp(argv[1], batch_argument) == 0) return run_batch();
  Options options = read_command_line(argc, argv);
  std::optional<Setup> setup = read_setup(options.config, options.facts);
  if (!setup) return exit_usage;
  Pool pool = make_pool(options, *setup);
  explain(options, pool);
  return finish_output();
}
