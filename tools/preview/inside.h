// The inside: what the previewed programs see as the root directory, in a mount namespace of their own.
#ifndef TESSERA_PREVIEW_INSIDE_H
#define TESSERA_PREVIEW_INSIDE_H

#include <sys/types.h>

#include <string>

// Where the machine's own root directory is, read-only, from the inside.
#define HOST "/.host"

// Makes the inside the root directory of a process that is apart: the machine's programs and libraries; fresh
// /etc/config, /var/run, /tmp, /dev and /sys/class/net. The working directory is its root.
void enter_inside();

// Puts `content` at `path`, also where the machine has something else; directories on the way are made.
void place_file(const std::string &path, const std::string &content, unsigned mode);

// Puts an empty directory or an empty file that can be executed, by `type`, at `path` where there is nothing yet; "/"
// is the working directory. False, with errno, when that fails.
bool place_stand_in(const std::string &path, mode_t type);

// Lays the files, directories and symbolic links below the directory `source` over the inside, with their modes. An
// etc/hostname among them becomes the host name.
void lay_over(int source);

#endif
