// The program tessera-config: checks and edits a configuration file, and prints the JSON Schema of such files.
#include <cstdio>
#include <cstring>

#include "config/report.h"
#include "tools/config/commands.h"
#include "util/file.h"

namespace {

constexpr char usage[] =
    "Usage: tessera-config check [--fail-on=GRADE] [--format=FORM] [--facts=FACTS] [--summary] FILE...\n"
    "       tessera-config schema [--strict]\n"
    "       tessera-config get [--json | --names] FILE PATH...\n"
    "       tessera-config set [-n] [--create] [--json] FILE PATH VALUE [EDIT...]\n"
    "       tessera-config unset [-n] FILE PATH [EDIT...]\n"
    "       tessera-config rename [-n] FILE PATH NAME [EDIT...]\n"
    "       tessera-config set [-n] FILE -\n"
    "       tessera-config --help | --version\n";

constexpr char help[] =
    "\n"
    "check   reads each FILE (-: standard input) as tessera would and prints every finding as\n"
    "        FILE:LINE:COLUMN: GRADE[RULE]: PATH: what is wrong; what comes of it; what to write instead\n"
    "        GRADE is\n"
    "          error    tessera or a daemon refuses it, or a service or interface is left out by mistake\n"
    "          warning  a setting has no effect, or another one than it says\n"
    "          note     unusual, and probably meant\n"
    "  --fail-on=GRADE  ends with status 1 for warning or note too; without it for error alone\n"
    "  --format=FORM    text, json, github (workflow commands) or sarif (SARIF 2.1.0)\n"
    "  --facts=FACTS    checks a file of runtime facts against each document as well\n"
    "  --summary        prints how many files break which rule in which place\n"
    "  --rules          prints the list of rules of the manual page, and checks nothing\n"
    "        Exit status: 0, 1 when there is a finding of that grade or worse, 2 for wrong usage.\n"
    "schema  prints the JSON Schema (draft 2020-12) of configuration files. It takes what tessera takes, also\n"
    "        keys that tessera does not know and ignores; with --strict, for editors, it does not.\n"
    "get     prints the value at each PATH, such as network.interface.lan.mtu or network.route.static.0.dst.\n"
    "        --json: a string in quotes too\n"
    "        --names: the names below PATH instead\n"
    "set     changes a value, or adds it, and leaves every other byte of FILE as it is. A last component + adds an\n"
    "        element to an array; a new entry of a map comes last.\n"
    "        --create: make entries of maps that are missing\n"
    "        --json: VALUE is JSON, - for standard input\n"
    "unset   removes a value.\n"
    "rename  gives an entry of a map another name, and changes what refers to it.\n"
    "        An EDIT is another set, unset or rename with its options, PATH and VALUE; all are one change. With - in\n"
    "        place of PATH and VALUE, edits come from standard input, one a line.\n"
    "        -n, --dry-run: print the change as a unified diff, and leave FILE as it is\n"
    "        An edit that brings a new error leaves FILE as it is. Exit status: 0, or 1 when an edit was not made.\n";

Status schema_command(int count, char **arguments) {
  bool strict = count == 1 && strcmp(arguments[0], "--strict") == 0;
  if (count > 1 || (count == 1 && !strict)) return misuse();
  config_print_json_schema(stdout, strict);
  return sound;
}

struct Command {
  const char *name;
  Status (*run)(int count, char **arguments);
};

constexpr Command commands[] = {
    {"check", check_command}, {"schema", schema_command}, {"get", get_command},
    {"set", edit_command},    {"unset", edit_command},    {"rename", edit_command},
};

// Whether the option stands first, or right behind a command.
bool asks_for(int argc, char **argv, const char *option) {
  return (argc > 1 && strcmp(argv[1], option) == 0) || (argc > 2 && strcmp(argv[2], option) == 0);
}

Status run(int argc, char **argv) {
  if (asks_for(argc, argv, "--help")) {
    printf("%s%s", usage, help);
    return sound;
  }
  if (argc == 2 && asks_for(argc, argv, "--version")) {
    puts("tessera-config " TESSERA_VERSION);
    return sound;
  }
  if (argc < 2) return misuse();
  for (const Command &command : commands) {
    if (strcmp(argv[1], command.name) != 0) continue;
    bool with_name = command.run == edit_command;
    return command.run(argc - (with_name ? 1 : 2), argv + (with_name ? 1 : 2));
  }
  fprintf(stderr, "tessera-config: there is no command '%s'\n", argv[1]);
  return misuse();
}

}  // namespace

Status misuse() {
  fputs(usage, stderr);
  return misused;
}

int main(int argc, char **argv) {
  if (!protect_standard_streams()) return unusable;
  Status status = run(argc, argv);
  if (fflush(stdout) != 0 && status == sound) {
    perror("tessera-config: standard output");
    return unusable;
  }
  return status;
}
