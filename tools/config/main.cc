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
    "        FILE:LINE:COLUMN: GRADE[RULE]: PATH: what is wrong; its consequence; what to write instead\n"
    "        GRADE is\n"
    "          error    tessera or a daemon refuses it, or a mistake leaves out a service or an interface\n"
    "          warning  a setting has no effect, or another effect than it says\n"
    "          note     unusual, but probably intended\n"
    "  --fail-on=GRADE  ends with status 1 also for a warning or a note; otherwise only for an error\n"
    "  --format=FORM    text, json, github (workflow commands) or sarif (SARIF 2.1.0)\n"
    "  --facts=FACTS    also checks a file of runtime facts against each document\n"
    "  --summary        prints for each rule and path how many files have findings\n"
    "  --rules          prints the list of rules of the manual page, and checks nothing\n"
    "        Exit status: 0, 1 when there is a finding of that grade or worse, 2 for wrong usage.\n"
    "schema  prints the JSON Schema (draft 2020-12) of configuration files. The schema accepts what tessera\n"
    "        accepts, also unknown keys, which are ignored; with --strict, for editors, it refuses those.\n"
    "get     prints the value at each PATH, such as network.interface.lan.mtu or network.route.static.0.dst.\n"
    "        --json: prints strings in quotes\n"
    "        --names: prints the names below PATH instead\n"
    "set     changes a value, or adds it, and leaves every other byte of FILE as it is. A last component + adds an\n"
    "        element to an array; a new entry of a map comes last.\n"
    "        --create: creates missing entries of maps\n"
    "        --json: VALUE is JSON, or - for standard input\n"
    "unset   removes a value.\n"
    "rename  gives an entry of a map another name, and changes what refers to it.\n"
    "        An EDIT is another set, unset or rename with its options, PATH and VALUE; all are one change. With - in\n"
    "        place of PATH and VALUE, edits come from standard input, one in each line.\n"
    "        -n, --dry-run: prints the change as a unified diff, and leaves FILE as it is\n"
    "        When an edit causes a new error, FILE stays as it is. Exit status: 0, or 1 when an edit was not made.\n";

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

// Whether the option is the first argument, or the second one after a command.
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
