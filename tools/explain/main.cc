// tessera-explain: which settings a line of a file comes from, which lines a setting drives, and why it drives none.
#include <fcntl.h>
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "explain/alternatives.h"
#include "explain/answers.h"
#include "explain/batch.h"
#include "explain/print.h"

namespace {

constexpr int exit_usage = 2;
constexpr int exit_setup = 3;

constexpr const char *usage_line =
    "Usage: tessera-explain [-c CONFIG] [-r RUNTIME] [-f ROOTFS_DIR] [OPTIONS] FILE[:LINE] | PATH | FACT | --unused\n";

constexpr const char *help_text =
    "Tells for a line of a file which settings it comes from and which only keep it there; for a path of\n"
    "the configuration or a runtime fact which lines it drives, or what would have to change before it\n"
    "drives one. FILE alone shows every line with the key that it comes from. Each answer is proved by\n"
    "runs of tessera on changed copies of the router; nothing of the machine changes.\n"
    "\n"
    "  -c, --config=CONFIG    the configuration; without it the machine's /etc/config/config.json\n"
    "  -r, --runtime=RUNTIME  runtime facts, a flat JSON object of key and string\n"
    "  -f, --rootfs=ROOTFS_DIR\n"
    "                         files that tessera finds on the router, laid over the root directory\n"
    "  --unused               lists the settings that change nothing in any file, instead\n"
    "  --json                 prints a JSON object\n"
    "  --show-secrets         with passwords, private keys and shared secrets; they are masked without it\n"
    "  --help, --version\n"
    "\n"
    "Ends with 0 after an answer; 2: the command line is wrong, there is no such line, path or fact, or the\n"
    "configuration is refused; 3: the runs cannot be set up.\n";

struct Options {
  std::string config = config_document;
  std::string facts;
  std::string rootfs;
  bool lists_unused = false;
  bool is_json = false;
  bool shows_secrets = false;
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

Options read_command_line(int argc, char **argv) {
  enum { option_unused = 256, option_json, option_secrets, option_help, option_version };
  static const option long_options[] = {
      {"config", required_argument, nullptr, 'c'},
      {"runtime", required_argument, nullptr, 'r'},
      {"rootfs", required_argument, nullptr, 'f'},
      {"unused", no_argument, nullptr, option_unused},
      {"json", no_argument, nullptr, option_json},
      {"show-secrets", no_argument, nullptr, option_secrets},
      {"help", no_argument, nullptr, option_help},
      {"version", no_argument, nullptr, option_version},
      {nullptr, 0, nullptr, 0},
  };
  static char name[] = "tessera-explain";  // as getopt's messages call the program
  argv[0] = name;
  Options options;
  for (int letter; (letter = getopt_long(argc, argv, "c:r:f:", long_options, nullptr)) >= 0;) {
    switch (letter) {
      case 'c':
        options.config = optarg;
        break;
      case 'r':
        options.facts = optarg;
        break;
      case 'f':
        options.rootfs = optarg;
        break;
      case option_unused:
        options.lists_unused = true;
        break;
      case option_json:
        options.is_json = true;
        break;
      case option_secrets:
        options.shows_secrets = true;
        break;
      case option_help:
        printf("%s\n%s", usage_line, help_text);
        exit(0);
      case option_version:
        puts("tessera-explain " TESSERA_VERSION);
        exit(0);
      default:
        refuse_usage(nullptr);
    }
  }
  if (argc - optind != (options.lists_unused ? 0 : 1))
    refuse_usage("expected one FILE[:LINE], PATH or FACT, or --unused");
  if (!options.lists_unused) options.subject = argv[optind];
  if (options.config.empty()) refuse_usage("without a configuration there is nothing to explain");
  return options;
}

// The program of that name; ends the run when it is not installed. One that is for this program only lies in libexec,
// next to the bin directory.
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
  Pool pool{setup, program("tessera-explain"), program("tessera-trace"), {}, {}, find_secrets(setup.text)};
  pool.secrets.masks = !options.shows_secrets;
  pool.router.tessera = program("tessera");
  pool.router.runt = program("runt");
  if (options.rootfs.empty()) return pool;
  Fd directory(open(options.rootfs.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.is_open()) refuse(options.rootfs + ": " + strerror(errno));
  std::string trouble = read_tree(directory.get(), pool.router.files);
  if (!trouble.empty()) refuse(options.rootfs + "/" + trouble);
  return pool;
}

// FILE and LINE of "FILE:LINE"; LINE is "" where there is no colon.
std::string split_subject(const std::string &subject, std::string &line) {
  size_t colon = subject.rfind(':');
  if (colon != std::string::npos) line = subject.substr(colon);
  return subject.substr(0, colon);
}

// The number behind the colon; ends the program where there is none.
size_t line_number(const std::string &line) {
  size_t number = strtoul(line.c_str() + 1, nullptr, 10);
  if (number == 0 || line.find_first_not_of("0123456789", 1) != std::string::npos)
    refuse("expected the number of a line, not '" + line.substr(1) + "'");
  return number;
}

// The run that writes the file, which is named by its path or the end of it; null when none does.
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

// The nearest of the names that are known, as the end of a message.
std::string hint(const Setup &setup, const std::string &name) {
  std::vector<std::string> names;
  for (const Setting &setting : setup.settings) names.push_back(setting.path);
  size_t dot = name.rfind('.');
  const std::string above = dot == std::string::npos ? "" : name.substr(0, dot);
  for (const SchemaKey &member : members_of(schema_at(above)))
    names.push_back(above + (above.empty() ? "" : ".") + member.name);
  return suggestion(name, names);
}

// How a run reads the fact: as bool, int, string or list; "" when none does.
std::string fact_kind(const std::vector<BaseRun> &runs, const std::string &key) {
  for (const BaseRun &run : runs) {
    auto found = run.trace.facts.find(key);
    if (found != run.trace.facts.end()) return run.trace.reads[found->second[0]].kind;
  }
  return "";
}

// True for what the router has, and for keys that its document leaves out.
bool is_known(const Setup &setup, const std::string &path) {
  if (find_setting(setup, path) != nullptr || find_setting(setup, path, true) != nullptr) return true;
  if (path.empty() || path.back() == '.' || path.front() == '/') return false;
  for (size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1)) {
    bool is_map = schema_at(path.substr(0, dot)).kind == Kind::map;
    size_t end = path.find('.', dot + 1);
    if (is_map && value_at(setup, path.substr(0, end)) == nullptr) return false;
  }
  return schema_at(path).kind != Kind::ignored;
}

void explain_file(const Pool &pool, const Printing &printing, const BaseRun &base, const std::string &file,
                  const std::string &line) {
  size_t count = base.lines.at(file).size();
  size_t number = line.empty() ? 0 : line_number(line);
  if (count == 0) refuse(file + " is empty");
  if (number > count) refuse(file + " has " + std::to_string(count) + (count == 1 ? " line" : " lines"));
  print_lines(printing, file, explain_lines(pool, printing.setup, base, file, number), number == 0);
}

void explain_setting(const Pool &pool, const Printing &printing, const std::vector<BaseRun> &runs,
                     const std::string &path) {
  std::vector<DrivenLine> lines = driven_lines(pool, printing.setup, runs, path);
  if (!lines.empty()) return print_driven(printing, path, lines);
  const Setting *setting = find_setting(printing.setup, path);
  if (setting == nullptr) setting = find_setting(printing.setup, path, true);
  if (setting != nullptr) return print_ways(printing, path, find_ways(pool, printing.setup, runs, {setting})[0]);
  const std::string kind = fact_kind(runs, path);
  print_would(printing, path, lines_of_changes(pool, runs, changes_of(printing.setup, {path, kind, !kind.empty()})));
}

void explain_unused(const Pool &pool, const Printing &printing, const std::vector<BaseRun> &runs) {
  std::vector<const Setting *> settings = unused_settings(pool, printing.setup, runs);
  print_unused(printing, settings, find_ways(pool, printing.setup, runs, settings));
}

void explain(const Options &options, Pool &pool, const Printing &printing) {
  std::vector<BaseRun> runs = run_base(pool, {"dnsmasq", "pam", "ipsec"});
  for (const auto &[file, content] : runs.back().result.files)
    pool.ipsec_files[file.substr(1)] = {S_IFREG | 0600, content};
  std::vector<BaseRun> network = run_base(pool, {"network"});
  network[0].ipsec_trace = runs.back().trace;
  runs.push_back(std::move(network[0]));
  if (options.lists_unused) return explain_unused(pool, printing, runs);

  std::string line;
  std::string file;
  const std::string name = split_subject(options.subject, line);
  // "network" is a part of the configuration; the file of that name can be called uci/network.
  bool is_path = find_setting(printing.setup, options.subject) != nullptr;
  const BaseRun *base = is_path ? nullptr : writer_of(runs, name, file);
  if (base != nullptr) return explain_file(pool, printing, *base, file, line);
  const std::string &path = options.subject;
  if (!is_known(printing.setup, path) && fact_kind(runs, path).empty()) {
    if (name.find('/') != std::string::npos || !line.empty()) refuse("no service writes " + name + " on this router");
    refuse("there is no path, fact or file '" + path + "'" + hint(printing.setup, path));
  }
  explain_setting(pool, printing, runs, path);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 2 && strcmp(argv[1], batch_argument) == 0) return run_batch();
  Options options = read_command_line(argc, argv);
  std::optional<Setup> setup = read_setup(options.config, options.facts);
  if (!setup) return exit_usage;
  Pool pool = make_pool(options, *setup);
  Printing printing{*setup, pool.secrets, options.is_json};
  explain(options, pool, printing);
  return fflush(stdout) == 0 ? 0 : exit_setup;
}
