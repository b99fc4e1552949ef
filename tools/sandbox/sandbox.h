// Runs programs in a sandbox. They see only the machine's programs and libraries and the files that they are given. The
// caller gets the files that they write; nothing changes on the machine.
//
// A job is a process tree with its own namespaces and a root directory in memory. It takes some milliseconds. Several
// jobs can run at the same time: start them all, then finish each. Root is not needed when user namespaces are allowed.
//
//   Router router;
//   router.tessera = installed_program("tessera");
//   router.runt = installed_program("runt");
//   router.config = content;
//   Job job = services_job(router, {{"pam"}, {"network"}});
//   Run run = start_job(job);
//   ServicesOutcome outcome = services_outcome(finish_job(run));
//   if (outcome.trouble.empty()) ... outcome.files.at("var/run/pam.conf").content ...
#ifndef TESSERA_SANDBOX_SANDBOX_H
#define TESSERA_SANDBOX_SANDBOX_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "sandbox/fd.h"
#include "sandbox/tree.h"

// ---- Jobs

// The rights of the programs in a job.
enum class Rights {
  service,  // may read all programs of the machine and use its network; is root in its own user namespace
  checker,  // may read the machine's libraries and its own program; no capabilities, no network, no environment
};

struct Command {
  std::vector<std::string> arguments;  // the first is the path of a program on the machine
  const char *only_with = nullptr;     // unless null: the command is left out when this path does not exist
};

// Commands to run, and the files that they see.
struct Job {
  Tree files;                         // relative to "/"
  std::vector<std::string> programs;  // more programs of the machine that the commands start: see inside_program
  std::vector<Command> preparations;  // run first; their files do not count as changes. One that fails ends the job
  std::vector<Command> commands;      // run one after the other, whatever their status
  std::string host_name;
  Rights rights = Rights::service;
};

// The outcome of a command.
struct Ended {
  int status = 0;  // its exit status, or 128 + N when signal N ended it; 0 when it was left out
  std::string output;
  std::string messages;  // its standard error
};

// The path in a Tree under which the list of removed files is kept: a path from "/" in each line.
inline constexpr const char *removed_list = "removed";

// The directory of the runtime store; never part of an outcome's files.
inline constexpr const char *runtime_directory = "/var/run/runt";

struct Outcome {
  std::string trouble;              // why the job did not run to its end; "" when it did
  std::vector<Ended> preparations;  // up to the first that failed
  std::vector<Ended> commands;      // all of them; none after a failed preparation
  Tree files;  // files that the commands created or changed, their directories, and removed_list if files were removed
};

// A job that runs. Its destructor kills the processes that still run.
struct Run {
  const Job *job = nullptr;
  pid_t process = 0;  // 0: nothing runs
  Fd reply;
  std::string trouble;

  Run() = default;
  Run(Run &&other) noexcept;
  Run &operator=(Run &&other) noexcept;
  ~Run();
};

// Starts a job. The caller keeps `job` unchanged until finish_job. A failure shows in the outcome's trouble.
Run start_job(const Job &job);

// Waits for the end of a job, and returns its outcome.
Outcome finish_job(Run &run);

// The real path of the program `name`. Searches the calling program's directory, the sbin directory next to that, PATH,
// the system's directories for programs, and the directories in `more`. "" when it is not installed.
std::string installed_program(const std::string &name, const std::vector<std::string> &more = {});

// The path, inside of a job, of a program of the machine that the job shows.
std::string inside_program(const std::string &path);

// ---- Services of tessera

inline constexpr const char *config_document = "/etc/config/config.json";
inline constexpr const char *facts_path = "/.facts.json";

// The router for which services run.
struct Router {
  std::string tessera;  // paths of the programs on the machine
  std::string runt;
  std::optional<std::string> config;  // content of config_document; none: there is no such file
  std::string facts;                  // the runtime store as a flat JSON object; "" for an empty store
  Tree files;                         // more files, relative to "/"; etc/hostname, if there, gives the host name
  std::string host_name = "router";
};

// Fills in a router with the data of this machine: the files that the services read (below /etc/config without
// config_document, /etc/ssl/certs/ca.crt, and the addresses of network devices), the files that they have written, and
// the host name. Does not set the configuration and the facts, which "runt dump" prints. Returns "", or why a file
// cannot be read.
std::string read_machine(Router &router);

// The service that writes the file at `path`, relative to "/"; null when no service does.
const char *service_of(const std::string &path);

// The job that runs tessera once for each row of arguments: {{"pam"}, {"network", "-p", "eth0"}}.
Job services_job(const Router &router, const std::vector<std::vector<std::string>> &services);

struct ServicesOutcome {
  std::string trouble;          // as Outcome::trouble
  std::string refused;          // the message of runt when it refuses the facts; then no service ran
  std::vector<Ended> services;  // one for each row of arguments
  Tree files;                   // as Outcome::files
  std::string facts_before;     // the runtime store before the services, as runt dumps it; "" without a store
  std::string facts_after;      // the runtime store after the services
  std::string facts_messages;   // why the store could not be read after the services; "" when it could
};

// The outcome of a job made by services_job.
ServicesOutcome services_outcome(Outcome outcome);

#endif
