// Makes jobs that run tessera.
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "sandbox/sandbox.h"

namespace {

struct Owner {
  const char *files;  // pattern of paths, in which "*" also matches slashes
  const char *service;
};
constexpr Owner owners[] = {
    {"var/run/pam.conf", "pam"},
    {"var/run/radius.conf", "pam"},
    {"var/run/ldap.conf", "pam"},
    {"var/run/dnsmasq.conf", "dnsmasq"},
    {"var/run/hostnamesniffer.cfg", "dnsmasq"},
    {"var/run/ipsec.*", "ipsec"},
    {"var/run/uci/*", "network"},
    {"var/run/config_file_*", "network"},
    {"var/run/userpass_*", "network"},
    {"var/run/openvpn/*", "network"},
    {"var/run/serviceproviders-*", "network"},
};

// The directories of this machine with files that the services read or write; on a router they hold few files.
constexpr const char *machine_directories[] = {"etc/config", "etc/ssl/certs", "var/run", "sys/class/net"};

bool is_of_router(const std::string &path) {
  bool is_read = path == "etc/ssl/certs/ca.crt" ||
                 (fnmatch("etc/config/*", path.c_str(), 0) == 0 && "/" + path != config_document) ||
                 fnmatch("sys/class/net/*/address", path.c_str(), FNM_PATHNAME) == 0;
  return is_read || service_of(path) != nullptr;
}

// Adds the files below the machine's directory `path` that the services read or write. Returns "", or why a file cannot
// be read.
std::string add_directory(const std::string &path, Tree &files) {
  Directory directory(opendir(("/" + path).c_str()));
  if (directory == nullptr) return errno == ENOENT ? "" : "/" + path + ": " + strerror(errno);
  while (const dirent *entry = next_entry(directory.get())) {
    std::string name = path + "/" + entry->d_name;
    struct stat status;
    if (fstatat(dirfd(directory.get()), entry->d_name, &status, 0) != 0) continue;
    if (S_ISDIR(status.st_mode) && "/" + name != runtime_directory) {
      bool is_wanted = is_of_router(name + "/address") || is_of_router(name + "/");
      std::string trouble = is_wanted ? add_directory(name, files) : "";
      if (!trouble.empty()) return trouble;
    } else if (S_ISREG(status.st_mode) && is_of_router(name)) {
      Fd fd(openat(dirfd(directory.get()), entry->d_name, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
      File file = {status.st_mode, ""};
      if (!fd.is_open() || !read_all(fd.get(), &file.content)) return "/" + name + ": " + strerror(errno);
      files[name] = std::move(file);
    }
  }
  return "";
}

std::string first_word(const std::string &string) {
  return string.substr(0, string.find_first_of(" \t\r\n"));
}

}  // namespace

const char *service_of(const std::string &path) {
  const Owner *owner = std::find_if(std::begin(owners), std::end(owners),
                                    [&path](const Owner &row) { return fnmatch(row.files, path.c_str(), 0) == 0; });
  return owner != std::end(owners) ? owner->service : nullptr;
}

std::string read_machine(Router &router) {
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  router.host_name = name;
  for (const char *directory : machine_directories) {
    std::string trouble = add_directory(directory, router.files);
    if (!trouble.empty()) return trouble;
  }
  return "";
}

Job services_job(const Router &router, const std::vector<std::vector<std::string>> &services) {
  Job job;
  job.files = router.files;
  if (router.config) job.files[&config_document[1]] = {S_IFREG | 0600, *router.config};
  const std::string &name = content_of(router.files, "etc/hostname");
  job.host_name = router.files.count("etc/hostname") > 0 ? first_word(name) : router.host_name;
  if (!router.facts.empty()) {
    job.files[&facts_path[1]] = {S_IFREG | 0600, router.facts};
    job.preparations.push_back({{router.runt, "load", facts_path}});
  }
  const Command dump = {{router.runt, "dump"}, runtime_directory};
  job.preparations.push_back(dump);
  for (const std::vector<std::string> &arguments : services) {
    Command command = {{router.tessera}};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    job.commands.push_back(std::move(command));
  }
  job.commands.push_back(dump);
  return job;
}

ServicesOutcome services_outcome(Outcome outcome) {
  ServicesOutcome result;
  result.trouble = std::move(outcome.trouble);
  if (outcome.commands.empty()) {
    if (!outcome.preparations.empty()) result.refused = outcome.preparations.back().messages;
    return result;
  }
  result.facts_before = std::move(outcome.preparations.back().output);
  result.facts_after = std::move(outcome.commands.back().output);
  result.facts_messages = std::move(outcome.commands.back().messages);
  outcome.commands.pop_back();
  result.services = std::move(outcome.commands);
  result.files = std::move(outcome.files);
  return result;
}
