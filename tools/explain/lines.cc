#include "explain/lines.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>

namespace {

// The start of a line up to its value: "option NAME" of a UCI file, NAME of "NAME=VALUE", else the first word.
std::string_view key_of(std::string_view line) {
  size_t start = line.find_first_not_of(" \t");
  if (start == std::string_view::npos) return line;
  size_t end = line.find_first_of(" \t=", start);
  std::string_view word = line.substr(start, end - start);
  if (word == "option" || word == "list") end = line.find_first_of(" \t", end + 1);
  return line.substr(0, end);
}

// Lines with the section that they stand in.
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

// The pairs of equal lines of a longest common subsequence. Between lines that the two share anyhow there are seldom
// more than a few hundred; where there are, only lines that stand once in both are paired.
void pair_equal(const std::vector<std::string> &one, size_t one_start, size_t one_end,
                const std::vector<std::string> &two, size_t two_start, size_t two_end, std::vector<size_t> &partner) {
  while (one_start < one_end && two_start < two_end && one[one_start] == two[two_start])
    partner[one_start++] = two_start++;
  while (one_start < one_end && two_start < two_end && one[one_end - 1] == two[two_end - 1])
    partner[--one_end] = --two_end;
  size_t rows = one_end - one_start;
  size_t columns = two_end - two_start;
  if (rows == 0 || columns == 0) return;
  constexpr size_t most = 16'000'000;
  if (rows * columns > most) {
    std::map<std::string_view, size_t> places;
    for (size_t i = two_start; i < two_end; i++) places[two[i]] = i;
    size_t next = two_start;
    for (size_t i = one_start; i < one_end; i++) {
      auto found = places.find(one[i]);
      if (found == places.end() || found->second < next) continue;
      partner[i] = found->second;
      next = found->second + 1;
    }
    return;
  }
  std::vector<unsigned> longest((rows + 1) * (columns + 1), 0);
  auto at = [&](size_t i, size_t j) -> unsigned & { return longest[i * (columns + 1) + j]; };
  for (size_t i = rows; i-- > 0;) {
    for (size_t j = columns; j-- > 0;) {
      at(i, j) = one[one_start + i] == two[two_start + j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
    }
  }
  for (size_t i = 0, j = 0; i < rows && j < columns;) {
    if (one[one_start + i] == two[two_start + j]) {
      partner[one_start + i++] = two_start + j++;
    } else if (at(i + 1, j) >= at(i, j + 1)) {
      i++;
    } else {
      j++;
    }
  }
}

// How alike two lines are: what they share at their starts and ends.
size_t likeness(const std::string &one, const std::string &other) {
  size_t shorter = std::min(one.size(), other.size());
  size_t start = 0;
  while (start < shorter && one[start] == other[start]) start++;
  size_t end = 0;
  while (end < shorter - start && one[one.size() - 1 - end] == other[other.size() - 1 - end]) end++;
  return start + end;
}

// Judges the lines of one place of change. Each new line takes the place of the one old line with its key that it is
// most like; an old line that is still there, in a section that was renamed, has not changed.
void judge_place(const std::vector<std::string> &before, size_t start, size_t end,
                 const std::vector<std::string> &after, size_t after_start, size_t after_end,
                 std::vector<Fate> &fates) {
  std::fill(fates.begin() + static_cast<std::ptrdiff_t>(start), fates.begin() + static_cast<std::ptrdiff_t>(end),
            Fate::gone);
  for (size_t j = after_start; j < after_end; j++) {
    size_t closest = end;
    for (size_t i = start; i < end; i++) {
      bool is_closer = fates[i] == Fate::gone && key_of(before[i]) == key_of(after[j]) &&
                       (closest == end || likeness(before[i], after[j]) > likeness(before[closest], after[j]));
      if (is_closer) closest = i;
    }
    if (closest < end) fates[closest] = before[closest] == after[j] ? Fate::kept : Fate::changed;
  }
}

}  // namespace

std::vector<Fate> compare_lines(const std::vector<std::string> &before, const std::vector<std::string> &after) {
  constexpr size_t none = static_cast<size_t>(-1);
  std::vector<size_t> partner(before.size(), none);
  const std::vector<std::string> old_lines = with_sections(before);
  const std::vector<std::string> new_lines = with_sections(after);
  pair_equal(old_lines, 0, before.size(), new_lines, 0, after.size(), partner);
  std::vector<Fate> fates(before.size(), Fate::kept);
  // What lies between two pairs on either side is one place of change.
  for (size_t i = 0, next = 0; i < before.size();) {
    if (partner[i] != none) {
      next = partner[i++] + 1;
      continue;
    }
    size_t end = i;
    while (end < before.size() && partner[end] == none) end++;
    judge_place(before, i, end, after, next, end < before.size() ? partner[end] : after.size(), fates);
    i = end;
  }
  // What stands at another place of the file has only moved.
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
