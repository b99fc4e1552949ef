#include "explain/effects.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

#include "explain/alternatives.h"
#include "preview/strings.h"

namespace {

// The last read of that path among the first `limit`; -1 when there is none.
ptrdiff_t last_read(const Trace &trace, const std::string &path, size_t limit, bool only_trees) {
  auto found = trace.places.find(path);
  if (found == trace.places.end()) return -1;
  auto end = std::lower_bound(found->second.begin(), found->second.end(), limit);
  while (end != found->second.begin()) {
    --end;
    if (!only_trees || trace.reads[*end].kind == "tree") return static_cast<ptrdiff_t>(*end);
  }
  return -1;
}

ptrdiff_t last_read_of(const Trace &trace, const Setting &setting, size_t limit) {
  ptrdiff_t last = last_read(trace, setting.path, limit, false);
  if (setting.is_fact) {
    // A list of facts is read by the key above them.
    size_t dot = setting.path.rfind('.');
    if (dot != std::string::npos) last = std::max(last, last_read(trace, setting.path.substr(0, dot), limit, false));
    return last;
  }
  for (size_t dot = setting.path.rfind('.'); dot != std::string::npos && dot > 0;
       dot = setting.path.rfind('.', dot - 1))
    last = std::max(last, last_read(trace, setting.path.substr(0, dot), limit, true));
  return last;
}

Trial make_trial(const BaseRun &base, const Attempt &attempt) {
  Trial trial;
  trial.service = base.service;
  trial.changes = attempt.changes;
  trial.other_file = attempt.other_file;
  for (const Change &change : attempt.changes) {
    Setting setting{change.path, change.is_fact, true, false, "", "", 0, 0};
    const Trace &earlier = base.ipsec_trace;
    if (reads_below(earlier, change.path) || is_read(earlier, setting)) trial.ipsec_files = Trial::of_changed_router;
  }
  return trial;
}

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

Trace parse_trace(const std::string &record) {
  Trace trace;
  std::map<size_t, std::vector<std::pair<size_t, size_t>>> progress;  // by stream
  std::map<size_t, std::string> inodes;                               // by stream
  std::map<std::string, std::string> files;                           // by inode
  std::istringstream lines(record);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string event;
    std::string path;
    size_t stream = 0;
    size_t bytes = 0;
    words >> event;
    if (event == "open") {
      words >> stream >> inodes[stream];
    } else if (event == "at") {
      words >> stream >> bytes;
      progress[stream].emplace_back(bytes, trace.reads.size());
    } else if (event == "file") {
      words >> path;
      std::getline(words >> std::ws, files[path]);
    } else {
      std::string kind = event;
      if (event == "fact") words >> kind;
      std::getline(words >> std::ws, path);
      trace.places[path].push_back(trace.reads.size());
      trace.reads.push_back({path, kind, event == "fact"});
    }
  }
  for (const auto &[stream, steps] : progress) {
    auto file = files.find(inodes[stream]);
    if (file != files.end()) trace.progress[file->second] = steps;
  }
  return trace;
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

bool reads_below(const Trace &trace, const std::string &path) {
  auto below = trace.places.lower_bound(path + ".");
  return below != trace.places.end() && below->first.compare(0, path.size() + 1, path + ".") == 0;
}

bool is_read(const Trace &trace, const Setting &setting) {
  return last_read_of(trace, setting, SIZE_MAX) >= 0;
}

size_t distance_to(const Trace &trace, const Setting &setting, const std::string &file, size_t bytes) {
  size_t limit = trace.reads.size();
  auto steps = trace.progress.find(file);
  if (steps != trace.progress.end()) {
    for (const auto &[written, reads] : steps->second) {
      if (written < bytes) continue;
      limit = reads;
      break;
    }
  }
  ptrdiff_t last = last_read_of(trace, setting, limit);
  return last < 0 ? SIZE_MAX : limit - static_cast<size_t>(last);
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
  for (const Attempt &attempt : attempts) trials.push_back(make_trial(base, attempt));
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
