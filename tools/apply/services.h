// Runs services of tessera on this machine, and what reloads their daemons.
#ifndef TESSERA_APPLY_SERVICES_H
#define TESSERA_APPLY_SERVICES_H

#include <map>
#include <string>
#include <vector>

#include "sandbox/tree.h"

inline constexpr const char *hook_directory = "/etc/tessera/reload.d";
inline constexpr const char *service_names[] = {"pam", "dnsmasq", "ipsec", "network"};

bool is_service(const std::string &name);

// The files of the services on this machine. `trouble` gets why one cannot be read.
Tree read_service_files(std::string &trouble);

// The statuses that services are expected to end with.
using Statuses = std::map<std::string, int>;

// Set for services and hooks: the process that waits for them with the lock held.
inline constexpr const char *waiting_process = "TESSERA_APPLY";

// Runs the services one after the other, then the hook of each with the paths that changed, all as the start of the
// system would: in the root directory, with its umask and search path. Returns "", or the first
// trouble: a status other than expected (of a service without one: other than 0, and 1 of ipsec), or a hook that fails.
// With `goes_on`, what comes after the trouble is run all the same.
std::string run_services(const std::vector<std::string> &services, const Statuses &expected, bool goes_on);

// Removes the files of the services, then runs the hooks; as run_services with `goes_on`.
std::string remove_services(const std::vector<std::string> &services);

#endif
