// Runs programs in private. They see the machine's programs and libraries, the files that they are given and nothing
// else of the machine; what they write is handed back and changes nothing.
//
// A job is one process tree with namespaces of its own and a root directory in memory. It costs some milliseconds, and
// several run side by side: start them all, then finish each. Root is not needed where user namespaces are allowed.
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

// What programs may do.
enum class Rights {
  service,  // reads all of the machine's programs and its network; is root of a user namespace of its own
  checker,  // reads the machine's libraries and its own program; no capabilities, no network, no environment
};

struct Command {
  std::vector<std::string> arguments;  // the first is the path of a program on the machine
  const char *only_with = nullptr;     // the command is left out unless this path is there
};

// What to run, and where.
struct Job {
  Tree files;                         // relative to "/"
  std::vector<std::string> programs;  // more programs of the machine, which the commands start: see inside_program
  std::vector<Command> preparations;  // run first; what they write counts as given. One that fails ends the job
  std::vector<Command> commands;      // run one after the other, whatever their status
  std::string host_name;
  Rights rights = Rights::service;
};

// How a command ended.
struct Ended {
  int status = 0;  // its exit status, or 128 + N when signal N ended it; 0 when it was left out
  std::string output;
  std::string messages;  // its standard error
};

// The name, in a Tree, of the list of files that a job removed: a path from "/" in each line.
inline constexpr const char *removed_list = "removed";

// Where the runtime store is; never part of an outcome's files.
inline constexpr const char *runtime_directory = "/var/run/runt";

struct Outcome {
  std::string trouble;              // why the job was not run to its end; "" when it was
  std::vector<Ended> preparations;  // up to the first that failed
  std::vector<Ended> commands;      // all of them; none after a failed preparation
  Tree files;  // new or changed since the preparations, with the directories on the way, and removed_list if need be
};

// A job that runs. To destroy it kills what still runs of it.
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

// Starts a job, which has to stay where it is until it is finished.
Run start_job(const Job &job);

// Waits for the end of a job.
Outcome finish_job(Run &run);

// The real path of the program `name`: beside the calling program, in the sbin directory next to its bin, in PATH, in
// the system's directories for programs, or in one of `more` directories; "" when it is not installed.
std::string installed_program(const std::string &name, const std::vector<std::string> &more = {});

// The path by which a command reaches a program of the machine that the job has shown to it.
std::string inside_program(const std::string &path);

// ---- Services of tessera

inline constexpr const char *config_document = "/etc/config/config.json";
inline constexpr const char *facts_path = "/.facts.json";

// The router that services run on.
struct Router {
  std::string tessera;  // paths of the programs on the machine
  std::string runt;
  std::optional<std::string> config;  // content of config_document; without it there is no such file
  std::string facts;                  // the runtime store as a flat JSON object; "" for an empty store
  Tree files;                         // more files, relative to "/"; an etc/hostname among them gives the host name
  std::string host_name = "router";
};

// Adds what this machine holds for the services as a router: the files that they read (below /etc/config, but not
// config_document, and the addresses of network devices), those that they have written, and the host name.
// Configuration and facts are left to the caller; "runt dump" prints the facts. Returns "", or why a file cannot be
// read.
std::string read_machine(Router &router);

// The service that writes the file at `path`, relative to "/"; null when none does.
const char *service_of(const std::string &path);

// The job that runs tessera once for each row of arguments: {{"pam"}, {"network", "-p", "eth0"}}.
Job services_job(const Router &router, const std::vector<std::vector<std::string>> &services);

struct ServicesOutcome {
  std::string trouble;          // as Outcome::trouble
  std::string refused;          // what runt says of facts that it refuses (facts_path stands for them): nothing ran
  std::vector<Ended> services;  // a row for each row of arguments
  Tree files;                   // as Outcome::files
  std::string facts_before;     // the runtime store as runt dumps it; "" without a store
  std::string facts_after;      // the same after the services; facts_messages tells why it cannot be read
  std::string facts_messages;
};
ServicesOutcome services_outcome(Outcome outcome);

#endif
