// Which settings a line comes from, and which lines come from a setting.
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <tuple>

#include "explain/answers.h"

namespace {

bool holds_word(const std::string &line, const std::string &word) {
  auto is_letter = [&line](size_t at) {
    return at < line.size() && isalnum(static_cast<unsigned char>(line[at])) != 0;
  };
  for (size_t at = line.find(word); at != std::string::npos; at = line.find(word, at + 1))
    if (!is_letter(at - 1) && !is_letter(at + word.size())) return true;
  return false;
}

// How much of a value a line shows: the whole value, or its longest part of at least three characters.
struct Shown {
  bool is_whole;
  size_t length;
};

Shown shown_part(const std::string &line, const std::string &value) {
  constexpr size_t telling = 3;
  if (value.empty() || value == "true" || value == "false") return {false, 0};
  if (value.size() < telling) return {holds_word(line, value), value.size()};
  if (line.size() >= telling && value.find(line) != std::string::npos) return {true, line.size()};
  size_t longest = 0;
  for (size_t i = 0; i < value.size(); i++) {
    size_t length = longest + 1;
    while (i + length <= value.size() && line.find(value.substr(i, length)) != std::string::npos) longest = length++;
  }
  return {longest == value.size(), longest >= telling ? longest : 0};
}

// The influence of a setting on a line.
struct Influence {
  const Setting *setting;
  bool changes;  // true when some value changes the line; false when the line disappears with every value
  Shown shown;
  size_t distance;
};

bool is_nearer(const Influence &one, const Influence &other) {
  auto rank = [](const Influence &of) {
    return std::make_tuple(!of.setting->is_leaf, !of.shown.is_whole, SIZE_MAX - of.shown.length, !of.changes,
                           of.distance);
  };
  return rank(one) < rank(other);
}

// A setting is an origin when the line shows its value or changes with it. Any other setting without which the line
// disappears is a condition.
LineAnswer answer_of(const std::string &text, size_t number, std::vector<Influence> influences) {
  LineAnswer answer{number, text, {}, {}, "", ""};
  std::stable_sort(influences.begin(), influences.end(), is_nearer);
  for (const Influence &influence : influences) {
    bool is_origin = influence.changes || influence.shown.is_whole;
    (is_origin ? answer.from : answer.conditions).push_back(influence.setting);
  }
  return answer;
}

std::vector<Influence> influences_on(const BaseRun &base, const std::vector<Effect> &effects, const std::string &file,
                                     size_t index, size_t bytes) {
  std::vector<Influence> influences;
  const std::string &text = base.lines.at(file)[index];
  for (const Effect &effect : effects) {
    auto fates = effect.fates.find(file);
    if (fates == effect.fates.end() || fates->second[index] == Fate::kept) continue;
    bool changes = fates->second[index] == Fate::changed;
    const Setting *setting = effect.attempt.setting;
    auto known = std::find_if(influences.begin(), influences.end(),
                              [setting](const Influence &other) { return other.setting == setting; });
    if (known != influences.end()) {
      known->changes |= changes;
      continue;
    }
    influences.push_back(
        {setting, changes, shown_part(text, setting->value), distance_to(base.trace, *setting, file, bytes)});
  }
  return influences;
}

// What is known about a line that no setting changes alone.
std::string remark_on(const Pool &pool, const BaseRun &base, const std::string &file, size_t index) {
  Attempt empty{nullptr, {{"", false, Change::changed, "{}"}}};
  std::vector<Effect> effects = try_changes(pool, base, {empty});
  bool stays = effects.empty() || effects[0].fates.count(file) == 0 || effects[0].fates[file][index] == Fate::kept;
  return stays ? "the same on every router" : "no single setting changes it";
}

// Returns for each line the file of the router that changes it; "" when none does. Tries the file of the host name and
// those that the user laid over the root directory. When a whole output file disappears, a line of it comes from the
// router's file only when that file has the line too.
std::vector<std::string> file_origins(const Pool &pool, const BaseRun &base, const std::string &file) {
  constexpr size_t most = 64;
  std::set<std::string> names = {"etc/hostname"};
  for (const auto &[name, content] : pool.router.files)
    if (S_ISREG(content.mode) && names.size() < most) names.insert(name);
  std::vector<Attempt> attempts;
  for (const std::string &name : names) attempts.push_back({nullptr, {}, 0, name});
  const std::vector<std::string> &lines = base.lines.at(file);
  std::vector<std::string> origins(lines.size());
  for (const Effect &effect : try_changes(pool, base, attempts)) {
    auto fates = effect.fates.find(file);
    if (fates == effect.fates.end()) continue;
    const std::string &content = content_of(pool.router.files, effect.attempt.other_file);
    bool is_there = !effect.files.at(file).empty();
    for (size_t i = 0; i < lines.size(); i++)
      if (fates->second[i] != Fate::kept && !lines[i].empty() &&
          (is_there || content.find(lines[i]) != std::string::npos))
        origins[i] = "/" + effect.attempt.other_file;
  }
  return origins;
}

}  // namespace

