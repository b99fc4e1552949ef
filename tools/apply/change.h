// A change of the configuration: done, confirmed or taken back. All of it with the lock held.
#ifndef TESSERA_APPLY_CHANGE_H
#define TESSERA_APPLY_CHANGE_H

#include <string>

#include "apply/state.h"
#include "apply/survey.h"

// What the program ends with, beside those of preview/fail.h.
enum ChangeStatus { change_done = 0, change_refused = 1, change_waits = 2, change_fails = 3, change_reverted = 6 };

struct Change {
  std::optional<std::string> old_document;
  std::string document;
  std::string message;
  int seconds = 0;  // to confirm it in; 0: it needs no confirmation
};

// Installs the document and runs the services that the survey names. Whatever happens to this process, another takes
// the change back when it is not done, or not confirmed in time. Prints what comes of it.
int do_change(Fd &lock, const Change &change, const Survey &survey);

// Takes the change back: the document, the services and their hooks. Returns "", or what keeps it from being over: it
// is to be tried again. All else that fails is logged.
std::string revert(const Pending &pending, const char *reason);

// The same at the start of the system, before any service runs: the document only.
std::string revert_document(const Pending &pending, const char *reason);

// Prints the message and sends it to the system's log.
void tell(const std::string &message);

#endif
