// Runs services of tessera on this machine, and the hooks that reload their daemons.
#ifndef TESSERA_APPLY_SERVICES_H
#define TESSERA_APPLY_SERVICES_H

#include <map>
#include <string>
#include <vector>

#include "sandbox/tree.h"

inline constexpr const char *hook_directory = "/etc/tessera/reload.d";
inline constexpr const char *service_names[] = {"pam", "dnsmasq", "ipsec", "network"};

bool is_service(const std::string &name);

// Returns the files of the services on this machine. Sets `trouble` when a file cannot be read.
Tree read_service_files(std::string &trouble);

// The statuses that services are expected to end with.
using Statuses = std::map<std::string, int>;

// Environment variable of services and hooks: the number of the process that waits for them and holds the lock.
inline constexpr const char *waiting_process = "TESSERA_APPLY";

// Runs the services one after the other, then the hook of each with the paths that changed, all in the root directory
// with umask 022 and the usual search path. Returns "", or the first failure: a service that ends with another status
// than in `expected`, or, when it is not there, than 0 (ipsec also 1), or a hook that fails. With `goes_on`, the
// services and hooks after a failure are run, too.
std::string run_services(const std::vector<std::string> &services, const Statuses &expected, bool goes_on);

// Removes the files of the services, then runs all hooks. Returns "", or the first failure.
std::string remove_services(const std::vector<std::string> &services);

#endif