std::vector<LineAnswer> explain_lines(const Pool &pool, const BaseRun &run, const std::string &file, size_t number) {
  BaseRun base = run;
  if (number > 0 && !depends_on_ipsec(pool, base, file, number - 1)) base.ipsec_trace = {};
  const std::vector<std::string> &lines = base.lines.at(file);
  std::vector<size_t> ends;  // in bytes
  for (const std::string &line : lines) ends.push_back((ends.empty() ? 0 : ends.back()) + line.size() + 1);
  size_t end = number > 0 ? ends[number - 1] : ends.back();
  std::vector<const Setting *> candidates;
  for (const Setting &setting : pool.setup.settings) {
    bool is_candidate = (setting.is_entry && reads_any(base.trace, setting.path, false)) ||
                        distance_to(base.trace, setting, file, end) != SIZE_MAX ||
                        is_read(base.ipsec_trace, setting.path, setting.is_fact);
    if (is_candidate && (setting.is_leaf || setting.is_entry)) candidates.push_back(&setting);
  }
  const AskedLine asked{file, number - 1, end};
  std::vector<Effect> effects = try_settings(pool, base, candidates, number > 0 ? &asked : nullptr);
  const std::vector<std::string> origins = file_origins(pool, base, file);
  std::vector<LineAnswer> answers;
  for (size_t i = number > 0 ? number - 1 : 0; i < (number > 0 ? number : lines.size()); i++) {
    LineAnswer answer = answer_of(base.shown.at(file)[i], i + 1, influences_on(base, effects, file, i, ends[i]));
    answer.router_file = origins[i];
    bool is_explained = !answer.from.empty() || !answer.conditions.empty() || !origins[i].empty();
    if (!is_explained && !lines[i].empty()) answer.remark = remark_on(pool, base, file, i);
    answers.push_back(std::move(answer));
  }
  return answers;
}

std::vector<DrivenLine> driven_lines(const Pool &pool, const std::vector<BaseRun> &runs, const std::string &path) {
  std::vector<const Setting *> settings;
  for (const Setting &setting : pool.setup.settings)
    if (lies_in(setting.path, path) && (setting.is_leaf || setting.path == path)) settings.push_back(&setting);
  std::map<std::pair<std::string, size_t>, DrivenLine> driven;  // runs of `network` have the files of `ipsec` too
  for (const BaseRun &base : runs) {
    std::vector<const Setting *> tried;
    for (const Setting *setting : settings)
      if (!setting->is_leaf || may_matter(base, *setting)) tried.push_back(setting);
    for (const Effect &effect : try_settings(pool, base, tried))
      for (const auto &[file, fates] : effect.fates)
        for (size_t i = 0; i < fates.size(); i++)
          if (fates[i] != Fate::kept && !base.lines.at(file)[i].empty())
            driven[{file, i}] = {file, i + 1, base.shown.at(file)[i]};
  }
  std::vector<DrivenLine> lines;
  for (auto &[place, line] : driven) lines.push_back(std::move(line));
  return lines;
}

std::vector<NewLines> lines_of_changes(const Pool &pool, const std::vector<BaseRun> &runs,
                                       const std::vector<Change> &changes) {
  std::vector<NewLines> result;
  for (const Change &change : changes) {
    NewLines row{change, {}};
    for (const BaseRun &base : runs) {
      for (const Effect &effect : try_changes(pool, base, {{nullptr, {change}}})) {
        for (const auto &[file, lines] : effect.files) {
          auto old = base.lines.find(file);
          std::vector<Fate> fates =
              compare_lines(lines, old != base.lines.end() ? old->second : std::vector<std::string>());
          std::vector<std::string> shown = masked_lines(pool.secrets, file, lines);
          for (size_t i = 0; i < lines.size(); i++)
            if (fates[i] != Fate::kept && !lines[i].empty()) row.lines.push_back({file, i + 1, shown[i]});
        }
      }
    }
    if (!row.lines.empty()) result.push_back(std::move(row));
  }
  return result;
}
