// The file that is edited.
#ifndef TESSERA_TOOLS_CONFIG_FILE_H
#define TESSERA_TOOLS_CONFIG_FILE_H

#include <sys/stat.h>

#include <string>

#include "util/owned.h"

struct EditedFile {
  std::string path;  // where symbolic links lead to
  Fd fd;             // holds a lock against other edits
  struct stat status;
  std::string content;
};

// Opens and reads a file; false after a message. With `lock` other edits of the file wait until this one has ended.
bool open_file(const char *path, bool lock, EditedFile *file);

// Replaces the file by one of the same owner and mode with the new content, in one step; false after a message, and
// then the file is what it was.
bool replace_file(const EditedFile &file, const std::string &content);

// Prints on standard output what would change, as a unified diff; false after a message.
bool print_difference(const char *name, const std::string &before, const std::string &after);

#endif
