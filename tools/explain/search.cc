// Why settings have no effect: a search for the fewest changes after which they have one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>

#include "explain/alternatives.h"
#include "explain/answers.h"
#include "explain/groups.h"
#include "util/strings.h"

namespace {

using Changes = std::vector<Change>;
using Progress = std::tuple<size_t, size_t, size_t>;

// A setting without an effect.
struct Subject {
  std::string path;
  bool is_fact;
  std::string entry;              // the outermost entry that the path lies in
  std::set<std::string> related;  // entries that may influence it
  Changes probes;                 // one of them makes a difference when the setting has an effect
};

struct Search {
  const Pool &pool;
  std::vector<Subject> subjects;
};

// Changes to try.
struct Suggestion {
  Changes changes;
  std::vector<const Subject *> subjects;  // settings that may get an effect
  size_t place;                           // of the read of the last changed setting, among all reads
  size_t number;                          // of the last change among the changes of its setting
};

// The result of a run after changes.
struct Step {
  const BaseRun *base;  // of the service
  Suggestion suggestion;
  std::map<std::string, std::string> files;
  Progress progress;  // for the first subject
};

// The state of the search in one service.
struct Front {
  const BaseRun *base;
  Changes changes;
  Progress progress;
};

// ---- Related entries and facts

// The outermost entry of a map that the path lies in: "network.interface.lan" for all paths below it. The path itself
// when there is none.
std::string entry_of(const Setup &setup, const std::string &path) {
  for (size_t dot = path.find('.'); dot != std::string::npos; dot = path.find('.', dot + 1)) {
    const Setting *setting = find_setting(setup, path.substr(0, dot));
    if (setting != nullptr && setting->is_entry) return setting->path;
  }
  return path;
}

// True when the value is the path or the name of the entry.
bool names_entry(const Setting &setting, const std::string &entry) {
  std::string reference = "/" + entry;
  std::replace(reference.begin(), reference.end(), '.', '/');
  return setting.value == reference || setting.value == entry || setting.value == last_name(entry);
}

// The entry of the path, the entries that it names or that name it, and the entries that these name or that name these.
std::set<std::string> related_entries(const Setup &setup, const std::string &path) {
  std::set<std::string> related = {entry_of(setup, path)};
  for (int hop = 0; hop < 2; hop++) {
    std::set<std::string> found = related;
    for (const Setting &setting : setup.settings) {
      if (!setting.is_leaf || setting.is_fact) continue;
      std::string own = entry_of(setup, setting.path);
      for (const std::string &entry : related)
        if (names_entry(setting, entry)) found.insert(own);
      if (related.count(own) == 0) continue;
      for (const Setting &other : setup.settings)
        if (other.is_entry && names_entry(setting, other.path)) found.insert(other.path);
    }
    related = found;
  }
  return related;
}

// True when the fact names a related entry, or no entry.
bool is_related_fact(const Search &search, const Subject &subject, const std::string &key) {
  bool names_any = false;
  for (const std::string &name : components_of(key)) {
    for (const std::string &entry : subject.related)
      if (last_name(entry) == name) return true;
    names_any |= search.pool.setup.entry_names.count(name) > 0;
  }
  return !names_any;
}

bool is_related(const Search &search, const Subject &subject, const Read &read) {
  if (read.is_fact) return is_related_fact(search, subject, read.path);
  for (const std::string &entry : subject.related)
    if (lies_in(read.path, entry)) return true;
  // Settings of the objects that the path lies in, and elements of their arrays.
  std::string own = read.path;
  if (last_name(own).find_first_not_of("0123456789") == std::string::npos) own.resize(own.rfind('.'));
  size_t dot = own.rfind('.');
  return lies_in(subject.path, dot == std::string::npos ? own : own.substr(0, dot));
}

// ---- Steps

// Adds to the changes of a run one more: of each setting that the run has read and that may influence a subject.
std::vector<Suggestion> suggestions_after(const Search &search, const Changes &done, const Trace &trace) {
  std::vector<Suggestion> suggestions;
  std::set<std::pair<std::string, bool>> seen;
  for (const Change &change : done) seen.insert({change.path, change.is_fact});
  for (size_t i = 0; i < trace.reads.size(); i++) {
    const Read &read = trace.reads[i];
    if (!seen.insert({read.path, read.is_fact}).second) continue;
    Suggestion suggestion{done, {}, i, 0};
    for (const Subject &subject : search.subjects)
      if (read.path != subject.path && is_related(search, subject, read)) suggestion.subjects.push_back(&subject);
    if (suggestion.subjects.empty()) continue;
    for (const Change &change : changes_of(search.pool.setup, read)) {
      suggestions.push_back(suggestion);
      suggestions.back().changes.push_back(change);
      suggestion.number++;
    }
  }
  return suggestions;
}

// How far a run came: how many settings it read below the path and below its entry, and how many related facts.
Progress progress_of(const Search &search, const Subject &subject, const Trace &trace) {
  Progress progress;
  for (const auto &[path, places] : trace.settings) {
    std::get<0>(progress) += lies_in(path, subject.path) ? 1U : 0U;
    std::get<1>(progress) += lies_in(path, subject.entry) ? 1U : 0U;
  }
  for (const auto &[key, places] : trace.facts) {
    std::get<0>(progress) += lies_in(key, subject.path) ? 1U : 0U;
    std::get<2>(progress) += is_related_fact(search, subject, key) ? 1U : 0U;
  }
  return progress;
}

// Tries suggestions after a run with the trace `before`. A setting can only get an effect when the trace differs and
// the run reads the setting. Leaves out steps without a chance of that.
std::vector<Step> take_steps(const Search &search, const BaseRun &base, const Trace &before,
                             const std::vector<Suggestion> &suggestions) {
  constexpr size_t most = 128;  // traces at a time
  std::vector<Step> steps;
  for (size_t first = 0; first < suggestions.size(); first += most) {
    size_t end = std::min(first + most, suggestions.size());
    std::vector<Trial> trials;
    for (size_t i = first; i < end; i++) trials.push_back(trial_of(base, suggestions[i].changes, true));
    std::vector<Result> results = run_all(search.pool, trials);
    for (size_t i = first; i < end; i++) {
      Result &result = results[i - first];
      Trace trace = parse_trace(result.trace);
      if (result.is_refused || trace == before) continue;
      Step step{&base, suggestions[i], std::move(result.files), progress_of(search, search.subjects[0], trace)};
      auto is_unread = [&trace](const Subject *subject) { return !reads_any(trace, subject->path, subject->is_fact); };
      std::vector<const Subject *> &subjects = step.suggestion.subjects;
      subjects.erase(std::remove_if(subjects.begin(), subjects.end(), is_unread), subjects.end());
      if (!subjects.empty() || search.subjects.size() == 1) steps.push_back(std::move(step));
    }
  }
  return steps;
}

// ---- Proofs

// The trials that show whether one of the subjects has an effect after a step. Each probes all subjects at once, the
// last subject first, so that removing an element does not change the index of another subject.
std::vector<Trial> trials_of(const Step &step, const std::vector<const Subject *> &subjects) {
  std::vector<Trial> trials;
  for (size_t number = 0;; number++) {
    Changes changes = step.suggestion.changes;
    for (auto subject = subjects.rbegin(); subject != subjects.rend(); ++subject)
      if (number < (*subject)->probes.size()) changes.push_back((*subject)->probes[number]);
    if (changes.size() == step.suggestion.changes.size()) return trials;
    trials.push_back(trial_of(*step.base, changes, false));
  }
}

// Returns for each subject the indexes of the steps after which its probes make a difference.
std::map<const Subject *, std::set<size_t>> proofs(const Search &search, const std::vector<Step> &steps) {
  std::vector<std::pair<size_t, const Subject *>> doubts;  // a step, and a subject that may have an effect after it
  std::vector<Group> groups;
  for (size_t i = 0; i < steps.size(); i++) {
    Group group;
    for (const Subject *subject : steps[i].suggestion.subjects) {
      group.push_back(doubts.size());
      doubts.emplace_back(i, subject);
    }
    if (!group.empty()) groups.push_back(group);
  }
  if (doubts.empty()) return {};
  auto differ = [&](const std::vector<Group> &tried) {
    std::vector<Trial> trials;
    std::vector<size_t> group_of;
    for (size_t i = 0; i < tried.size(); i++) {
      std::vector<const Subject *> subjects;
      for (size_t doubt : tried[i]) subjects.push_back(doubts[doubt].second);
      for (Trial &trial : trials_of(steps[doubts[tried[i][0]].first], subjects)) {
        trials.push_back(std::move(trial));
        group_of.push_back(i);
      }
    }
    const std::vector<Result> results = run_all(search.pool, trials);
    std::vector<bool> differs(tried.size(), false);
    for (size_t i = 0; i < trials.size(); i++) {
      const Group &group = tried[group_of[i]];
      bool makes_difference = results[i].files != steps[doubts[group[0]].first].files;
      if (results[i].is_refused ? group.size() > 1 : makes_difference) differs[group_of[i]] = true;
    }
    return differs;
  };
  std::map<const Subject *, std::set<size_t>> proved;
  for (size_t i : narrow(groups, differ)) {
    const auto &[step, subject] = doubts[i];
    proved[subject].insert(step);
  }
  return proved;
}

// Returns the suggestions that get a step of their own, for a search with one subject: those of the entries that the
// subject lies in, and those that give it an effect or bring the run further than `progress`.
std::vector<Suggestion> promising(const Search &search, const BaseRun &base, const Trace &before,
                                  const Progress &progress, const std::vector<Suggestion> &suggestions) {
  if (search.subjects.size() > 1) return suggestions;
  std::vector<Candidate> candidates;
  for (const Suggestion &suggestion : suggestions) {
    const std::string &path = suggestion.changes.back().path;
    bool is_own = lies_in(search.subjects[0].path, owner_of(search.pool.setup, path));
    candidates.push_back({pattern_of(search.pool.setup, path), suggestion.number, is_own ? 0 : SIZE_MAX});
  }
  auto differ = [&](const std::vector<Group> &groups) {
    std::vector<Suggestion> joint;
    for (const Group &group : groups) {
      joint.push_back({suggestions[group[0]].changes, suggestions[group[0]].subjects, joint.size(), 0});
      for (size_t i = 1; i < group.size(); i++) joint.back().changes.push_back(suggestions[group[i]].changes.back());
    }
    const std::vector<Step> steps = take_steps(search, base, before, joint);
    std::vector<bool> differs(groups.size(), false);
    for (const Step &step : steps) differs[step.suggestion.place] = step.progress > progress;
    for (const auto &[subject, proved] : proofs(search, steps))
      for (size_t i : proved) differs[steps[i].suggestion.place] = true;
    return differs;
  };
  std::vector<Suggestion> chosen;
  for (size_t i : worth_trying(candidates, differ)) chosen.push_back(suggestions[i]);
  return chosen;
}

// Leaves out changes of a way that are not needed: some only led the search to the last one.
Changes needed_changes(const Search &search, const Subject &subject, const Step &way) {
  Changes changes = way.suggestion.changes;
  for (size_t i = changes.size() - 1; i-- > 0;) {
    Changes fewer = changes;
    fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
    std::vector<Step> steps = take_steps(search, *way.base, {}, {{fewer, {&subject}, 0, 0}});
    if (!proofs(search, steps).empty()) changes = fewer;
  }
  return changes;
}

// ---- Answers

// Sorts the ways, the likeliest first: a missing fact, beginning with the one that the run read last; then a boolean, a
// known word, anything else. Keeps one way for each path.
void arrange(std::vector<const Step *> &ways) {
  auto rank = [](const Step *way) {
    const Change &last = way->suggestion.changes.back();
    size_t place = way->suggestion.place;
    if (last.is_fact) return std::make_pair(0, SIZE_MAX - place);
    if (last.value == "true" || last.value == "false") return std::make_pair(1, place);
    return std::make_pair(schema_at(last.path).words != nullptr ? 2 : 3, place);
  };
  std::stable_sort(ways.begin(), ways.end(),
                   [&](const Step *one, const Step *other) { return rank(one) < rank(other); });
  std::set<std::string> paths;
  auto is_repeated = [&](const Step *way) { return !paths.insert(way->suggestion.changes.back().path).second; };
  ways.erase(std::remove_if(ways.begin(), ways.end(), is_repeated), ways.end());
}

void add_ways(const Search &search, const std::vector<Step> &steps, std::vector<Ways> &found) {
  for (const auto &[subject, indexes] : proofs(search, steps)) {
    std::vector<const Step *> ways;
    for (size_t i : indexes) ways.push_back(&steps[i]);
    arrange(ways);
    std::vector<Changes> &known = found[static_cast<size_t>(subject - search.subjects.data())].ways;
    for (const Step *way : ways) {
      Changes changes = needed_changes(search, *subject, *way);
      if (std::find(known.begin(), known.end(), changes) == known.end()) known.push_back(changes);
    }
  }
}

// The messages of the runs that name the entry of the subject.
std::vector<std::string> messages_about(const Subject &subject, const std::vector<BaseRun> &runs) {
  std::vector<std::string> messages;
  const std::string name = "'" + last_name(subject.entry) + "'";
  for (const BaseRun &run : runs) {
    for (const std::string &line : lines_of(run.result.messages)) {
      bool is_about = line.find(name) != std::string::npos || line.find(subject.entry) != std::string::npos;
      if (is_about && std::find(messages.begin(), messages.end(), line) == messages.end()) messages.push_back(line);
    }
  }
  return messages;
}

Search make_search(const Pool &pool, const std::vector<const Setting *> &settings) {
  Search search{pool, {}};
  for (const Setting *setting : settings)
    search.subjects.push_back({setting->path, setting->is_fact, entry_of(pool.setup, setting->path),
                               related_entries(pool.setup, setting->path), alternatives(pool.setup, *setting)});
  return search;
}

// Tries one more change after those of a front.
std::vector<Step> steps_after(const Search &search, const Front &front) {
  const BaseRun &base = *front.base;
  Trace trace = base.trace;
  if (!front.changes.empty()) trace = parse_trace(run_all(search.pool, {trial_of(base, front.changes, true)})[0].trace);
  const std::vector<Suggestion> suggestions = suggestions_after(search, front.changes, trace);
  return take_steps(search, base, trace, promising(search, base, trace, front.progress, suggestions));
}

}  // namespace

