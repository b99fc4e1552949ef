#include "explain/runs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "explain/alternatives.h"
#include "explain/batch.h"
#include "preview/strings.h"
#include "sandbox/inside.h"

namespace {

// Trials that run one after the other in the same sandbox.
struct Batch {
  std::vector<size_t> numbers;  // of the trials
  Job job;
  Run run;
};

// The commands of a trial, one a line. No path of a program inside the sandbox has a space.
std::string command_line(const Pool &pool, const Trial &trial, const char *facts) {
  std::string line;
  auto add = [&line](const std::string &program, const std::string &argument) {
    line += inside_program(program) + " " + argument + "\n";
  };
  if (facts != nullptr) add(pool.router.runt, std::string("load ") + facts);
  const std::string &tessera = trial.is_traced ? pool.tracer : pool.router.tessera;
  if (trial.service == "network" && trial.ipsec_files == Trial::of_changed_router) add(tessera, "ipsec");
  add(tessera, trial.service);
  return line;
}

// Adds a trial to a batch, unless its changes cannot be made.
void add_trial(const Pool &pool, const Trial &trial, size_t number, Batch &batch) {
  std::string config;
  Facts facts;
  if (!apply_changes(pool.setup, trial.changes, config, facts)) return;
  std::string directory = std::string(&trials_path[1]) + "/" + std::to_string(batch.numbers.size()) + "/";
  Tree &files = batch.job.files;
  auto add = [&](const char *name, const std::string &content) { files[directory + name] = {S_IFREG | 0600, content}; };
  bool has_facts = facts != pool.setup.facts;
  add("config", config);
  if (has_facts) add("facts", facts_text(facts));
  add("run", command_line(pool, trial, has_facts ? ("/" + directory + "facts").c_str() : nullptr));
  if (trial.is_traced) files[&trace_path[1]] = {S_IFREG | 0600, ""};
  batch.numbers.push_back(number);
}

Batch make_batch(const Pool &pool, bool has_ipsec_files, const std::string &other_file = "") {
  Router router = pool.router;
  if (!other_file.empty())
    router.files[other_file] = {S_IFREG | 0644, similar(pool.setup, content_of(router.files, other_file))};
  if (!pool.setup.facts.empty()) router.facts = facts_text(pool.setup.facts);
  if (has_ipsec_files) {
    // These are all files of /var/run after the run: they replace those that the router had there.
    std::erase_if(router.files, [](const auto &entry) {
      return entry.first.rfind("var/run/", 0) == 0 && !S_ISDIR(entry.second.mode);
    });
    router.files.insert(pool.ipsec_files.begin(), pool.ipsec_files.end());
  }
  Batch batch;
  batch.job = services_job(router, {});
  // The dumps of the store before and after are not needed. The commands that never run make the programs visible.
  batch.job.preparations.pop_back();
  batch.job.commands = {{{pool.explain, batch_argument}}};
  for (const std::string *program : {&pool.router.tessera, &pool.router.runt, &pool.tracer})
    batch.job.commands.push_back({{*program}, "/.never"});
  return batch;
}

// Runs a batch to its end and stores the files of each trial in its result.
void collect_results(const Pool &pool, Batch &batch, std::vector<Result> &results) {
  Outcome outcome = finish_job(batch.run);
  if (outcome.commands.empty() || outcome.commands[0].status != 0) {
    std::string trouble = outcome.trouble;
    if (!outcome.preparations.empty()) trouble += outcome.preparations.back().messages;
    if (!outcome.commands.empty()) trouble += outcome.commands[0].messages;
    trouble = with_replaced(trouble, facts_path, pool.setup.facts_name);
    if (!trouble.empty() && trouble.back() == '\n') trouble.pop_back();
    fprintf(stderr, "tessera-explain: %s\n", trouble.c_str());
    exit(3);
  }
  const std::string top = std::string(&results_path[1]) + "/";
  for (auto &[path, file] : outcome.files) {
    if (path.compare(0, top.size(), top) != 0) continue;
    size_t slash = path.find('/', top.size());
    Result &result = results[batch.numbers[strtoul(path.c_str() + top.size(), nullptr, 10)]];
    result.is_refused = false;
    if (S_ISDIR(file.mode)) continue;
    std::string name = path.substr(slash + 1);
    if (name == "messages") {
      result.messages = with_replaced(file.content, config_document, pool.setup.config_name);
    } else if (name == "trace") {
      result.trace = std::move(file.content);
    } else if (S_ISLNK(file.mode)) {
      result.files["/var/" + name] = "-> " + file.content + "\n";
      result.links["var/" + name] = std::move(file);
    } else {
      result.files["/var/" + name] = std::move(file.content);
    }
  }
}

// Runs some of the trials. Those that start with the same files in /var/run share batches, one for each processor.
void run_some(const Pool &pool, const std::vector<Trial> &trials, size_t first, size_t end,
              std::vector<Result> &results) {
  long online = sysconf(_SC_NPROCESSORS_ONLN);
  const size_t processors = online > 1 ? static_cast<size_t>(online) : 1;
  std::vector<Batch> batches;
  for (bool has_ipsec_files : {false, true})
    for (size_t i = 0; i < processors; i++) batches.push_back(make_batch(pool, has_ipsec_files));
  for (size_t i = first; i < end; i++) {
    bool has_ipsec_files = trials[i].service == "network" && trials[i].ipsec_files == Trial::of_router;
    size_t batch = (has_ipsec_files ? processors : 0) + i % processors;
    if (!trials[i].other_file.empty()) {
      batch = batches.size();
      batches.push_back(make_batch(pool, has_ipsec_files, trials[i].other_file));
    }
    add_trial(pool, trials[i], i, batches[batch]);
  }
  auto is_empty = [](const Batch &batch) { return batch.numbers.empty(); };
  batches.erase(std::remove_if(batches.begin(), batches.end(), is_empty), batches.end());
  for (Batch &batch : batches) batch.run = start_job(batch.job);
  for (Batch &batch : batches) collect_results(pool, batch, results);
}

}  // namespace

std::vector<Result> run_all(const Pool &pool, const std::vector<Trial> &trials) {
  constexpr size_t most_at_once = 32U << 20;  // bytes of configurations; runs need several times as much memory
  constexpr size_t most = 512U << 20;
  size_t size = pool.setup.content.size() + 1;
  if (trials.size() > 1 && trials.size() > most / size) {
    fprintf(stderr, "tessera-explain: %s: too large for the %zu runs that the answer takes\n",
            pool.setup.config_name.c_str(), trials.size());
    exit(2);
  }
  std::vector<Result> results(trials.size());
  const size_t step = most_at_once / size + 1;
  for (size_t first = 0; first < trials.size(); first += step)
    run_some(pool, trials, first, std::min(first + step, trials.size()), results);
  return results;
}
