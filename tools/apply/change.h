// Makes, confirms and takes back changes of the configuration. The caller of each function holds the lock of state.h.
#ifndef TESSERA_APPLY_CHANGE_H
#define TESSERA_APPLY_CHANGE_H

#include <string>

#include "apply/state.h"
#include "apply/survey.h"

// Exit statuses, in addition to those of preview/fail.h.
enum ChangeStatus { change_done = 0, change_refused = 1, change_waits = 2, change_fails = 3, change_reverted = 6 };

struct Change {
  std::optional<std::string> old_document;
  std::string document;
  std::string message;
  int seconds = 0;  // the time to confirm it; 0: it needs no confirmation
};

// Installs the document, runs the services that the survey names, and prints the outcome. When this process ends early,
// or nobody confirms the change in time, another process takes the change back. Returns the exit
// status, a ChangeStatus.
int do_change(Fd &lock, const Change &change, const Survey &survey);

// Takes the change back: restores the document, then runs the services and their hooks. Returns "", or why the document
// or the record could not be restored or removed: try again then. All other failures are only logged.
std::string revert(const Pending &pending, const char *reason);

// The same at the start of the system, before any service runs: restores only the document.
std::string revert_document(const Pending &pending, const char *reason);

// Prints the message on standard error and writes it to the system log.
void report(const std::string &message);

#endif
