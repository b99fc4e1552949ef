// The effects of settings on the files of a run: each is tried, none is guessed.
#ifndef TESSERA_EXPLAIN_EFFECTS_H
#define TESSERA_EXPLAIN_EFFECTS_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "explain/document.h"
#include "explain/lines.h"
#include "explain/runs.h"
#include "explain/trace.h"

// The run of a service on the unchanged setup.
struct BaseRun {
  std::string service;
  Result result;
  Trace trace;
  Trace ipsec_trace;  // only for `network`, whose files depend on those of `ipsec`
  std::map<std::string, std::vector<std::string>> lines;
  std::map<std::string, std::vector<std::string>> shown;  // the same without secrets
};

// Runs the services on the unchanged setup.
std::vector<BaseRun> run_base(const Pool &pool, const std::vector<std::string> &wanted);

// True when the service has read the setting, or `ipsec` has, whose files `network` finds.
bool may_matter(const BaseRun &base, const Setting &setting);

// The run of the service after changes. `ipsec` runs before `network` when it reads a changed setting.
Trial trial_of(const BaseRun &base, const std::vector<Change> &changes, bool is_traced);

// Changes that are tried, and the setting that they are tried for.
struct Attempt {
  const Setting *setting;
  std::vector<Change> changes;
  size_t number = 0;            // of the change among the alternatives of the setting
  std::string other_file = {};  // a file of the router that gets other content; "" for none
};

// True when a line of a run of `network` changes or disappears without the files of `ipsec`.
bool depends_on_ipsec(const Pool &pool, const BaseRun &base, const std::string &file, size_t index);

// What an attempt did to the lines of the files that it changed.
struct Effect {
  Attempt attempt;
  std::map<std::string, std::vector<Fate>> fates;         // of the lines of the base run
  std::map<std::string, std::vector<std::string>> files;  // the lines of the changed files
};

// The line of a file of the base run that the question is about.
struct AskedLine {
  std::string file;
  size_t index;  // of the line, from 0
  size_t bytes;  // of the file up to the end of the line
};

// Tries all alternatives of the settings. A change that tessera refuses, or that makes no difference, has no effect.
// When the question is about one line, effects on other lines may be missing.
std::vector<Effect> try_settings(const Pool &pool, const BaseRun &base, const std::vector<const Setting *> &settings,
                                 const AskedLine *asked = nullptr);

// The same for given changes.
std::vector<Effect> try_changes(const Pool &pool, const BaseRun &base, const std::vector<Attempt> &attempts);

#endif
