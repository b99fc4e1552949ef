// Why a setting has no effect: a search for the smallest changes after which it has one.
#include <algorithm>
#include <cstddef>
#include <tuple>

#include "explain/alternatives.h"
#include "explain/answers.h"
#include "preview/strings.h"

namespace {

using Changes = std::vector<Change>;

// The entry of a map that the path lies in, the outermost one: "network.interface.lan" of all below it. The path itself
// where there is none.
std::string entry_of(const Setup &setup, const std::string &path) {
  for (size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1)) {
    const Setting *setting = find_setting(setup, path.substr(0, dot));
    if (setting != nullptr && setting->is_entry) return setting->path;
  }
  return path;
}

// True when the value names the entry, by its path or its bare name.
bool names_entry(const Setting &setting, const std::string &entry) {
  if (!setting.is_leaf || setting.is_fact) return false;
  std::string reference = "/" + entry;
  std::replace(reference.begin(), reference.end(), '.', '/');
  return setting.value == reference || setting.value == entry || setting.value == last_name(entry);
}

// What can have to do with the path: its own entry, the entries that this one names and those that name it, and what
// these name in turn.
std::set<std::string> related_entries(const Setup &setup, const std::string &path) {
  std::set<std::string> related = {entry_of(setup, path)};
  std::vector<std::string> entries;
  for (const Setting &setting : setup.settings)
    if (setting.is_entry) entries.push_back(setting.path);
  for (int hop = 0; hop < 2; hop++) {
    std::set<std::string> found = related;
    for (const Setting &setting : setup.settings) {
      if (!setting.is_leaf || setting.is_fact) continue;
      std::string own = entry_of(setup, setting.path);
      for (const std::string &entry : related) {
        if (names_entry(setting, entry)) found.insert(own == setting.path ? setting.path : own);
        if (own != entry) continue;
        for (const std::string &other : entries)
          if (names_entry(setting, other)) found.insert(other);
      }
    }
    related = found;
  }
  return related;
}

struct Search {
  const Pool &pool;
  const Setup &setup;
  const std::string &path;
  std::set<std::string> related;
  std::set<std::string> entry_names;  // of all entries of the document
};

bool is_related(const Search &search, const std::string &path, bool is_fact) {
  if (is_fact) {
    bool names_any = false;
    for (const std::string &name : components_of(path)) {
      for (const std::string &entry : search.related)
        if (last_name(entry) == name) return true;
      names_any |= search.entry_names.count(name) > 0;
    }
    return !names_any;
  }
  for (const std::string &entry : search.related)
    if (lies_in(path, entry)) return true;
  // What stands beside the path, or beside something that it lies in; of an array each element.
  std::string own = path;
  if (last_name(own).find_first_not_of("0123456789") == std::string::npos) own.resize(own.rfind('.'));
  size_t dot = own.rfind('.');
  return lies_in(search.path, dot == std::string::npos ? own : own.substr(0, dot));
}

// The changes that are worth a try after a run: of what it has read, and what has to do with the path.
std::vector<Change> next_changes(const Search &search, const Trace &trace) {
  std::vector<Change> changes;
  auto add = [&](const std::vector<Change> &more) { changes.insert(changes.end(), more.begin(), more.end()); };
  std::set<std::string> seen;
  for (const Read &read : trace.reads) {
    if (!seen.insert(read.path).second || !is_related(search, read.path, read.is_fact)) continue;
    const Setting *setting = find_setting(search.setup, read.path);
    if (!read.is_fact) add(more_elements(search.setup, read.path));
    if (setting != nullptr && setting->is_leaf) {
      add(alternatives(search.setup, *setting));
    } else if (setting == nullptr) {
      add(read.is_fact ? reports(search.setup, read.path, read.kind) : additions(search.setup, read.path));
    }
  }
  return changes;
}

using Progress = std::tuple<size_t, size_t, size_t>;

// How far a run came: what it read below the path, below its entry, and of facts.
Progress progress_of(const Search &search, const Result &result) {
  Trace trace = parse_trace(result.trace);
  size_t below = 0;
  size_t in_entry = 0;
  size_t facts = 0;
  std::string entry = entry_of(search.setup, search.path);
  for (const auto &[path, places] : trace.places) {
    below += lies_in(path, search.path) ? 1U : 0U;
    in_entry += lies_in(path, entry) ? 1U : 0U;
    facts += trace.reads[places[0]].is_fact && is_related(search, path, true) ? 1U : 0U;
  }
  return {below, in_entry, facts};
}

// The changes that show whether the path has an effect.
std::vector<Change> probes(const Search &search) {
  const Setting *setting = find_setting(search.setup, search.path);
  return setting != nullptr ? alternatives(search.setup, *setting) : additions(search.setup, search.path);
}

struct Step {
  std::string service;
  Changes changes;
  Result result;
  Progress progress;
};

Trial trial_of(const std::string &service, const Changes &changes) {
  return {service, changes, true, Trial::of_changed_router};
}

