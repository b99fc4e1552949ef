// Runs other programs to their end.
#ifndef TESSERA_PREVIEW_CHILD_H
#define TESSERA_PREVIEW_CHILD_H

#include <string>
#include <vector>

#include "preview/fd.h"

// What a program starts with.
struct Surroundings {
  int input = 0;
  int output = 1;
  int error = 2;
  const char *directory = "/";
};

// Runs `arguments[0]`, looked up in PATH unless it holds a slash. Returns its exit status, 128 + N when signal N ended
// it; ends the preview when the program cannot be started. The program does not outlive the preview.
int run_program(const std::vector<std::string> &arguments, const Surroundings &surroundings = {});

// As run_program with the standard output added to `output`, and the standard error to `error`, which may be the same
// text; without it that goes where the preview's goes.
int capture_program(const std::vector<std::string> &arguments, std::string &output, std::string *error = nullptr);

// The path of the program `name` in PATH, or of the first of `directories` that has it (ended by a null pointer); ""
// when it is not installed.
std::string find_installed(const std::string &name, const char *const *directories);

// A nameless file with `content`, positioned at its start. Programs that are run while it is open inherit it.
Fd memory_file(const std::string &content);

// The name of a program or file of the machine as it is called outside.
const char *machine_path(const std::string &path);

#endif
