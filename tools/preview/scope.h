// Limits an earlier tree to the files of the services that are previewed.
#ifndef TESSERA_PREVIEW_SCOPE_H
#define TESSERA_PREVIEW_SCOPE_H

#include <string>
#include <vector>

#include "sandbox/tree.h"

// Removes from `old` what only other services than `services` write: files, names in the list of removed files, and
// keys of the runtime store. Keeps everything that `produced`, the tree of the new run, holds too.
void keep_services(const std::vector<std::string> &services, const Tree &produced, Tree &old);

#endif
