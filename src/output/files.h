// Files that a run writes.
#ifndef TESSERA_OUTPUT_FILES_H
#define TESSERA_OUTPUT_FILES_H

#include "main/owned.h"

// Most files hold secrets and are readable by root alone; the others are readable by everyone.
constexpr unsigned private_mode = 0600;
constexpr unsigned public_mode = 0644;

// Creates or truncates the file at `path` and opens it for writing, with exactly `mode` whatever the umask is. A file
// of private_mode belongs to the user of the run; if other users may have opened an old one, a new file replaces it.
// Returns null, with the reason in errno, when that fails.
OwnedStream open_output(const char *path, unsigned mode = private_mode);

// Closes a stream. Returns false, with the reason in errno, when something was not written to the file.
bool close_output(OwnedStream stream);

// Creates a directory with exactly `mode`, whatever the umask is. Returns false, with the reason in errno, when that
// fails. A directory that exists is not changed, and errno is EEXIST.
bool create_directory(const char *path, unsigned mode);

// True when there is something at `path`. When that cannot be found out, logs a message and returns false.
bool is_there(const char *path);

// Removes the file at `path` and logs a failure. A missing file is no failure.
void remove_file(const char *path);

#endif
