// Trying many things at a time: when a group makes no difference, none of its members is tried alone.
#ifndef TESSERA_EXPLAIN_GROUPS_H
#define TESSERA_EXPLAIN_GROUPS_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

// Things by their indexes.
using Group = std::vector<size_t>;

// Returns for each group whether its members make a difference together.
using Differ = std::function<std::vector<bool>(const std::vector<Group> &)>;

// Finds the members that make a difference alone: halves each group that makes a difference until one member is left.
// Misses members whose effects cancel each other.
std::set<size_t> narrow(std::vector<Group> groups, const Differ &differ);

// A thing that can be tried.
struct Candidate {
  std::string pattern;  // equal for alike candidates
  size_t number;        // of the change among those of its setting
  size_t distance;      // from the subject of the question; SIZE_MAX when it is unknown
};

// Returns the candidates that are tried alone. Of many alike candidates these are the nearest ones, and those of the
// others that make a difference as `narrow` finds them.
std::set<size_t> worth_trying(const std::vector<Candidate> &candidates, const Differ &differ);

#endif
