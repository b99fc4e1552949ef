// What settings do to the files of a run: tried one by one, never guessed.
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

// One service on the setup as it is.
struct BaseRun {
  std::string service;
  Result result;
  Trace trace;
  Trace ipsec_trace;  // of `network`, whose result follows from that of `ipsec` too
  std::map<std::string, std::vector<std::string>> lines;
  std::map<std::string, std::vector<std::string>> shown;  // the same without secrets
};

// Runs the services on the setup as it is.
std::vector<BaseRun> run_base(const Pool &pool, const std::vector<std::string> &wanted);

// True when the service, or the one whose files it finds, has read the setting.
bool may_matter(const BaseRun &base, const Setting &setting);

// The run of the service after changes. That of `network` follows one of `ipsec` when they are of what this reads.
Trial trial_of(const BaseRun &base, const std::vector<Change> &changes, bool is_traced);

// Changes, with the setting that they stand for.
struct Attempt {
  const Setting *setting;
  std::vector<Change> changes;
  size_t number = 0;            // of the alternative of the setting
  std::string other_file = {};  // a file of the router that has another content
};

// True for a line of a run of `network` that is another one without the files of `ipsec`.
bool depends_on_ipsec(const Pool &pool, const BaseRun &base, const std::string &file, size_t index);

// What an attempt did to the lines of each file of the base run, of files with a difference.
struct Effect {
  Attempt attempt;
  std::map<std::string, std::vector<Fate>> fates;         // of the lines of the base run
  std::map<std::string, std::vector<std::string>> files;  // what the changed files hold now
};

// A line of a file of the base run that is asked about.
struct AskedLine {
  std::string file;
  size_t index;  // of the line, from 0
  size_t bytes;  // of the file, to the end of the line
};

// Tries all alternatives of the settings; changes that tessera refuses, or that make no difference, give no effect.
// Where only one line is asked about, effects on other lines may be missing.
std::vector<Effect> try_settings(const Pool &pool, const BaseRun &base, const std::vector<const Setting *> &settings,
                                 const AskedLine *asked = nullptr);

// The same for changes that are given.
std::vector<Effect> try_changes(const Pool &pool, const BaseRun &base, const std::vector<Attempt> &attempts);

#endif
