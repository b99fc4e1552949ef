#include "explain/effects.h"

#include <algorithm>

#include "explain/alternatives.h"
#include "explain/groups.h"
#include "util/strings.h"

namespace {

Effect compare(const BaseRun &base, const Attempt &attempt, const Result &result) {
  Effect effect{attempt, {}, {}};
  if (result.is_refused) return effect;
  static const std::string none;
  auto content = [](const Result &of, const std::string &file) -> const std::string & {
    auto found = of.files.find(file);
    return found != of.files.end() ? found->second : none;
  };
  std::set<std::string> files;
  for (const Result *of : {&base.result, &result})
    for (const auto &[file, text] : of->files) files.insert(file);
  for (const std::string &file : files) {
    if (content(base.result, file) == content(result, file)) continue;
    auto lines = base.lines.find(file);
    effect.files[file] = lines_of(content(result, file));
    effect.fates[file] =
        compare_lines(lines != base.lines.end() ? lines->second : std::vector<std::string>(), effect.files[file]);
  }
  return effect;
}

// Returns the attempts that get a run of their own for a question about one line. Attempts of settings that are known
// to have effects are among them.
std::vector<Attempt> promising(const Pool &pool, const BaseRun &base, const AskedLine &asked,
                               const std::vector<Attempt> &attempts, const std::set<const Setting *> &known) {
  std::vector<Candidate> candidates;
  for (const Attempt &attempt : attempts) {
    size_t distance = distance_to(base.trace, *attempt.setting, asked.file, asked.bytes);
    if (known.count(attempt.setting) > 0) distance = 0;
    candidates.push_back({pattern_of(pool.setup, attempt.setting->path), attempt.number, distance});
  }
  auto differ = [&](const std::vector<Group> &groups) {
    std::vector<Trial> trials;
    for (const Group &group : groups) {
      std::vector<Change> changes;
      for (size_t i : group) changes.push_back(attempts[i].changes[0]);
      trials.push_back(trial_of(base, changes, false));
    }
    std::vector<bool> differs;
    for (Result &result : run_all(pool, trials)) {
      const std::vector<std::string> lines = lines_of(result.files[asked.file]);
      differs.push_back(!is_still_there(base.lines.at(asked.file), asked.index, lines));
    }
    return differs;
  };
  std::vector<Attempt> chosen;
  for (size_t i : worth_trying(candidates, differ)) chosen.push_back(attempts[i]);
  return chosen;
}

}  // namespace

bool may_matter(const BaseRun &base, const Setting &setting) {
  return is_read(base.trace, setting.path, setting.is_fact) || is_read(base.ipsec_trace, setting.path, setting.is_fact);
}

Trial trial_of(const BaseRun &base, const std::vector<Change> &changes, bool is_traced) {
  Trial trial{base.service, changes, is_traced};
  for (const Change &change : changes)
    if (reads_any(base.ipsec_trace, change.path, change.is_fact)) trial.ipsec_files = Trial::of_changed_router;
  return trial;
}

std::vector<BaseRun> run_base(const Pool &pool, const std::vector<std::string> &wanted) {
  std::vector<Trial> trials;
  for (const std::string &service : wanted) trials.push_back({service, {}, true});
  std::vector<Result> results = run_all(pool, trials);
  std::vector<BaseRun> runs;
  for (size_t i = 0; i < trials.size(); i++) {
    BaseRun run{trials[i].service, std::move(results[i]), {}, {}, {}, {}};
    run.trace = parse_trace(run.result.trace);
    for (const auto &[file, content] : run.result.files) {
      run.lines[file] = lines_of(content);
      run.shown[file] = masked_lines(pool.secrets, file, run.lines[file]);
    }
    runs.push_back(std::move(run));
  }
  return runs;
}

bool depends_on_ipsec(const Pool &pool, const BaseRun &base, const std::string &file, size_t index) {
  if (base.service != "network") return false;
  std::vector<Result> results = run_all(pool, {{base.service, {}, false, Trial::none}});
  Effect effect = compare(base, {}, results[0]);
  auto fates = effect.fates.find(file);
  return fates != effect.fates.end() && fates->second[index] != Fate::kept;
}

std::vector<Effect> try_changes(const Pool &pool, const BaseRun &base, const std::vector<Attempt> &attempts) {
  std::vector<Trial> trials;
  for (const Attempt &attempt : attempts) {
    trials.push_back(trial_of(base, attempt.changes, false));
    trials.back().other_file = attempt.other_file;
  }
  std::vector<Result> results = run_all(pool, trials);
  std::vector<Effect> effects;
  for (size_t i = 0; i < attempts.size(); i++) {
    Effect effect = compare(base, attempts[i], results[i]);
    if (!effect.fates.empty()) effects.push_back(std::move(effect));
  }
  return effects;
}

std::vector<Effect> try_settings(const Pool &pool, const BaseRun &base, const std::vector<const Setting *> &settings,
                                 const AskedLine *asked) {
  std::vector<Attempt> first;
  std::vector<Attempt> others;
  for (const Setting *setting : settings) {
    size_t number = 0;
    for (const Change &change : alternatives(pool.setup, *setting)) {
      (number == 0 ? first : others).push_back({setting, {change}, number});
      number++;
    }
  }
  std::set<const Setting *> known;
  if (asked != nullptr) first = promising(pool, base, *asked, first, known);
  std::vector<Effect> effects = try_changes(pool, base, first);
  // A string without known words has its effect with any value: one value is enough.
  std::set<const Setting *> free_strings;
  for (const Effect &effect : effects) {
    const Setting *setting = effect.attempt.setting;
    known.insert(setting);
    if (setting->is_leaf && !setting->is_fact && schema_at(setting->path).words == nullptr)
      free_strings.insert(setting);
  }
  std::erase_if(others, [&](const Attempt &attempt) { return free_strings.count(attempt.setting) > 0; });
  if (asked != nullptr) others = promising(pool, base, *asked, others, known);
  for (Effect &effect : try_changes(pool, base, others)) effects.push_back(std::move(effect));
  return effects;
}
