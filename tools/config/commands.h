// The commands of the program tessera-config.
#ifndef TESSERA_TOOLS_CONFIG_COMMANDS_H
#define TESSERA_TOOLS_CONFIG_COMMANDS_H

// What the program exits with.
enum Status { sound = 0, unusable = 1, misused = 2 };

// Prints the usage of all commands on standard error.
Status misuse();

// Each command takes its arguments, without its own name; a null pointer ends them.
Status check_command(int count, char **arguments);
Status get_command(int count, char **arguments);

// The edits. The command's own name is before the arguments.
Status edit_command(int count, char **arguments);

#endif
