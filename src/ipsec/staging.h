// The tree of daemon files in the making. It takes the place of the tree in use when the run is over.
//
// An interrupted run may have left a tree behind. Its directories are used again, and nothing is ever written through
// what they hold: a leftover link would lead into the files of another service.
#ifndef TESSERA_IPSEC_STAGING_H
#define TESSERA_IPSEC_STAGING_H

#include "main/owned.h"

#define IPSEC_TREE "/var/run/ipsec.d"
#define IPSEC_STAGING_TREE IPSEC_TREE ".new"
#define IPSEC_REPLACED_TREE IPSEC_TREE ".old"

// Makes sure that the directories of the staging tree are there and hold no files. Failures show when files are written
// into them.
void create_staging_tree();

// Puts the staging tree into place. Readers see the previous tree, then for a moment none, then the new one, or the
// previous one again when there is no new one to put in its place.
void swap_staging_tree();

// Each of the following removes what is at `path` first and reports a failure through its result and errno.

// Opens a new file with mode 0600; null on failure.
OwnedStream stage_stream(const char *path);

// Writes a whole new file.
bool stage_file(const char *path, const char *content);

// Makes a symbolic link to `target`.
bool stage_link(const char *path, const char *target);

#endif
