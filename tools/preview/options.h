// The command line.
#ifndef TESSERA_PREVIEW_OPTIONS_H
#define TESSERA_PREVIEW_OPTIONS_H

#include <string>
#include <vector>

enum class Form {
  files,    // everything that is written, or the differences from an earlier tree
  summary,  // what happens to which file
  json,
};

struct Options {
  const char *config = nullptr;
  const char *runtime = nullptr;
  const char *rootfs = nullptr;
  const char *store = nullptr;
  const char *old = nullptr;
  Form form = Form::files;
  bool is_coloured = false;
  bool shows_secrets = false;
  bool verifies = false;
  bool reports_differences = false;  // in the exit status
  std::string tessera;
  std::string runt;
  std::vector<std::string> services;
  bool is_all = false;  // the services are those of "all"
  std::vector<std::string> arguments;
};

// Ends the program when help is asked for or the command line is wrong.
Options read_command_line(int argc, char **argv);

#endif
