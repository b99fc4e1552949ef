// What a document makes of the files of this router, found out in private.
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
  Tree before;  // the files of the services as they are, and
  Tree after;   // as they would be
  std::vector<PlannedFile> files;
  bool facts_differ;                  // in the runtime store
  std::vector<std::string> services;  // those that change, in their order
  Statuses statuses;                  // what each service ended with
  bool has_failed;                    // a service, otherwise than by writing no tunnel
  std::vector<Verdict> verdicts;      // of the daemons' checkers that found something; with `verifies` only
};

// Runs all services in private on this router with the document `config`, and keeps what concerns those named by
// `only`, or all when it is empty. Prints their messages on standard error. Ends the program with exit_setup when it
// cannot be done.
Survey make_survey(const std::optional<std::string> &config, const std::vector<std::string> &only, bool verifies);

// Prints the change that waits, a line for each file that changes, and the services.
void print_survey(const Survey &survey, const std::optional<Pending> &pending);

// The same as one JSON object.
void print_survey_json(const Survey &survey, const std::optional<Pending> &pending);

// True when the checker finds no error in the document, whose findings are printed under the name `name`.
bool passes_check(const std::string &name, const std::string &config);

#endif
