// What tessera-apply keeps in /etc/config: the documents that others replaced, and the change that is not settled yet.
//
// Whatever is written here is whole after a loss of power, old or new. The record of an unsettled change is stored
// before the document is replaced, and removed when all is done or confirmed: while it is there, the change is to be
// taken back. Each function that returns a string returns "", or what failed and why.
#ifndef TESSERA_APPLY_STATE_H
#define TESSERA_APPLY_STATE_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/fd.h"

inline constexpr const char *history_directory = "/etc/config/history";

// Waits until no other process changes something, for as long as the result is open. With `makes`, makes the directory
// of earlier documents where it is missing; without, and without it, the result is not open, as there is nothing to
// wait for. `trouble` gets what fails.
Fd take_lock(bool makes, std::string &trouble);

// ---- The document

// The content of the installed document; none when there is none.
std::string read_document(std::optional<std::string> &content);

// Puts `content` in the place of the installed document, with its mode and owner.
std::string install_document(const std::string &content);

// Puts the document that apply `number` replaced in its place again. It needs no room, and may be repeated.
std::string restore_document(unsigned number);

// ---- Earlier documents

struct Entry {
  unsigned number;
  time_t time;
  bool has_document;  // false: there was none
  std::string message;
};

// Stores the entries from the oldest on. What else lies in the directory is passed over.
std::string read_history(std::vector<Entry> &entries);

// Keeps what apply `number` replaces.
std::string keep_document(unsigned number, const std::optional<std::string> &content, const std::string &message);
std::string read_kept(unsigned number, std::optional<std::string> &content);
void forget_document(unsigned number);

// Forgets all but the newest twenty.
void prune_history();

// ---- The change that is not settled

struct Pending {
  unsigned number = 0;
  int64_t deadline = 0;  // in seconds since the start of the system; 0: the apply is at work
  std::string boot;      // which start of the system that was
  std::vector<std::string> services;
};

// Seconds since the start of the system, with those that it slept.
int64_t seconds_up();

// Stores the record of a change by this process, which is at work.
std::string begin_pending(unsigned number, const std::vector<std::string> &services, Pending &pending);

std::string read_pending(std::optional<Pending> &pending);
std::string store_pending(const Pending &pending);
std::string remove_pending();

// Finds out whether nobody will confirm the change any more. Asked with the lock held: who was at work has ended.
std::string find_overdue(const Pending &pending, bool &is_overdue);

#endif