// Those of the steps after which a change at the path makes a difference.
std::vector<Step> proved(const Search &search, const std::vector<Step> &steps) {
  std::vector<Trial> trials;
  std::vector<size_t> step_of;
  for (size_t i = 0; i < steps.size(); i++) {
    if (std::get<0>(steps[i].progress) == 0) continue;
    for (const Change &probe : probes(search)) {
      Changes changes = steps[i].changes;
      changes.push_back(probe);
      trials.push_back(trial_of(steps[i].service, changes));
      step_of.push_back(i);
    }
  }
  std::vector<Result> results = run_all(search.pool, trials);
  std::set<size_t> with_effect;
  for (size_t i = 0; i < trials.size(); i++)
    if (!results[i].is_refused && results[i].files != steps[step_of[i]].result.files) with_effect.insert(step_of[i]);
  std::vector<Step> ways;
  for (size_t i : with_effect) ways.push_back(steps[i]);
  return ways;
}

// The changes of a way without those that it does not need: a search takes some of them on the way only.
Changes needed_changes(const Search &search, const Step &way) {
  Step step = way;
  for (size_t i = step.changes.size() - 1; i-- > 0;) {
    Step shorter = step;
    shorter.changes.erase(shorter.changes.begin() + static_cast<std::ptrdiff_t>(i));
    shorter.result = run_all(search.pool, {trial_of(step.service, shorter.changes)})[0];
    shorter.progress = progress_of(search, shorter.result);
    if (!shorter.result.is_refused && !proved(search, {shorter}).empty()) step = shorter;
  }
  return step.changes;
}

// One more change on top of what a step has: all that its run suggests.
std::vector<Step> steps_after(const Search &search, const Step &step) {
  std::vector<Trial> trials;
  for (const Change &change : next_changes(search, parse_trace(step.result.trace))) {
    bool is_done = std::any_of(step.changes.begin(), step.changes.end(),
                               [&](const Change &done) { return done.path == change.path; });
    if (is_done || change.path == search.path) continue;
    Changes changes = step.changes;
    changes.push_back(change);
    trials.push_back(trial_of(step.service, changes));
  }
  std::vector<Result> results = run_all(search.pool, trials);
  std::vector<Step> steps;
  for (size_t i = 0; i < trials.size(); i++)
    if (!results[i].is_refused)
      steps.push_back({step.service, trials[i].changes, results[i], progress_of(search, results[i])});
  return steps;
}

// The likeliest first: a fact that is missing, a switch, a word, anything else. A path is named once.
void arrange(std::vector<Step> &ways) {
  auto rank = [](const Step &way) {
    const Change &last = way.changes.back();
    if (last.is_fact) return 0;
    if (last.value == "true" || last.value == "false") return 1;
    return schema_at(last.path).words != nullptr ? 2 : 3;
  };
  std::stable_sort(ways.begin(), ways.end(),
                   [&](const Step &one, const Step &other) { return rank(one) < rank(other); });
  std::set<std::string> paths;
  auto is_repeated = [&](const Step &way) { return !paths.insert(way.changes.back().path).second; };
  ways.erase(std::remove_if(ways.begin(), ways.end(), is_repeated), ways.end());
}

// Lines of the runs that name an entry which the path lies in.
std::vector<std::string> messages_about(const Search &search, const std::vector<BaseRun> &runs) {
  std::vector<std::string> messages;
  std::string entry = entry_of(search.setup, search.path);
  for (const BaseRun &run : runs) {
    for (const std::string &line : lines_of(run.result.messages)) {
      bool is_about =
          line.find("'" + last_name(entry) + "'") != std::string::npos || line.find(entry) != std::string::npos;
      if (is_about && std::find(messages.begin(), messages.end(), line) == messages.end()) messages.push_back(line);
    }
  }
  return messages;
}

}  // namespace

Ways find_ways(const Pool &pool, const Setup &setup, const std::vector<BaseRun> &runs, const std::string &path,
               size_t most_steps) {
  Search search{pool, setup, path, related_entries(setup, path), {}};
  for (const Setting &setting : setup.settings)
    if (setting.is_entry) search.entry_names.insert(last_name(setting.path));
  Ways found{{}, messages_about(search, runs)};
  std::vector<Step> fronts;
  for (const BaseRun &run : runs) fronts.push_back({run.service, {}, run.result, progress_of(search, run.result)});
  for (size_t depth = 0; depth < most_steps && found.ways.empty(); depth++) {
    std::vector<Step> next;
    for (const Step &front : fronts) {
      std::vector<Step> steps = steps_after(search, front);
      std::vector<Step> ways = proved(search, steps);
      arrange(ways);
      for (const Step &way : ways) {
        Changes changes = needed_changes(search, way);
        if (std::find(found.ways.begin(), found.ways.end(), changes) == found.ways.end()) found.ways.push_back(changes);
      }
      auto furthest = std::max_element(
          steps.begin(), steps.end(), [](const Step &one, const Step &other) { return one.progress < other.progress; });
      if (furthest != steps.end() && furthest->progress > front.progress) next.push_back(std::move(*furthest));
    }
    fronts = std::move(next);
  }
  return found;
}
