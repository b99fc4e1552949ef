// Finds out in a sandbox how a document would change the files of this router.
#ifndef TESSERA_APPLY_SURVEY_H
#define TESSERA_APPLY_SURVEY_H

#include <optional>
#include <string>
#include <vector>

#include "apply/services.h"
#include "apply/state.h"
#include "preview/plan.h"
#include "preview/verify.h"

struct Survey {
  Tree before;                        // the files of the services now
  Tree after;                         // the files after the change
  std::vector<PlannedFile> files;     // the differences
  bool facts_differ;                  // the runtime store would change
  std::vector<std::string> services;  // the services that change, in the order in which they run
  Statuses statuses;                  // the status of each service
  bool has_failed;                    // a service failed; ipsec does not fail when it only writes no tunnel
  std::vector<Verdict> verdicts;      // of the daemons' checkers that found something; only with `verifies`
};

// Runs all services in a sandbox with the files and facts of this router and the document `config` (none: no document).
// Returns the results of the services in `only`, or of all when it is empty; with `verifies` also those of the daemons'
// checkers. Prints the messages of the services on standard error. Ends the program with exit_setup when it cannot run.
Survey make_survey(const std::optional<std::string> &config, const std::vector<std::string> &only, bool verifies);

// Prints the change that waits for confirmation, a line for each file that changes, and the services.
void print_survey(const Survey &survey, const std::optional<Pending> &pending);

// The same as one JSON object.
void print_survey_json(const Survey &survey, const std::optional<Pending> &pending);

// Checks the document `config`, and prints the findings on standard error, with `name` as its file name. Returns
// whether there is no error.
bool passes_check(const std::string &name, const std::string &config);

#endif
