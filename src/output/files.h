// Files that a run writes.
#ifndef TESSERA_OUTPUT_FILES_H
#define TESSERA_OUTPUT_FILES_H

#include "main/owned.h"

// Readable by root alone, as most files hold secrets, or by everyone.
constexpr unsigned private_mode = 0600;
constexpr unsigned public_mode = 0644;

// Opens `path` for writing from scratch with exactly `mode`, whatever the umask says. A private file belongs to who
// runs the program before anything is written: one that others could have open makes way for a new one. Null when that
// fails; errno then says why.
OwnedStream open_output(const char *path, unsigned mode = private_mode);

// Closes a stream; true when everything written to it has reached the file, else errno says what went wrong.
bool close_output(OwnedStream stream);

// Creates a directory with exactly `mode`, whatever the umask says. False, with the reason in errno, when that fails;
// one that exists keeps its mode and counts as failed with EEXIST.
bool create_directory(const char *path, unsigned mode);

// Whether there is a file at `path`. False, after a message, also when that cannot be found out.
bool is_there(const char *path);

// Removes what is at `path`, which may be gone already; a failure is logged.
void remove_file(const char *path);

#endif
