#include "apply/survey.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>

#include "preview/fail.h"
#include "preview/output.h"
#include "preview/strings.h"
#include "sandbox/sandbox.h"
#include "util/strings.h"

namespace {

Fd memory_file() {
  Fd fd(memfd_create("tessera-apply", 0));
  if (!fd.is_open()) fail_system("cannot make a file in memory");
  return fd;
}

// Runs a program and returns its standard output; `status` gets how it ended.
std::string output_of(const std::vector<std::string> &words, int &status) {
  std::vector<char *> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
  arguments.push_back(nullptr);
  Fd output = memory_file();
  fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    if (dup2(output.get(), STDOUT_FILENO) == STDOUT_FILENO) execv(arguments[0], arguments.data());
    _exit(127);
  }
  int ended = 0;
  pid_t found = child;
  while (child > 0 && (found = waitpid(child, &ended, 0)) < 0 && errno == EINTR) continue;
  std::string content;
  if (child < 0 || found < 0 || lseek(output.get(), 0, SEEK_SET) != 0 || !read_all(output.get(), &content)) {
    fail_system("cannot run %s", words[0].c_str());
  }
  status = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
  return content;
}

std::string find_program(const char *name) {
  std::string path = installed_program(name);
  if (path.empty()) fail("%s is not installed", name);
  return path;
}

// The runtime store of this router as JSON; "" when there is none.
std::string read_facts(const std::string &runt) {
  if (access(runtime_directory, F_OK) != 0) return "";
  int status;
  std::string facts = output_of({runt, "dump"}, status);
  if (status != 0) fail("the runtime store cannot be read");
  return facts;
}

Router this_router(const std::optional<std::string> &config) {
  Router router;
  router.tessera = find_program("tessera");
  router.runt = find_program("runt");
  router.config = config;
  router.facts = read_facts(router.runt);
  std::string trouble = read_machine(router);
  if (!trouble.empty()) fail("%s", trouble.c_str());
  // No service reads the earlier documents.
  auto first = router.files.lower_bound("etc/config/history");
  while (first != router.files.end() && first->first.rfind("etc/config/history", 0) == 0) {
    first = router.files.erase(first);
  }
  return router;
}

ServicesOutcome run_in_private(const Router &router) {
  std::vector<std::vector<std::string>> services;
  for (const char *service : service_names) services.push_back({service});
  Job job = services_job(router, services);
  Run run = start_job(job);
  ServicesOutcome outcome = services_outcome(finish_job(run));
  if (!outcome.trouble.empty()) fail("%s", outcome.trouble.c_str());
  if (!outcome.refused.empty()) fail("the runtime store is refused: %s", outcome.refused.c_str());
  return outcome;
}

bool is_among(const std::vector<std::string> &names, const std::string &name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Stores the statuses of the services, and prints their messages. Prints a message of several services once, because
// all read the same document.
void take_statuses(const Secrets &secrets, const ServicesOutcome &outcome, const std::vector<std::string> &only,
                   Survey &survey) {
  std::set<std::string> said;
  for (size_t i = 0; i < outcome.services.size(); i++) {
    const Ended &ended = outcome.services[i];
    const std::string service = service_names[i];
    survey.statuses[service] = ended.status;
    if (!is_among(only, service)) continue;
    for (const std::string &line : lines_of(ended.messages)) {
      if (said.insert(line).second) fprintf(stderr, "%s\n", masked(secrets, "", line).c_str());
    }
    // ipsec ends with 1 when there are no tunnels, or all wait for an address: a change must not be refused for that,
    // because it may bring the address. When the document is refused, the first service ends with 1, too.
    bool has_no_tunnel = service == "ipsec" && ended.status == 1 && outcome.services[0].status == 0;
    if (ended.status == 0 || has_no_tunnel) continue;
    fprintf(stderr, "tessera-apply: %s ended with status %d\n", service.c_str(), ended.status);
    survey.has_failed = true;
  }
}

// Fills in the old and the new files, and the plan.
void take_files(const Router &router, const ServicesOutcome &outcome, const std::vector<std::string> &only,
                Survey &survey) {
  auto is_wanted = [&only](const std::string &path) {
    const char *service = service_of(path);
    return service != nullptr && is_among(only, service);
  };
  for (const auto &[path, file] : router.files) {
    if (is_wanted(path)) survey.before[path] = file;
  }
  survey.after = survey.before;
  for (const std::string &name : lines_of(content_of(outcome.files, removed_list))) survey.after.erase(name.substr(1));
  for (const auto &[path, file] : outcome.files) {
    if (S_ISREG(file.mode) && is_wanted(path)) survey.after[path] = file;
  }
  Secrets all_shown;  // only lines are counted
  all_shown.masks = false;
  survey.files = make_plan(all_shown, survey.after, &survey.before, "");
}

void find_services(const std::vector<std::string> &only, Survey &survey) {
  std::set<std::string> changed;
  for (const PlannedFile &file : survey.files) {
    if (file.fate != Fate::unchanged) changed.insert(service_of(file.path));
  }
  // The network file holds a digest of the tunnels' files, and `network` writes its map of devices into the store.
  if (changed.count("ipsec") > 0 || survey.facts_differ) changed.insert("network");
  for (const char *service : service_names) {
    if (changed.count(service) > 0 && is_among(only, service)) survey.services.emplace_back(service);
  }
}

long long seconds_left(const Pending &pending) {
  return pending.deadline - seconds_up();
}

std::string joined(const std::vector<std::string> &words, const char *before, const char *after) {
  std::string list;
  for (const std::string &word : words) list += before + word + after;
  return list;
}

void print_remark_json(const char *separator, const Verdict &verdict, const Remark &remark) {
  printf("%s\n    {\"checker\": %s, \"file\": %s, \"line\": %u, \"grade\": \"%s\", \"message\": %s}", separator,
         json_string(verdict.checker).c_str(), json_string(repaired_utf8(remark.file)).c_str(), remark.line,
         remark.is_warning ? "warning" : "error", json_string(repaired_utf8(remark.message)).c_str());
}

// Ends an array; `separator` is "" when it has no elements.
void end_array(const char *separator) {
  puts(*separator != '\0' ? "\n  ]," : "],");
}

std::string waiting(const std::optional<Pending> &pending) {
  if (!pending) return "null";
  return "{\"change\": " + std::to_string(pending->number) +
         ", \"seconds_left\": " + std::to_string(seconds_left(*pending)) + "}";
}

}  // namespace

