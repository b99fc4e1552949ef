// tessera-preview: runs tessera without touching the machine and shows or stores the files that it writes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "preview/apart.h"
#include "preview/changes.h"
#include "preview/child.h"
#include "preview/encodings.h"
#include "preview/fail.h"
#include "preview/fd.h"
#include "preview/inside.h"
#include "preview/json.h"
#include "preview/options.h"
#include "preview/output.h"
#include "preview/plan.h"
#include "preview/scope.h"
#include "preview/secrets.h"
#include "preview/store.h"
#include "preview/verify.h"

namespace {

constexpr const char *machine_config = "/etc/config/config.json";

// What the machine has for the run, opened before its directories are left behind.
struct Inputs {
  std::string tessera;
  std::string runt;
  bool has_config;
  std::string config;
  Fd runtime;
  Fd rootfs;
  Tree old;
  Store store;
  std::string directory;
};

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
  if (path != nullptr && *path == '\0') return false;
  if (path == nullptr && access(machine_config, F_OK) != 0) return false;
  if (path == nullptr) path = machine_config;
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

// The tree of an earlier run. One that holds none of what a run stores is likely to be another directory.
Tree read_old(const char *name) {
  Tree tree = read_tree(open_input(name, O_DIRECTORY).get());
  bool is_known =
      tree.empty() || tree.count("var/run") > 0 || tree.count(runtime_dump) > 0 || tree.count(removed_list) > 0;
  if (!is_known) fprintf(stderr, "tessera-preview: %s: holds no var/run: was it stored with -o?\n", name);
  return tree;
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

Inputs open_inputs(const Options &options) {
  Inputs inputs;
  inputs.tessera = find_program(options.tessera, "tessera");
  inputs.runt = find_program(options.runt, "runt");
  inputs.has_config = read_config(options.config, inputs.config);
  if (options.runtime != nullptr) inputs.runtime = open_input(options.runtime, 0);
  if (options.rootfs != nullptr) inputs.rootfs = open_input(options.rootfs, O_DIRECTORY);
  if (options.old != nullptr) inputs.old = read_old(options.old);
  if (options.store != nullptr) inputs.store = open_store(options.store);
  inputs.directory = working_directory();
  return inputs;
}

// Fills the inside with the configuration, the files and the runtime facts; false when the facts are refused.
bool furnish(const Options &options, const Inputs &inputs) {
  if (inputs.has_config) place_file(machine_config, inputs.config, 0600);
  if (inputs.rootfs.is_open()) lay_over(inputs.rootfs.get());
  if (!inputs.runtime.is_open()) return true;
  std::string path = inside_path(options.runtime, inputs.runtime.get());
  std::string directory = HOST + inputs.directory;
  Surroundings surroundings;
  surroundings.directory = directory.c_str();
  return run_program({inputs.runt, "load", path}, surroundings) == 0;
}

// A message for the user: with the file that they gave, and no secrets.
std::string told(const Options &options, const Secrets &secrets, const std::string &text) {
  bool has_other_name = options.config != nullptr && *options.config != '\0';
  return masked(secrets, "", has_other_name ? with_replaced(text, machine_config, options.config) : text);
}

ServiceRun run_service(const Options &options, const Inputs &inputs, const Secrets &secrets,
                       const std::string &service) {
  std::vector<std::string> arguments = {inputs.tessera, service};
  arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
  ServiceRun run{service, 0, "", ""};
  run.status = capture_program(arguments, run.output, &run.messages);
  run.output = masked(secrets, "", run.output);
  run.messages = told(options, secrets, run.messages);
  if (options.form == Form::json) return run;
  fwrite(run.output.data(), 1, run.output.size(), stdout);
  fflush(stdout);
  fwrite(run.messages.data(), 1, run.messages.size(), stderr);
  // The only failure that tessera is silent about.
  bool has_no_tunnel = service == "ipsec" && run.status == 1 && run.output.empty() && run.messages.empty();
  if (run.status != 0 && (options.services.size() > 1 || has_no_tunnel))
    fprintf(stderr, "tessera-preview: %s ended with status %d%s\n", service.c_str(), run.status,
            has_no_tunnel ? ": no tunnel was written" : "");
  return run;
}

int highest_status(const std::vector<ServiceRun> &runs) {
  int highest = 0;
  for (const ServiceRun &run : runs) highest = std::max(highest, run.status);
  return highest;
}

void print_report(const Options &options, const Report &report) {
  if (options.form == Form::json) {
    print_json(report);
    return;
  }
  if (options.form == Form::summary) {
    print_summary(report.plan, options.is_coloured);
  } else if (options.old != nullptr) {
    print_differences(report.plan, options.is_coloured);
  } else if (options.store == nullptr) {
    print_files(report.plan, options.is_coloured);
    print_runtime_changes(report.runtime, options.is_coloured);
  }
  print_verdicts(report.verdicts, options.is_coloured);
}

// Everything that happens on the inside.
int preview(const Options &options, Inputs &inputs) {
  set_environment(inputs.directory);
  enter_inside();
  if (!furnish(options, inputs)) return exit_setup;
  Secrets secrets = find_secrets(inputs.config);
  secrets.masks = !options.shows_secrets;
  bool has_old = options.old != nullptr;
  std::string runtime_before = has_old ? "" : dump_runtime(inputs.runt);
  Snapshot before = take_snapshot();

  Report report{};
  for (const std::string &service : options.services) {
    report.runs.push_back(run_service(options, inputs, secrets, service));
  }

  Tree produced = produced_files(before);
  std::string runtime_after = dump_runtime(inputs.runt);
  report.is_verified = options.verifies;
  if (options.verifies) report.verdicts = verify_files(produced);
  for (Verdict &verdict : report.verdicts) {
    for (Finding &finding : verdict.findings) finding.message = masked(secrets, "", finding.message);
  }
  if (has_old || options.store != nullptr) {
    if (!runtime_after.empty()) produced.emplace(runtime_dump, File{S_IFREG | 0600, runtime_after});
    if (options.store != nullptr) store_files(inputs.store, produced);
  }
  if (has_old) keep_services(options.services, produced, inputs.old);
  if (has_old && inputs.old.count(runtime_dump) > 0) runtime_before = inputs.old.at(runtime_dump).content;
  report.runtime = runtime_changes(secrets, runtime_before, runtime_after);
  // Everything is stored: nothing is left to tell.
  bool is_silent = options.form == Form::files && options.store != nullptr && !has_old;
  if (!is_silent)
    report.plan = make_plan(secrets, produced, has_old ? &inputs.old : nullptr, has_old ? options.old : "");
  report.exit_status = highest_status(report.runs);
  if (report.exit_status == 0 && !are_accepted(report.verdicts)) report.exit_status = exit_unverified;
  if (report.exit_status == 0 && options.reports_differences && differs(report.plan)) report.exit_status = exit_differs;
  print_report(options, report);
  if (fflush(stdout) != 0) fail_system("cannot write the result");
  return report.exit_status;
}

}  // namespace

int main(int argc, char **argv) {
  Options options = read_command_line(argc, argv);
  Inputs inputs = open_inputs(options);
  return run_apart([&options, &inputs] { return preview(options, inputs); });
}
