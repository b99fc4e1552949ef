// The inside: what the previewed programs see as the root directory, in a mount namespace of their own.
#ifndef TESSERA_PREVIEW_INSIDE_H
#define TESSERA_PREVIEW_INSIDE_H

#include <string>

// Where the machine's own root directory is, read-only, from the inside.
#define HOST "/.host"

// Makes the inside the root directory of a process that is apart: the machine's programs and libraries; fresh
// /etc/config, /var/run, /tmp, /dev and /sys/class/net. The working directory is its root.
void enter_inside();

// Puts `content` at `path`, also where the machine has something else; directories on the way are made.
void place_file(const std::string &path, const std::string &content, unsigned mode);

// Lays the files, directories and symbolic links below the directory `source` over the inside, with their modes. An
// etc/hostname among them becomes the host name.
void lay_over(int source);

#endif
