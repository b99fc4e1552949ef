// tessera-preview: runs tessera in a sandbox, and shows or stores the files that it writes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "preview/fail.h"
#include "preview/json.h"
#include "preview/options.h"
#include "preview/output.h"
#include "preview/plan.h"
#include "preview/scope.h"
#include "preview/secrets.h"
#include "preview/store.h"
#include "preview/strings.h"
#include "preview/verify.h"
#include "sandbox/sandbox.h"
#include "util/strings.h"

namespace {

// Everything that is read before a service runs.
struct Inputs {
  Router router;
  Secrets secrets;
  Tree old;
  Store store;
};

Fd open_input(const char *path, int flags) {
  Fd fd(open(path, O_RDONLY | O_CLOEXEC | flags));
  if (!fd.is_open()) fail_system("%s", path);
  return fd;
}

std::string read_input(const char *path) {
  std::string content;
  if (!read_all(open_input(path, 0).get(), &content)) fail_system("%s", path);
  return content;
}

Tree read_directory(const char *path) {
  Tree tree;
  std::string trouble = read_tree(open_input(path, O_DIRECTORY).get(), tree);
  if (!trouble.empty()) fail("%s/%s", path, trouble.c_str());
  return tree;
}

// The path of the program that the user gave, otherwise of the installed one.
std::string find_program(const char *given, const char *name) {
  std::string path = given == nullptr ? installed_program(name) : real_path(given);
  if (path.empty()) fail_system("%s", given == nullptr ? name : given);
  return path;
}

// The content of the configuration; none when the router has no configuration.
std::optional<std::string> read_config(const char *path) {
  if (path == nullptr) path = access(config_document, F_OK) == 0 ? config_document : "";
  if (*path == '\0') return {};
  return read_input(path);
}

// The tree of an earlier run. Warns when the directory holds nothing that a run stores: it is probably a wrong one.
Tree read_old(const char *name) {
  Tree tree = read_directory(name);
  bool is_known =
      tree.empty() || tree.count("var/run") > 0 || tree.count(runtime_dump) > 0 || tree.count(removed_list) > 0;
  if (!is_known) fprintf(stderr, "tessera-preview: %s: holds no var/run: was it stored with -o?\n", name);
  return tree;
}

Inputs read_inputs(const Options &options) {
  Inputs inputs;
  inputs.router.config = read_config(options.config);
  if (options.runtime != nullptr) inputs.router.facts = read_input(options.runtime);
  if (options.rootfs != nullptr) inputs.router.files = read_directory(options.rootfs);
  if (options.old != nullptr) inputs.old = read_old(options.old);
  if (options.store != nullptr) inputs.store = open_store(options.store);
  inputs.router.tessera = find_program(options.tessera, "tessera");
  inputs.router.runt = find_program(options.runt, "runt");
  inputs.secrets = find_secrets(inputs.router.config.value_or(""));
  inputs.secrets.masks = !options.shows_secrets;
  return inputs;
}

// A message of a service for the user: with the names of the user's files, and without secrets.
std::string shown_message(const Options &options, const Secrets &secrets, const std::string &message) {
  std::string shown = message;
  bool has_config = options.config != nullptr && *options.config != '\0';
  if (has_config) shown = with_replaced(shown, config_document, options.config);
  if (options.runtime != nullptr) shown = with_replaced(shown, facts_path, options.runtime);
  return masked(secrets, "", shown);
}

ServicesOutcome run_services(const Options &options, const Inputs &inputs) {
  std::vector<std::vector<std::string>> services;
  for (const std::string &service : options.services) {
    services.push_back({service});
    services.back().insert(services.back().end(), options.arguments.begin(), options.arguments.end());
  }
  Job job = services_job(inputs.router, services);
  Run run = start_job(job);
  ServicesOutcome outcome = services_outcome(finish_job(run));
  if (!outcome.trouble.empty()) fail("%s", outcome.trouble.c_str());
  if (!outcome.refused.empty()) {
    fputs(shown_message(options, inputs.secrets, outcome.refused).c_str(), stderr);
    exit(exit_setup);
  }
  // Only warn: the written files can still be shown.
  if (!outcome.facts_messages.empty()) fputs("tessera-preview: the runtime store cannot be read\n", stderr);
  return outcome;
}

// Prints the output of the services, and their messages. Prints a message of several services once, because all read
// the same configuration.
void print_runs(const std::vector<ServiceRun> &runs) {
  std::set<std::string> said_before;
  for (const ServiceRun &run : runs) {
    fwrite(run.output.data(), 1, run.output.size(), stdout);
    fflush(stdout);
    std::vector<std::string> messages = lines_of(run.messages);
    for (const std::string &line : messages) {
      if (said_before.count(line) == 0) fprintf(stderr, "%s\n", line.c_str());
    }
    said_before.insert(messages.begin(), messages.end());
    if (run.status == 0 || !run.counts || (runs.size() == 1 && !run.has_no_tunnel)) continue;
    fprintf(stderr, "tessera-preview: %s ended with status %d%s\n", run.service.c_str(), run.status,
            run.has_no_tunnel ? ": no tunnel was written" : "");
  }
}

// Whether the service ended with 1 and no message of its own. A message does not count when a service that ended with 0
// printed it too: it is a finding about the configuration.
bool fails_silently(const ServiceRun &run, const std::vector<ServiceRun> &runs) {
  std::set<std::string> harmless;
  for (const ServiceRun &other : runs) {
    if (other.status != 0) continue;
    for (std::string &line : lines_of(other.messages)) harmless.insert(std::move(line));
  }
  std::vector<std::string> own = lines_of(run.messages);
  return run.status == 1 && run.output.empty() &&
         std::all_of(own.begin(), own.end(), [&](const std::string &line) { return harmless.count(line) != 0; });
}

std::vector<ServiceRun> describe_runs(const Options &options, const Inputs &inputs, const std::vector<Ended> &ended) {
  std::vector<ServiceRun> runs;
  for (size_t i = 0; i < ended.size(); i++) {
    ServiceRun run{options.services[i], ended[i].status, masked(inputs.secrets, "", ended[i].output),
                   shown_message(options, inputs.secrets, ended[i].messages)};
    runs.push_back(std::move(run));
  }
  for (ServiceRun &run : runs) {
    // tessera fails without a message only when it wrote no tunnel.
    run.has_no_tunnel = run.service == "ipsec" && fails_silently(run, runs);
    run.counts = !(options.is_all && run.has_no_tunnel && !configures_tunnels(inputs.router.config.value_or("")));
  }
  return runs;
}

std::vector<Verdict> verify(const Inputs &inputs, const Tree &files) {
  std::vector<Verdict> verdicts = verify_files(files, inputs.router.files);
  for (Verdict &verdict : verdicts) {
    for (Remark &remark : verdict.remarks) remark.message = masked(inputs.secrets, "", remark.message);
  }
  return verdicts;
}

int exit_status(const Options &options, const Report &report) {
  int highest = 0;
  for (const ServiceRun &run : report.runs) highest = std::max(highest, run.counts ? run.status : 0);
  if (highest != 0) return highest;
  if (std::any_of(report.verdicts.begin(), report.verdicts.end(), is_refused)) return exit_unverified;
  return options.reports_differences && differs(report.plan) ? exit_differs : 0;
}

void print_report(const Options &options, const Report &report) {
  if (options.prints_json) {
    print_json(report);
    return;
  }
  if (options.prints_summary) {
    print_summary(report.plan, options.is_coloured);
  } else if (options.old != nullptr) {
    print_differences(report.plan, options.is_coloured);
  } else if (options.store == nullptr) {
    print_files(report.plan, options.is_coloured);
    print_runtime_changes(report.runtime, options.is_coloured);
  }
  print_verdicts(report.verdicts, options.is_coloured);
}

}  // namespace

