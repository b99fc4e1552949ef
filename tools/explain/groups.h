// What is tried many at a time: a group that makes no difference holds nothing that does.
#ifndef TESSERA_EXPLAIN_GROUPS_H
#define TESSERA_EXPLAIN_GROUPS_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

// Things, by their indexes.
using Group = std::vector<size_t>;

// Tells for each of some groups whether its things make a difference together.
using Differ = std::function<std::vector<bool>(const std::vector<Group> &)>;

// The things that make a difference alone: a group that makes one is halved until one thing is left. Things whose
// effects undo each other may be missing.
std::set<size_t> narrow(std::vector<Group> groups, const Differ &differ);

// What may be worth a try.
struct Candidate {
  std::string pattern;  // that alike candidates have in common
  size_t number;        // of the change among those of its setting
  size_t distance;      // from what is asked about; SIZE_MAX where it is not known
};

// The candidates that are worth a try of their own. Of many that are alike these are the nearest ones, and of the
// others those that make a difference alone.
std::set<size_t> worth_trying(const std::vector<Candidate> &candidates, const Differ &differ);

#endif
