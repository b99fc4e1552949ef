#include "preview/options.h"

#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "preview/fail.h"

namespace {

constexpr const char *usage_line =
    "Usage: tessera-preview [-c CONFIG] [-r RUNTIME] [-f ROOTFS_DIR] [-o OUTDIR] [-d OLDDIR] [OPTIONS] NAME [ARGS]\n";

constexpr const char *help_text =
    "Runs tessera for the service NAME (dnsmasq, ipsec, network or pam) in a sandbox, on any machine,\n"
    "and prints every file that it writes. Several services, as in \"ipsec,network\", run one after the\n"
    "other on the same router; \"all\" means \"pam,dnsmasq,ipsec,network\". tessera gets ARGS.\n"
    "\n"
    "The router:\n"
    "  -c, --config=CONFIG    the configuration; without it the machine's /etc/config/config.json.\n"
    "                         An empty CONFIG means a router without a configuration\n"
    "  -r, --runtime=RUNTIME  runtime facts, a flat JSON object of strings\n"
    "  -f, --rootfs=ROOTFS_DIR\n"
    "                         files that tessera finds on the router, in place of those of the root\n"
    "                         directory: etc/hostname gives the host name, which is otherwise\n"
    "                         \"router\", sys/class/net/DEV/address the address of DEV\n"
    "\n"
    "The output:\n"
    "  -o, --output=OUTDIR    stores the files in OUTDIR, a new or empty directory, instead of printing\n"
    "                         them: OUTDIR/var/run/..., the runtime store as OUTDIR/runtime.json, and\n"
    "                         OUTDIR/removed, the names of files that were removed\n"
    "  -d, --diff=OLDDIR      prints the differences from OLDDIR, an earlier OUTDIR, and how many files\n"
    "                         are changed, created, removed and unchanged\n"
    "  --summary              prints only whether each file is changed, created, removed or unchanged\n"
    "  --json                 prints one JSON object with the files, the differences and the messages\n"
    "  --verify               has the daemons' own checkers read the files, and prints their findings:\n"
    "                         dnsmasq, the IPsec starter, OpenVPN and openssl if they are installed,\n"
    "                         and a reader of UCI files\n"
    "\n"
    "Printing:\n"
    "  --show-secrets         prints passwords, private keys and shared secrets, which are otherwise\n"
    "                         masked. The files in OUTDIR are not masked\n"
    "  --color=WHEN           auto (on a terminal, unless NO_COLOR is set), always or never\n"
    "\n"
    "  --exit-code            ends with status 4 when there are differences from OLDDIR\n"
    "  --tessera=PROGRAM, --runt=PROGRAM\n"
    "                         the programs to run; without this option those in the directory of\n"
    "                         tessera-preview, or else those in PATH\n"
    "  --help                 prints this help\n"
    "  --version              prints the version\n"
    "\n"
    "Ends with tessera's status (of several services the highest), 128 + N when signal N ended it;\n"
    "when that is 0, with 5 when --verify finds an error in a file, with 4 when --exit-code is given\n"
    "and something differs. 2: the command line is wrong; 3: the preview cannot be set up or stored.\n";

// An option: either it takes a value, or it sets a flag.
struct Row {
  const char *name;
  int letter;  // of the short form; 0 without one
  const char *Options::*value;
  bool Options::*is_given;
};
constexpr Row rows[] = {
    {"config", 'c', &Options::config, nullptr},
    {"runtime", 'r', &Options::runtime, nullptr},
    {"rootfs", 'f', &Options::rootfs, nullptr},
    {"output", 'o', &Options::store, nullptr},
    {"diff", 'd', &Options::old, nullptr},
    {"color", 0, &Options::colour, nullptr},
    {"tessera", 0, &Options::tessera, nullptr},
    {"runt", 0, &Options::runt, nullptr},
    {"summary", 0, nullptr, &Options::prints_summary},
    {"json", 0, nullptr, &Options::prints_json},
    {"verify", 0, nullptr, &Options::verifies},
    {"show-secrets", 0, nullptr, &Options::shows_secrets},
    {"exit-code", 0, nullptr, &Options::reports_differences},
    {"help", 0, nullptr, &Options::prints_help},
    {"version", 0, nullptr, &Options::prints_version},
};

[[noreturn]] void refuse_usage(const char *problem) {
  if (problem != nullptr) fprintf(stderr, "tessera-preview: %s\n", problem);
  fputs(usage_line, stderr);
  exit(exit_usage);
}

bool chooses_colour(const char *when) {
  if (strcmp(when, "always") == 0) return true;
  if (strcmp(when, "never") == 0) return false;
  if (strcmp(when, "auto") != 0) refuse_usage("--color takes auto, always or never");
  const char *no_colour = getenv("NO_COLOR");
  const char *terminal = getenv("TERM");
  return (no_colour == nullptr || *no_colour == '\0') && terminal != nullptr && strcmp(terminal, "dumb") != 0 &&
         isatty(STDOUT_FILENO) != 0;
}

// Warns about unknown services: tessera itself accepts any name, and does nothing for an unknown one.
void warn_of_unknown(const Options &options) {
  static constexpr const char *known[] = {"dnsmasq", "ipsec", "network", "pam"};
  for (const std::string &service : options.services) {
    if (std::find(std::begin(known), std::end(known), service) != std::end(known)) continue;
    fprintf(stderr, "tessera-preview: '%s' is not a service of tessera: dnsmasq, ipsec, network, pam\n",
            service.c_str());
  }
}

void read_services(const char *names, Options &options) {
  options.is_all = strcmp(names, "all") == 0;
  std::string list = options.is_all ? "pam,dnsmasq,ipsec,network" : names;
  for (size_t start = 0; start <= list.size();) {
    size_t end = std::min(list.find(',', start), list.size());
    options.services.push_back(list.substr(start, end - start));
    if (options.services.back().empty() || options.services.back() == "all")
      refuse_usage("a list of services holds only names of services");
    start = end + 1;
  }
}

// Reads the options; the other arguments start at optind.
void read_options(int argc, char **argv, Options &options) {
  constexpr int without_letter = 256;  // getopt returns this plus the index of the row
  std::vector<option> long_options;
  for (const Row &row : rows) {
    int number = without_letter + static_cast<int>(long_options.size());
    int takes = row.value != nullptr ? required_argument : no_argument;
    long_options.push_back({row.name, takes, nullptr, row.letter != 0 ? row.letter : number});
  }
  long_options.push_back({});
  // "+": the arguments after NAME belong to tessera.
  for (int letter; (letter = getopt_long(argc, argv, "+c:r:f:o:d:", long_options.data(), nullptr)) >= 0;) {
    auto end = long_options.end() - 1;
    auto given = std::find_if(long_options.begin(), end, [letter](const option &one) { return one.val == letter; });
    if (given == end) refuse_usage(nullptr);
    const Row &row = rows[given - long_options.begin()];
    if (row.value != nullptr) {
      options.*row.value = optarg;
    } else {
      options.*row.is_given = true;
    }
  }
}

// Prints the help or the version and ends the program, when it is asked for.
void print_help(const Options &options) {
  if (!options.prints_help && !options.prints_version) return;
  if (options.prints_help) {
    printf("%s\n%s", usage_line, help_text);
  } else {
    puts("tessera-preview " TESSERA_VERSION);
  }
  if (fflush(stdout) != 0) fail_system("cannot write the result");
  exit(0);
}

}  // namespace

Options read_command_line(int argc, char **argv) {
  static char name[] = "tessera-preview";
  argv[0] = name;  // for getopt's messages
  Options options;
  read_options(argc, argv, options);
  print_help(options);
  if (optind >= argc) refuse_usage("no service is named");
  if (options.reports_differences && options.old == nullptr) refuse_usage("--exit-code needs an OLDDIR to differ from");
  options.is_coloured = chooses_colour(options.colour);
  read_services(argv[optind], options);
  if (options.tessera == nullptr) warn_of_unknown(options);
  options.arguments.assign(argv + optind + 1, argv + argc);
  if (options.services.size() > 1 && !options.arguments.empty()) refuse_usage("ARGS are for a single service");
  return options;
}
