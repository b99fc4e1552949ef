// Compares the files of a run with those of an earlier run, and masks secrets, so that the result can be printed.
#ifndef TESSERA_PREVIEW_PLAN_H
#define TESSERA_PREVIEW_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "preview/secrets.h"
#include "sandbox/tree.h"

// The path in a Tree under which the runtime store is kept, as a flat JSON object.
inline constexpr const char *runtime_dump = "runtime.json";

enum class Fate { written, created, changed, removed, unchanged };
inline constexpr const char *fate_names[] = {"written", "created", "changed", "removed", "unchanged"};

// A file, a link, a directory, or one of the two lists of a Tree (removed files, runtime store). Strings are masked.
struct PlannedFile {
  std::string path;          // in the Tree
  Fate fate;                 // written: there is no earlier tree
  const File *before;        // null when there was no such file
  const File *after;         // null when there is no such file any more
  std::string content;       // of a written file; for a link its target
  std::string difference;    // unified diff; empty when the masked content does not differ
  size_t lines_added;        // in the difference; for a written file the number of its lines
  size_t lines_removed;      // in the difference
  bool only_secrets_differ;  // the content differs, but the masked content does not
};

// The files in the order of their paths. Without `old`: the written files, and directories without files. With `old`,
// the tree stored as `old_name`: every file of both trees, and directories whose mode differs. The result refers to the
// files of both trees.
std::vector<PlannedFile> make_plan(const Secrets &secrets, const Tree &tree, const Tree *old, std::string old_name);

// Whether it is a file of the router: not a directory, and not one of the two lists of a Tree.
bool is_file(const PlannedFile &file);

// The name of a file in a message.
std::string shown_name(const std::string &path);

// "2 files changed, 1 unchanged, runtime store changed".
std::string count_files(const std::vector<PlannedFile> &plan);

// True when something differs from the earlier tree.
bool differs(const std::vector<PlannedFile> &plan);

// A key of the runtime store that changed, with its masked values; none when it had or has no value.
struct RuntimeChange {
  std::string key;
  std::optional<std::string> before;
  std::optional<std::string> after;
};
// The differences between two states of the runtime store, each a flat JSON object.
std::vector<RuntimeChange> runtime_changes(const Secrets &secrets, const std::string &before, const std::string &after);

#endif
