#include "explain/groups.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

std::set<size_t> narrow(std::vector<Group> groups, const Differ &differ) {
  std::set<size_t> found;
  while (!groups.empty()) {
    const std::vector<bool> differs = differ(groups);
    std::vector<Group> halves;
    for (size_t i = 0; i < groups.size(); i++) {
      auto middle = groups[i].begin() + static_cast<std::ptrdiff_t>(groups[i].size() / 2);
      if (!differs[i]) continue;
      if (groups[i].size() == 1) {
        found.insert(groups[i][0]);
      } else {
        halves.emplace_back(groups[i].begin(), middle);
        halves.emplace_back(middle, groups[i].end());
      }
    }
    groups = std::move(halves);
  }
  return found;
}

std::set<size_t> worth_trying(const std::vector<Candidate> &candidates, const Differ &differ) {
  constexpr size_t few = 16;
  std::map<std::pair<std::string, size_t>, Group> alike;
  for (size_t i = 0; i < candidates.size(); i++) alike[{candidates[i].pattern, candidates[i].number}].push_back(i);
  std::set<size_t> chosen;
  std::vector<Group> groups;
  for (const auto &[kind, group] : alike) {
    size_t nearest = SIZE_MAX - 1;
    for (size_t i : group) nearest = std::min(nearest, candidates[i].distance);
    Group others;
    for (size_t i : group) {
      if (group.size() <= few || candidates[i].distance <= nearest) {
        chosen.insert(i);
      } else {
        others.push_back(i);
      }
    }
    if (!others.empty()) groups.push_back(others);
  }
  chosen.merge(narrow(groups, differ));
  return chosen;
}
