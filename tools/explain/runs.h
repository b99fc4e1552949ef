// Runs tessera on changed copies of a router. Runs are concurrent and do not change the machine.
#ifndef TESSERA_EXPLAIN_RUNS_H
#define TESSERA_EXPLAIN_RUNS_H

#include <map>
#include <string>
#include <vector>

#include "explain/document.h"
#include "preview/secrets.h"
#include "sandbox/sandbox.h"

struct Trial {
  std::string service;
  std::vector<Change> changes;
  // True when the trace of the run is needed.
  bool is_traced = false;
  // The files of `ipsec` that `network` finds.
  enum IpsecFiles {
    of_router,          // those of a run on the unchanged router
    of_changed_router,  // those of a run on the changed router
    none,
  } ipsec_files = of_router;
  std::string other_file = {};  // a file of the router, relative to "/", that gets other content; "" for none
};

struct Result {
  bool is_refused = true;  // the changes cannot be made, or tessera refuses the configuration after them
  std::string messages;
  std::map<std::string, std::string> files;  // content by path; "-> " and the target for a symbolic link
  Tree links;                                // relative to "/"
  std::string trace;
};

// The router and the programs that all trials share.
struct Pool {
  const Setup &setup;
  std::string explain;  // the paths of this program and of tessera-trace
  std::string tracer;
  Router router;     // without configuration and facts
  Tree ipsec_files;  // of a run of `ipsec` on the unchanged router
  Secrets secrets;
};

// Runs the trials, as many at once as the machine has processors, and returns their results in the same order. Ends the
// program after a message when a trial cannot be set up, or when the configuration is too large for so many trials.
std::vector<Result> run_all(const Pool &pool, const std::vector<Trial> &trials);

#endif
