// Files that a run writes.
#ifndef TESSERA_OUTPUT_FILES_H
#define TESSERA_OUTPUT_FILES_H

#include "main/owned.h"

// Readable by root alone, as most files hold secrets, or by everyone.
constexpr unsigned private_mode = 0600;
constexpr unsigned public_mode = 0644;

// Opens an empty file at `path` for writing, with exactly `mode`, whatever the umask says. A private file belongs to
// the user of the run before anything is written; a file that other users may have opened is replaced by a new one.
// Null, with the reason in errno, when that fails.
OwnedStream open_output(const char *path, unsigned mode = private_mode);

// Closes a stream. True when everything written to it has reached the file; otherwise the reason is in errno.
bool close_output(OwnedStream stream);

// Creates a directory with exactly `mode`, whatever the umask says. False, with the reason in errno, when that fails;
// one that exists keeps its mode and counts as failed with EEXIST.
bool create_directory(const char *path, unsigned mode);

// Whether there is a file at `path`. False, after a message, also when that cannot be found out.
bool is_there(const char *path);

// Removes what is at `path`, which may be gone already; a failure is logged.
void remove_file(const char *path);

#endif
