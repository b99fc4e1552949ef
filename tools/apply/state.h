// The files of tessera-apply in /etc/config: the document, the documents that it replaced, and the record of a change
// that is not over, "pending".
//
// After a power failure each file is complete, old or new. The record is stored before the document is replaced, and
// removed when the change is done or confirmed: while the record exists, the change has to be taken back. Each function
// that returns a string returns "", or what failed and why.
#ifndef TESSERA_APPLY_STATE_H
#define TESSERA_APPLY_STATE_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/fd.h"

inline constexpr const char *history_directory = "/etc/config/history";

// Waits for the lock, and returns it; closing the result releases it. The lock is on the directory of earlier
// documents. When that is missing, it is created with `makes`; without `makes` the result is not open, because nothing
// was ever changed. Sets `trouble` when something fails.
Fd take_lock(bool makes, std::string &trouble);

// ---- The document

// Stores the content of the installed document; none when there is no document.
std::string read_document(std::optional<std::string> &content);

// Replaces the installed document by `content`, with the mode and owner of the old document.
std::string install_document(const std::string &content);

// Installs the document that apply `number` replaced, or removes the document when there was none. May be repeated.
std::string restore_document(unsigned number);

// ---- Earlier documents

struct Entry {
  unsigned number;
  time_t time;
  bool has_document;  // false: there was none
  std::string message;
};

// Stores the entries, the oldest first. Ignores other files of the directory.
std::string read_history(std::vector<Entry> &entries);

// Stores the document that apply `number` replaces, and the message of the apply. No content: there was no document.
std::string keep_document(unsigned number, const std::optional<std::string> &content, const std::string &message);

// Reads that document; none when there was no document, or it is not kept any more.
std::string read_kept(unsigned number, std::optional<std::string> &content);

// Removes that document and its message.
void forget_document(unsigned number);

// Removes all but the newest twenty.
void prune_history();

// ---- The record of a change that is not over

struct Pending {
  unsigned number = 0;
  int64_t deadline = 0;  // in seconds since the start of the system; 0: the apply is in progress
  std::string boot;      // identifies that start of the system
  std::vector<std::string> services;
};

// Seconds since the start of the system, including the time that it slept.
int64_t seconds_up();

// Makes and stores the record of a change that starts now.
std::string begin_pending(unsigned number, const std::vector<std::string> &services, Pending &pending);

// Reads the record; none when there is no change that is not over.
std::string read_pending(std::optional<Pending> &pending);
std::string store_pending(const Pending &pending);
std::string remove_pending();

// Finds out whether nobody can confirm the change any more. Call it with the lock held: then the apply has ended.
std::string find_overdue(const Pending &pending, bool &is_overdue);

#endif
