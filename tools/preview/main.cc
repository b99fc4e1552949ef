// tessera-preview: runs tessera without touching the machine and shows or stores the files that it writes.
#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "preview/changes.h"
#include "preview/child.h"
#include "preview/fail.h"
#include "preview/fd.h"
#include "preview/inside.h"
#include "preview/output.h"

namespace {

constexpr const char *usage_line =
    "Usage: tessera-preview [-c CONFIG] [-r RUNTIME] [-f ROOTFS_DIR] [-o OUTDIR] [-d OLDDIR] NAME [ARGS]\n";

constexpr const char *help_text =
    "Runs tessera for the service NAME (dnsmasq, ipsec, network or pam) on any machine without\n"
    "touching it, and prints every file that it writes. Several services, as in \"ipsec,network\", run\n"
    "one after the other on the same router; \"all\" stands for \"pam,dnsmasq,ipsec,network\". ARGS are\n"
    "handed to tessera.\n"
    "\n"
    "  -c CONFIG      the configuration; without it the machine's /etc/config/config.json.\n"
    "                 An empty CONFIG stands for a router without one\n"
    "  -r RUNTIME     runtime facts, a flat JSON object of key and text\n"
    "  -f ROOTFS_DIR  files that tessera finds on the router, laid over the root directory:\n"
    "                 etc/hostname gives the host name, sys/class/net/DEV/address the address of DEV\n"
    "  -o OUTDIR      stores what is written in OUTDIR, a new or empty directory, instead of\n"
    "                 printing it: OUTDIR/var/run/..., the runtime store as OUTDIR/runtime.json, and\n"
    "                 OUTDIR/removed, the names of files that are gone\n"
    "  -d OLDDIR      prints the differences from OLDDIR, an earlier OUTDIR, instead\n"
    "  --tessera PROGRAM, --runt PROGRAM\n"
    "                 the programs to run; without it those beside tessera-preview, else those in PATH\n"
    "  --help         prints this text\n"
    "\n"
    "Ends with tessera's status (of several services the highest), 128 + N when signal N ended it, 2 when the\n"
    "command line is wrong, 3 when the preview cannot be set up or stored.\n";

struct Options {
  const char *config = nullptr;
  const char *runtime = nullptr;
  const char *rootfs = nullptr;
  const char *store = nullptr;
  const char *old = nullptr;
  std::string tessera;
  std::string runt;
  std::vector<std::string> services;
  std::vector<std::string> arguments;
};

[[noreturn]] void refuse_usage(const char *problem) {
  if (problem != nullptr) fprintf(stderr, "tessera-preview: %s\n", problem);
  fputs(usage_line, stderr);
  exit(exit_usage);
}

Options read_command_line(int argc, char **argv) {
  enum { option_tessera = 256, option_runt, option_help };
  static const option long_options[] = {
      {"config", required_argument, nullptr, 'c'},
      {"runtime", required_argument, nullptr, 'r'},
      {"rootfs", required_argument, nullptr, 'f'},
      {"output", required_argument, nullptr, 'o'},
      {"diff", required_argument, nullptr, 'd'},
      {"tessera", required_argument, nullptr, option_tessera},
      {"runt", required_argument, nullptr, option_runt},
      {"help", no_argument, nullptr, option_help},
      {nullptr, 0, nullptr, 0},
  };
  Options options;
  for (;;) {
    // "+": what follows NAME belongs to tessera.
    int letter = getopt_long(argc, argv, "+c:r:f:o:d:", long_options, nullptr);
    if (letter < 0) break;
    switch (letter) {
      case 'c':
        options.config = optarg;
        break;
      case 'r':
        options.runtime = optarg;
        break;
      case 'f':
        options.rootfs = optarg;
        break;
      case 'o':
        options.store = optarg;
        break;
      case 'd':
        options.old = optarg;
        break;
      case option_tessera:
        options.tessera = optarg;
        break;
      case option_runt:
        options.runt = optarg;
        break;
      case option_help:
        printf("%s\n%s", usage_line, help_text);
        exit(0);
      default:
        refuse_usage(nullptr);
    }
  }
  if (optind >= argc) refuse_usage("no service is named");
  std::string names = strcmp(argv[optind], "all") == 0 ? "pam,dnsmasq,ipsec,network" : argv[optind];
  options.arguments.assign(argv + optind + 1, argv + argc);
  for (size_t start = 0; start <= names.size();) {
    size_t end = std::min(names.find(',', start), names.size());
    options.services.push_back(names.substr(start, end - start));
    if (options.services.back().empty() || options.services.back() == "all")
      refuse_usage("a list of services holds names only");
    start = end + 1;
  }
  if (options.services.size() > 1 && !options.arguments.empty()) refuse_usage("ARGS are for a single service");
  return options;
}

std::string real_path(const std::string &path) {
  char buffer[PATH_MAX];
  return realpath(path.c_str(), buffer) != nullptr ? buffer : "";
}

// How the inside reaches the program: `given` when it is set, else `name` beside the preview (or in the sbin directory
// next to its bin), else by PATH.
std::string find_program(const std::string &given, const std::string &name) {
  if (!given.empty()) {
    std::string path = real_path(given);
    if (path.empty()) fail_system("%s", given.c_str());
    return HOST + path;
  }
  std::string self = real_path("/proc/self/exe");
  std::string directory = self.substr(0, self.rfind('/'));
  for (const std::string &path : {path_in(directory, name), path_in(directory + "/../sbin", name)}) {
    if (access(path.c_str(), X_OK) == 0) return HOST + real_path(path);
  }
  return name;
}

Fd open_input(const char *path, int flags) {
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | flags));
  if (!fd.is_open()) fail_system("%s", path);
  return fd;
}