Survey make_survey(const std::optional<std::string> &config, const std::vector<std::string> &only, bool verifies) {
  std::vector<std::string> wanted = only;
  if (wanted.empty()) wanted.assign(std::begin(service_names), std::end(service_names));
  Router router = this_router(config);
  ServicesOutcome outcome = run_in_private(router);
  Survey survey{};
  Secrets secrets = find_secrets(config.value_or(""));
  take_statuses(secrets, outcome, wanted, survey);
  survey.facts_differ = outcome.facts_before != outcome.facts_after;
  take_files(router, outcome, wanted, survey);
  find_services(wanted, survey);
  if (!verifies) return survey;
  for (Verdict &verdict : verify_files(outcome.files, router.files)) {
    for (Remark &remark : verdict.remarks) remark.message = masked(secrets, "", remark.message);
    if (!verdict.remarks.empty()) survey.verdicts.push_back(std::move(verdict));
  }
  return survey;
}

void print_survey(const Survey &survey, const std::optional<Pending> &pending) {
  if (pending) printf("change %u waits for confirmation, %lld seconds more\n", pending->number, seconds_left(*pending));
  for (const PlannedFile &file : survey.files) {
    if (file.fate == Fate::unchanged) continue;
    printf("%s %-32s +%zu -%zu\n", fate_names[static_cast<size_t>(file.fate)], shown_name(file.path).c_str(),
           file.lines_added, file.lines_removed);
  }
  if (survey.facts_differ) puts("changed runtime store");
  if (survey.services.empty() && !survey.has_failed) puts("nothing changes");
  if (!survey.services.empty()) printf("services:%s\n", joined(survey.services, " ", "").c_str());
  print_verdicts(survey.verdicts, false);
}

void print_survey_json(const Survey &survey, const std::optional<Pending> &pending) {
  const char *separator = "";
  printf("{\n  \"files\": [");
  for (const PlannedFile &file : survey.files) {
    if (file.fate == Fate::unchanged) continue;
    printf(
        "%s\n    {\"path\": %s, \"service\": \"%s\", \"status\": \"%s\", \"lines_added\": %zu, \"lines_removed\": %zu}",
        separator, json_string(repaired_utf8(shown_name(file.path))).c_str(), service_of(file.path),
        fate_names[static_cast<size_t>(file.fate)], file.lines_added, file.lines_removed);
    separator = ",";
  }
  end_array(separator);
  printf("  \"findings\": [");
  separator = "";
  for (const Verdict &verdict : survey.verdicts) {
    for (const Remark &remark : verdict.remarks) {
      print_remark_json(separator, verdict, remark);
      separator = ",";
    }
  }
  end_array(separator);
  std::string services = joined(survey.services, "\"", "\", ");
  printf("  \"store_changes\": %s,\n  \"services\": [%s],\n  \"pending\": %s\n}\n",
         survey.facts_differ ? "true" : "false",
         services.substr(0, services.size() - (services.empty() ? 0 : 2)).c_str(), waiting(pending).c_str());
}

bool passes_check(const std::string &name, const std::string &config) {
  Fd file = memory_file();
  if (!write_all(file.get(), config)) fail_system("%s", name.c_str());
  std::string path = "/proc/self/fd/" + std::to_string(file.get());
  int status;
  std::string findings = output_of({find_program("tessera-config"), "check", path}, status);
  fputs(with_replaced(findings, path, name).c_str(), stderr);
  return status == 0;
}
