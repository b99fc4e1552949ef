// Reads, locks and replaces the file that is edited.
#ifndef TESSERA_TOOLS_CONFIG_FILE_H
#define TESSERA_TOOLS_CONFIG_FILE_H

#include <sys/stat.h>

#include <string>

#include "util/owned.h"

struct EditedFile {
  std::string path;  // without symbolic links
  Fd fd;             // holds the lock against other edits
  struct stat status;
  std::string content;
};

// Opens and reads a file; returns false after a message. With `lock`, other edits of the file wait until `file` is
// closed.
bool open_file(const char *path, bool lock, EditedFile *file);

// Replaces the file in one step by a file with the new content and the same owner and mode. Returns false after a
// message; then the file is as it was.
bool replace_file(const EditedFile &file, const std::string &content);

// Prints the change on standard output as a unified diff, with `name` as the file's name; returns false after a
// message.
bool print_difference(const char *name, const std::string &before, const std::string &after);

#endif