// The text of the configuration; false for a router without one.
bool read_config(const char *path, std::string &text) {
  static const char *const machine_path = "/etc/config/config.json";
  if (path != nullptr && *path == '\0') return false;
  if (path == nullptr && access(machine_path, F_OK) != 0) return false;
  if (path == nullptr) path = machine_path;
  Fd fd = open_input(path, 0);
  if (!read_all(fd.get(), text)) fail_system("%s", path);
  return true;
}

std::string working_directory() {
  char buffer[PATH_MAX];
  return getcwd(buffer, sizeof buffer) != nullptr ? buffer : "/";
}

// A search path of the dynamic linker as it has to be spelt on the inside, where some of the machine's directories are
// reached at HOST only.
std::string inside_search_path(const std::string &search_path, const std::string &directory) {
  std::string result;
  for (size_t start = 0; start <= search_path.size();) {
    size_t end = std::min(search_path.find(':', start), search_path.size());
    std::string entry = search_path.substr(start, end - start);
    if (!result.empty()) result += ':';
    result += HOST + (!entry.empty() && entry[0] == '/' ? entry : path_in(directory, entry));
    start = end + 1;
  }
  return result;
}

// The programs find what they run in the directories of root's PATH too, and write below /tmp only.
void set_environment(const std::string &directory) {
  const char *libraries = getenv("LD_LIBRARY_PATH");
  if (libraries != nullptr) setenv("LD_LIBRARY_PATH", inside_search_path(libraries, directory).c_str(), 1);
  const char *path = getenv("PATH");
  setenv("PATH", ((path != nullptr ? std::string(path) + ":" : "") + "/usr/sbin:/usr/bin:/sbin:/bin").c_str(), 1);
  unsetenv("TMPDIR");
}

// The path that names the open file `fd` on the inside: as the user gave it where that leads to the same file.
std::string inside_path(const std::string &path, int fd) {
  struct stat wanted;
  struct stat found;
  bool is_same = fstat(fd, &wanted) == 0 && stat(path.c_str(), &found) == 0 && wanted.st_dev == found.st_dev &&
                 wanted.st_ino == found.st_ino;
  return is_same || path[0] != '/' ? path : HOST + path;
}

// The runtime store as text; empty without a store. What the run has written is worth showing even when the store
// cannot be read, so that is only said.
std::string dump_runtime(const std::string &runt) {
  std::string text;
  struct stat status;
  if (stat(runtime_directory, &status) == 0 && capture_program({runt, "dump"}, text) != 0)
    fputs("tessera-preview: the runtime store cannot be read\n", stderr);
  return text;
}

int run_services(const std::string &tessera, const Options &options) {
  int highest = 0;
  for (const std::string &service : options.services) {
    std::vector<std::string> arguments = {tessera, service};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    highest = std::max(highest, run_program(arguments));
  }
  return highest;
}

}  // namespace

int main(int argc, char **argv) {
  Options options = read_command_line(argc, argv);

  // All that is the machine's is opened here.
  std::string tessera = find_program(options.tessera, "tessera");
  std::string runt = find_program(options.runt, "runt");
  std::string config;
  bool has_config = read_config(options.config, config);
  Fd runtime;
  if (options.runtime != nullptr) runtime = open_input(options.runtime, 0);
  Fd rootfs;
  if (options.rootfs != nullptr) rootfs = open_input(options.rootfs, O_DIRECTORY);
  Tree old;
  if (options.old != nullptr) old = read_tree(open_input(options.old, O_DIRECTORY).get());
  Store store;
  if (options.store != nullptr) store = open_store(options.store);
  std::string directory = working_directory();

  set_environment(directory);
  enter_inside();
  if (has_config) place_file("/etc/config/config.json", config, 0600);
  if (rootfs.is_open()) lay_over(rootfs.get());
  bool prints_files = options.store == nullptr && options.old == nullptr;
  std::string runtime_before;
  if (runtime.is_open()) {
    std::string path = inside_path(options.runtime, runtime.get());
    if (run_program({runt, "load", path}, 0, 1, (HOST + directory).c_str()) != 0) return exit_setup;
    if (prints_files) runtime_before = dump_runtime(runt);
  }
  Snapshot before = take_snapshot();

  int status = run_services(tessera, options);

  Tree produced = produced_files(before);
  std::string runtime_after = dump_runtime(runt);
  if (prints_files) {
    print_files(produced);
    print_runtime_changes(runtime_before, runtime_after);
  } else {
    if (!runtime_after.empty()) produced.emplace(runtime_dump, File{S_IFREG | 0600, runtime_after});
    if (options.store != nullptr) store_files(store, produced);
    if (options.old != nullptr) print_differences(options.old, old, produced);
  }
  if (fflush(stdout) != 0) fail_system("cannot write the result");
  return status;
}