int main(int argc, char **argv) {
  Options options = read_command_line(argc, argv);
  Inputs inputs = read_inputs(options);
  bool has_old = options.old != nullptr;
  ServicesOutcome outcome = run_services(options, inputs);
  Tree &files = outcome.files;

  Report report{};
  report.runs = describe_runs(options, inputs, outcome.services);
  if (!options.prints_json) print_runs(report.runs);
  report.is_verified = options.verifies;
  if (options.verifies) report.verdicts = verify(inputs, files);
  if ((has_old || options.store != nullptr) && !outcome.facts_after.empty()) {
    files.emplace(runtime_dump, File{S_IFREG | 0600, outcome.facts_after});
  }
  if (options.store != nullptr) store_files(inputs.store, files);
  if (has_old) keep_services(options.services, files, inputs.old);
  bool has_old_facts = has_old && inputs.old.count(runtime_dump) > 0;
  report.runtime = runtime_changes(inputs.secrets,
                                   has_old_facts ? content_of(inputs.old, runtime_dump)
                                   : has_old     ? ""
                                                 : outcome.facts_before,
                                   outcome.facts_after);
  // With -o alone, nothing is printed.
  bool is_silent = !options.prints_json && !options.prints_summary && options.store != nullptr && !has_old;
  if (!is_silent)
    report.plan = make_plan(inputs.secrets, files, has_old ? &inputs.old : nullptr, has_old ? options.old : "");
  report.exit_status = exit_status(options, report);
  print_report(options, report);
  if (fflush(stdout) != 0) fail_system("cannot write the result");
  return report.exit_status;
}
