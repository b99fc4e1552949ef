// Runs other programs to their end.
#ifndef TESSERA_PREVIEW_CHILD_H
#define TESSERA_PREVIEW_CHILD_H

#include <string>
#include <vector>

#include "preview/fd.h"

// Runs `arguments[0]` (looked up in PATH unless it holds a slash) in the working directory `directory`, with
// `input` and `output` as its standard input and output. Returns its exit status, 128 + N when signal N ended it; ends
// the preview when the program cannot be started. The program does not outlive the preview.
int run_program(const std::vector<std::string> &arguments, int input = 0, int output = 1, const char *directory = "/");

// As run_program with the standard output collected in `output`.
int capture_program(const std::vector<std::string> &arguments, std::string &output);

// A nameless file with `content`, positioned at its start. Programs that are run while it is open inherit it.
Fd memory_file(const std::string &content);

#endif
