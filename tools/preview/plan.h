// What a run makes of each file, ready to be printed: secrets are masked.
#ifndef TESSERA_PREVIEW_PLAN_H
#define TESSERA_PREVIEW_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "preview/secrets.h"
#include "sandbox/tree.h"

// The name, in a Tree, of the runtime store as a flat JSON object.
inline constexpr const char *runtime_dump = "runtime.json";

enum class Fate { written, created, changed, removed, unchanged };
inline constexpr const char *fate_names[] = {"written", "created", "changed", "removed", "unchanged"};

// One file, link, directory, or one of the two lists of a Tree.
struct PlannedFile {
  std::string path;    // in the Tree
  Fate fate;           // written: there is no earlier tree to compare with
  const File *before;  // null when there was none, as `after` when there is none
  const File *after;
  std::string content;     // of a written file
  std::string difference;  // in the unified format, when the content differs; else empty
  size_t lines_added;      // as they are printed, masked; of a written file: its lines
  size_t lines_removed;
  bool only_secrets_differ;  // in ways that the masked content does not show
};

// The files in the order of their paths. With `old`, the tree stored as `old_name`, every file of both; directories
// only where their mode differs. Without it, the written files and the directories that hold none.
std::vector<PlannedFile> make_plan(const Secrets &secrets, const Tree &tree, const Tree *old, std::string old_name);

// True for a file of the router, as against the two lists of a Tree.
bool is_file(const PlannedFile &file);

// The name of a file in a message.
std::string shown_name(const std::string &path);

// "2 files changed, 1 unchanged, runtime store changed".
std::string count_files(const std::vector<PlannedFile> &plan);

// True when something differs from the earlier tree.
bool differs(const std::vector<PlannedFile> &plan);

// One key of the runtime store with its masked values; none where it has no value.
struct RuntimeChange {
  std::string key;
  std::optional<std::string> before;
  std::optional<std::string> after;
};
std::vector<RuntimeChange> runtime_changes(const Secrets &secrets, const std::string &before, const std::string &after);

#endif
