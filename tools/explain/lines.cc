#include "explain/lines.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <unordered_map>

namespace {

// The beginning of a line up to its value: "option NAME" in a UCI file, NAME of "NAME=VALUE", else the first word.
std::string_view key_of(std::string_view line) {
  size_t start = line.find_first_not_of(" \t");
  if (start == std::string_view::npos) return line;
  size_t end = line.find_first_of(" \t=", start);
  std::string_view word = line.substr(start, end - start);
  if (word == "option" || word == "list") end = line.find_first_of(" \t", end + 1);
  return line.substr(0, end);
}

// Each line with the section that it is in.
std::vector<std::string> with_sections(const std::vector<std::string> &lines) {
  std::vector<std::string> result;
  std::string section;
  for (const std::string &line : lines) {
    bool is_indented = !line.empty() && (line[0] == ' ' || line[0] == '\t');
    if (!is_indented) section = line;
    result.push_back(line);
    if (is_indented) result.back().insert(0, section + "\n");
  }
  return result;
}

constexpr size_t none = static_cast<size_t>(-1);

// A range of lines.
struct Range {
  const std::vector<std::string> &lines;
  size_t start;
  size_t end;
};

// The indexes of each line in the range.
std::unordered_map<std::string_view, std::vector<size_t>> places_of(const Range &range) {
  std::unordered_map<std::string_view, std::vector<size_t>> places;
  for (size_t i = range.start; i < range.end; i++) places[range.lines[i]].push_back(i);
  return places;
}

// Pairs equal lines in their order: first those at the start and end of the ranges, then those that each range has
// once, then the same between these. Stores for each line of `before` the index of its partner.
void pair_equal(Range before, Range after, std::vector<size_t> &partner) {
  auto are_equal = [&](size_t i, size_t j) { return before.lines[i] == after.lines[j]; };
  while (before.start < before.end && after.start < after.end && are_equal(before.start, after.start))
    partner[before.start++] = after.start++;
  while (before.start < before.end && after.start < after.end && are_equal(before.end - 1, after.end - 1))
    partner[--before.end] = --after.end;
  if (before.start == before.end || after.start == after.end) return;
  const auto old_places = places_of(before);
  const auto new_places = places_of(after);
  bool has_pairs = false;
  for (size_t i = before.start; i < before.end; i++) {
    auto found = new_places.find(before.lines[i]);
    if (found == new_places.end() || found->second.size() > 1 || old_places.at(before.lines[i]).size() > 1) continue;
    const size_t j = found->second[0];
    if (j < after.start) continue;
    has_pairs = true;
    partner[i] = j;
    pair_equal({before.lines, before.start, i}, {after.lines, after.start, j}, partner);
    before.start = i + 1;
    after.start = j + 1;
  }
  if (has_pairs) pair_equal(before, after, partner);
}

// How similar two lines are: the number of equal bytes at their starts and ends.
size_t likeness(std::string_view one, std::string_view other) {
  size_t shorter = std::min(one.size(), other.size());
  size_t start = 0;
  while (start < shorter && one[start] == other[start]) start++;
  size_t end = 0;
  while (end < shorter - start && one[one.size() - 1 - end] == other[other.size() - 1 - end]) end++;
  return start + end;
}

// Judges the lines of one changed range. A line that is still there, in a renamed section, is kept. Each other new line
// replaces the most similar old line with the same key.
void judge_place(const Range &before, const Range &after, std::vector<Fate> &fates) {
  std::map<std::string_view, std::multiset<std::string_view>> new_lines;  // by key
  for (size_t i = after.start; i < after.end; i++) new_lines[key_of(after.lines[i])].insert(after.lines[i]);
  std::map<std::string_view, std::vector<size_t>> missing;
  for (size_t i = before.start; i < before.end; i++) {
    std::multiset<std::string_view> &alike = new_lines[key_of(before.lines[i])];
    auto same = alike.find(before.lines[i]);
    if (same != alike.end()) {
      alike.erase(same);
    } else {
      missing[key_of(before.lines[i])].push_back(i);
    }
  }
  for (auto &[key, places] : missing) {
    const std::multiset<std::string_view> &alike = new_lines[key];
    bool all_changed = alike.size() >= places.size();
    for (size_t place : places) fates[place] = all_changed ? Fate::changed : Fate::gone;
    if (all_changed) continue;
    for (std::string_view line : alike) {
      auto closest = std::max_element(places.begin(), places.end(), [&](size_t one, size_t other) {
        return likeness(before.lines[one], line) < likeness(before.lines[other], line);
      });
      fates[*closest] = Fate::changed;
      places.erase(closest);
    }
  }
}

}  // namespace

bool is_still_there(const std::vector<std::string> &before, size_t index, const std::vector<std::string> &after) {
  const std::vector<std::string> old_lines = with_sections(before);
  const std::vector<std::string> new_lines = with_sections(after);
  return std::count(new_lines.begin(), new_lines.end(), old_lines[index]) >=
         std::count(old_lines.begin(), old_lines.end(), old_lines[index]);
}

std::vector<Fate> compare_lines(const std::vector<std::string> &before, const std::vector<std::string> &after) {
  std::vector<size_t> partner(before.size(), none);
  const std::vector<std::string> old_lines = with_sections(before);
  const std::vector<std::string> new_lines = with_sections(after);
  pair_equal({old_lines, 0, before.size()}, {new_lines, 0, after.size()}, partner);
  std::vector<Fate> fates(before.size(), Fate::kept);
  // The lines between two pairs are one changed range.
  for (size_t i = 0, next = 0; i < before.size();) {
    if (partner[i] != none) {
      next = partner[i++] + 1;
      continue;
    }
    size_t end = i;
    while (end < before.size() && partner[end] == none) end++;
    judge_place({before, i, end}, {after, next, end < before.size() ? partner[end] : after.size()}, fates);
    i = end;
  }
  // A line that is elsewhere in the file has only moved.
  std::multiset<std::string> unpaired(new_lines.begin(), new_lines.end());
  for (size_t i = 0; i < before.size(); i++)
    if (partner[i] != none) unpaired.erase(unpaired.find(old_lines[i]));
  for (size_t i = 0; i < before.size(); i++) {
    auto moved = fates[i] != Fate::kept ? unpaired.find(old_lines[i]) : unpaired.end();
    if (moved == unpaired.end()) continue;
    unpaired.erase(moved);
    fates[i] = Fate::kept;
  }
  return fates;
}
