// What the library does in the process of a job.
#ifndef TESSERA_SANDBOX_INSIDE_H
#define TESSERA_SANDBOX_INSIDE_H

#include <sys/stat.h>

#include <map>
#include <string>

#include "sandbox/sandbox.h"

// Where the inside has the machine's directories and files that it may read, under their names on the machine.
#define MACHINE "/.machine"

// Ends the process of the job, of which `message` and the reason in errno, unless it is 0, are the trouble.
[[noreturn]] void give_up(const std::string &message, int reason);

// Makes a root directory of what the job may see, among it these directories of the machine, and leaves that of
// the machine for good. False when the view of the
// processes cannot be mounted for a process namespace.
bool make_root(const Job &job, const std::vector<std::string> &directories, bool has_processes);

// Lays files over the root directory, with their modes. Directories of the machine on the way become directories of the
// inside, in which links stand for the machine's entries.
void lay_files(const Tree &files);

// The state of all files of the inside, and what became of them since.
struct FileState {
  ino_t inode;
  mode_t mode;
  off_t size;
  timespec changed;
};
using Snapshot = std::map<std::string, FileState>;
Snapshot take_snapshot();
Tree changed_files(const Snapshot &before);

// Runs a command to its end.
Ended run_command(const Command &command, Rights rights);

// True for the machine's directories of programs and libraries, which the inside has under the same names.
bool is_system_directory(const std::string &path);

#endif
