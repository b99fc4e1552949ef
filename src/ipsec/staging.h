// The staging tree: files for the daemon are written into it, and it replaces the tree in use at the end of the run.
//
// An interrupted run may have left a staging tree. Its directories are used again, but its files and links are removed:
// a write through a link could reach files of another service.
#ifndef TESSERA_IPSEC_STAGING_H
#define TESSERA_IPSEC_STAGING_H

#include "main/owned.h"

#define IPSEC_TREE "/var/run/ipsec.d"
#define IPSEC_STAGING_TREE IPSEC_TREE ".new"
#define IPSEC_REPLACED_TREE IPSEC_TREE ".old"

// Creates the directories of the staging tree, or empties those that exist. Does not report failures: later writes into
// these directories fail.
void create_staging_tree();

// Replaces the tree in use with the staging tree. For a moment readers see no tree. If there is no staging tree, the
// old tree is put back.
void swap_staging_tree();

// The following functions first remove the file or link at `path`.

// Opens a new file with mode 0600. Null, with the reason in errno, on failure.
OwnedStream stage_stream(const char *path);

// Writes a new file with mode 0600. False, with the reason in errno, on failure.
bool stage_file(const char *path, const char *content);

// Creates a symbolic link to `target`. False, with the reason in errno, on failure.
bool stage_link(const char *path, const char *target);

#endif
