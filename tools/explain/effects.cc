#include "explain/effects.h"

#include <algorithm>

#include "explain/alternatives.h"
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

std::vector<Effect> try_settings(const Pool &pool, const Setup &setup, const BaseRun &base,
                                 const std::vector<const Setting *> &settings) {
  std::vector<Attempt> first;
  std::vector<Attempt> others;
  for (const Setting *setting : settings) {
    bool is_first = true;
    for (const Change &change : alternatives(setup, *setting)) {
      (is_first ? first : others).push_back({setting, {change}});
      is_first = false;
    }
  }
  std::vector<Effect> effects = try_changes(pool, base, first);
  // A free string that shows up somewhere shows up there with any value.
  std::set<const Setting *> free_strings;
  for (const Effect &effect : effects) {
    const Setting *setting = effect.attempt.setting;
    if (setting->is_leaf && !setting->is_fact && schema_at(setting->path).words == nullptr)
      free_strings.insert(setting);
  }
  auto is_known = [&](const Attempt &attempt) { return free_strings.count(attempt.setting) > 0; };
  others.erase(std::remove_if(others.begin(), others.end(), is_known), others.end());
  for (Effect &effect : try_changes(pool, base, others)) effects.push_back(std::move(effect));
  return effects;
}
