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

struct Read {
  std::string path;
  std::string kind;  // of a fact how it was read, of a setting "read", or "tree" for all below it
  bool is_fact;
};

// The record of a run.
struct Trace {
  std::vector<Read> reads;
  std::map<std::string, std::vector<size_t>> places;  // path or key -> its indexes in `reads`
  // By file: after how many bytes how many reads had happened.
  std::map<std::string, std::vector<std::pair<size_t, size_t>>> progress;
};

// One service on the setup as it is.
struct BaseRun {
  std::string service;
  Result result;
  Trace trace;
  Trace ipsec_trace;  // of `network`, whose result follows from that of `ipsec` too
  std::map<std::string, std::vector<std::string>> lines;
  std::map<std::string, std::vector<std::string>> shown;  // the same without secrets
};

Trace parse_trace(const std::string &record);

// Runs the services on the setup as it is.
std::vector<BaseRun> run_base(const Pool &pool, const std::vector<std::string> &wanted);

// True when the run has read the setting: itself, or everything in an object or array above it.
bool is_read(const Trace &trace, const Setting &setting);

// True when the run has read something below the path.
bool reads_below(const Trace &trace, const std::string &path);

// How many reads lie between the last one of the setting and the end of a line, which lies `bytes` into the file; the
// largest number when the run had not read it by then.
size_t distance_to(const Trace &trace, const Setting &setting, const std::string &file, size_t bytes);

// Changes, with the setting that they stand for.
struct Attempt {
  const Setting *setting;
  std::vector<Change> changes;
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

// Tries all alternatives of the settings; changes that tessera refuses, or that make no difference, give no effect.
std::vector<Effect> try_settings(const Pool &pool, const Setup &setup, const BaseRun &base,
                                 const std::vector<const Setting *> &settings);

// The same for changes that are given.
std::vector<Effect> try_changes(const Pool &pool, const BaseRun &base, const std::vector<Attempt> &attempts);

#endif
