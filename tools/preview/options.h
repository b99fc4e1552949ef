// The command line.
#ifndef TESSERA_PREVIEW_OPTIONS_H
#define TESSERA_PREVIEW_OPTIONS_H

#include <string>
#include <vector>

struct Options {
  const char *config = nullptr;
  const char *runtime = nullptr;
  const char *rootfs = nullptr;
  const char *store = nullptr;
  const char *old = nullptr;
  const char *tessera = nullptr;
  const char *runt = nullptr;
  const char *colour = "auto";
  bool is_coloured = false;
  bool prints_summary = false;  // only the fate of each file
  bool prints_json = false;
  bool shows_secrets = false;
  bool verifies = false;
  bool reports_differences = false;  // in the exit status
  bool prints_help = false;
  bool prints_version = false;
  std::vector<std::string> services;
  bool is_all = false;  // the services are those of "all"
  std::vector<std::string> arguments;
};

// Reads the command line. Ends the program when help is asked for or the command line is wrong.
Options read_command_line(int argc, char **argv);

#endif
