// Runs of tessera on changed copies of a router, side by side, none of which the machine notices.
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
  // The record of what the run reads is wanted too.
  bool is_traced = false;
  // What `network` finds of `ipsec`.
  enum IpsecFiles {
    of_router,          // the files from a run on the router as it is
    of_changed_router,  // those from a run on the changed router
    none,
  } ipsec_files = of_router;
  std::string other_file = {};  // a file of the router, relative to "/", that has another content; "" for none
};

struct Result {
  bool is_refused = true;  // the changes do not apply, or tessera refuses the document that they make
  std::string messages;
  std::map<std::string, std::string> files;  // content by path; of a symbolic link "-> " and its target
  Tree links;                                // relative to "/"
  std::string trace;
};

// What all trials share.
struct Pool {
  const Setup &setup;
  std::string explain;  // the paths of this program and of tessera-trace
  std::string tracer;
  Router router;     // without configuration and facts
  Tree ipsec_files;  // that `ipsec` writes on the router as it is
  Secrets secrets;
};

// Runs the trials, as many at once as the machine has processors, and returns their results in the same order. Ends the
// program after a message when one cannot be set up, or when the document is too large to be tried so often.
std::vector<Result> run_all(const Pool &pool, const std::vector<Trial> &trials);

#endif
