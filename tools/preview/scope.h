// Which files of an earlier tree the named services answer for.
#ifndef TESSERA_PREVIEW_SCOPE_H
#define TESSERA_PREVIEW_SCOPE_H

#include <string>
#include <vector>

#include "sandbox/tree.h"

// Leaves out of `old` the files that only other services than `services` write, their names in the list of removed
// files, and their keys of the runtime store: a run of these services says nothing about them. What `produced`, the
// tree of that run, holds too stays.
void keep_services(const std::vector<std::string> &services, const Tree &produced, Tree &old);

#endif