std::vector<Ways> find_ways(const Pool &pool, const std::vector<BaseRun> &runs,
                            const std::vector<const Setting *> &settings) {
  std::vector<Ways> found;
  if (settings.empty()) return found;
  const Search search = make_search(pool, settings);
  for (const Subject &subject : search.subjects) found.push_back({{}, messages_about(subject, runs)});
  std::vector<Front> fronts;
  for (const BaseRun &run : runs) fronts.push_back({&run, {}, progress_of(search, search.subjects[0], run.trace)});
  const bool is_alone = settings.size() == 1;
  for (int depth = 0; depth < (is_alone ? 3 : 1) && found[0].ways.empty(); depth++) {
    std::stable_sort(fronts.begin(), fronts.end(),
                     [](const Front &one, const Front &other) { return one.progress > other.progress; });
    std::vector<Front> next;
    for (const Front &front : fronts) {
      // A service that reads nothing of the setting does not matter when another service has a way.
      if (is_alone && !found[0].ways.empty() && std::get<0>(front.progress) == 0) continue;
      std::vector<Step> steps = steps_after(search, front);
      add_ways(search, steps, found);
      auto furthest = std::max_element(
          steps.begin(), steps.end(), [](const Step &one, const Step &other) { return one.progress < other.progress; });
      if (furthest != steps.end() && furthest->progress > front.progress)
        next.push_back({front.base, furthest->suggestion.changes, furthest->progress});
    }
    fronts = std::move(next);
  }
  return found;
}
