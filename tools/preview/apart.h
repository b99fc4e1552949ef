// The process that the previewed programs run below: it has namespaces of its own.
#ifndef TESSERA_PREVIEW_APART_H
#define TESSERA_PREVIEW_APART_H

#include <functional>

// Runs `work` in a process with mount, host-name and process-id namespaces of its own (as an ordinary user by way of a
// user namespace) and returns its status. Nothing that it starts outlives it, and it does not outlive this process,
// however that ends: a request to end is passed on to it first.
int run_apart(const std::function<int()> &work);

// Inside: mounts the view of the processes at /proc, which is empty.
void mount_processes();

#endif
