// Functions that run in the process of a job. Inside means the root directory that the job sees.
#ifndef TESSERA_SANDBOX_INSIDE_H
#define TESSERA_SANDBOX_INSIDE_H

#include <sys/stat.h>

#include <map>
#include <string>

#include "sandbox/sandbox.h"

// The directory of the inside that holds the machine's directories and files that a job may read.
#define MACHINE "/.machine"

// Ends the process of the job, and sends `message`, and the text of the errno value `reason` unless it is 0, as its
// trouble.
[[noreturn]] void give_up(const std::string &message, int reason);

// Makes a root directory with the files that the job may see, also `directories` of the machine, and leaves the
// machine's root directory for ever. Returns false when /proc cannot be mounted for a process namespace.
bool make_root(const Job &job, const std::vector<std::string> &directories, bool has_processes);

// Writes files into the root directory, with their modes, over those that it has. A directory of the machine that gets
// a file becomes a directory of the inside with links to the machine's entries.
void overlay_files(const Tree &files);

// The state of all files of the inside.
struct FileState {
  ino_t inode;
  mode_t mode;
  off_t size;
  timespec changed;
};
using Snapshot = std::map<std::string, FileState>;
Snapshot take_snapshot();

// The files that changed since the snapshot with their directories, and the list of removed files.
Tree changed_files(const Snapshot &before);

// Runs a command to its end, and returns its outcome.
Ended run_command(const Command &command, Rights rights);

// Whether the path is in the machine's directories of programs and libraries, which the inside has under the same
// names.
bool is_system_directory(const std::string &path);

#endif
