// The commands of the program tessera-config.
#ifndef TESSERA_TOOLS_CONFIG_COMMANDS_H
#define TESSERA_TOOLS_CONFIG_COMMANDS_H

// The exit statuses of the program.
enum Status { sound = 0, unusable = 1, misused = 2 };

// Prints the usage of all commands on standard error.
Status misuse();

// Each command takes its arguments without its own name, ended by a null pointer, and returns the exit status.
Status check_command(int count, char **arguments);
Status get_command(int count, char **arguments);

// The edits set, unset and rename: here the first argument is the name of the command.
Status edit_command(int count, char **arguments);

#endif
