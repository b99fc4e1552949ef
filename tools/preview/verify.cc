#include "preview/verify.h"

#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "preview/fail.h"
#include "sandbox/sandbox.h"
#include "util/strings.h"

namespace {

constexpr const char *script = "/.script";

struct Files {
  const Tree &written;  // files that the services wrote
  const Tree &given;    // other files of the router
  const File &at(const Verdict &verdict) const { return written.at(verdict.file.substr(1)); }
};

bool matches(const char *pattern, const std::string &path) {
  return fnmatch(pattern, path.c_str(), 0) == 0;
}

bool starts_with(const std::string &string, std::string_view start) {
  return string.compare(0, start.size(), start) == 0;
}

unsigned number_at(const std::string &string, size_t at) {
  return static_cast<unsigned>(strtoul(string.c_str() + at, nullptr, 10));
}

// The number of the line that holds an offset.
unsigned line_of(std::string_view string, size_t position) {
  return 1 + static_cast<unsigned>(std::count(string.begin(), string.begin() + static_cast<ptrdiff_t>(position), '\n'));
}

// Runs the commands of a checker in a sandbox; there may be none.
std::vector<Ended> run_checker(Job &job) {
  if (job.commands.empty()) return {};
  job.rights = Rights::checker;
  job.host_name = "router";
  Run run = start_job(job);
  Outcome outcome = finish_job(run);
  if (!outcome.trouble.empty()) fail("cannot verify the files: %s", outcome.trouble.c_str());
  return outcome.commands;
}

// Standard output and standard error of a program.
std::string all_output(const Ended &ended) {
  return ended.output + ended.messages;
}

// Adds a remark when the checker failed and no remark says why: the first line that it printed.
void add_unless_explained(const std::string &file, const Ended &ended, std::vector<Remark> &remarks) {
  bool is_explained = std::any_of(remarks.begin(), remarks.end(), [](const Remark &one) { return !one.is_warning; });
  if (ended.status == 0 || is_explained) return;
  std::vector<std::string> lines = lines_of(all_output(ended));
  remarks.push_back({file, 0, lines.empty() ? "ends with status " + std::to_string(ended.status) : lines.front()});
}

// ---- dnsmasq: "dnsmasq: PROBLEM at line N of FILE"

std::vector<Remark> read_dnsmasq(const std::string &file, const Ended &ended) {
  std::vector<Remark> remarks;
  for (const std::string &line : lines_of(all_output(ended))) {
    size_t place = line.find(" at line ");
    if (place == std::string::npos || !starts_with(line, "dnsmasq: ")) continue;
    remarks.push_back({file, number_at(line, place + 9), line.substr(9, place - 9)});
  }
  add_unless_explained(file, ended, remarks);
  return remarks;
}

void check_dnsmasq(const std::string &program, std::vector<Verdict> &verdicts, const Files &files) {
  for (Verdict &verdict : verdicts) {
    Job job;
    job.files[verdict.file.substr(1)] = files.at(verdict);
    job.commands = {{{program, "--test", "-C", verdict.file}}};
    verdict.remarks = read_dnsmasq(verdict.file, run_checker(job)[0]);
  }
}

// ---- OpenVPN: "Options error: PROBLEM in FILE:LINE: OPTION (VERSION)"

// Whether a missing file may be on the router. A file below /var/run cannot: the services write those.
bool is_elsewhere(const std::string &problem) {
  size_t path = problem.find(" fails with '/");
  return path != std::string::npos && problem.find("No such file or directory", path) != std::string::npos &&
         problem.compare(path + 13, 9, "/var/run/") != 0;
}

void read_openvpn(const std::string &file, const Ended &ended, std::vector<Remark> &remarks) {
  for (const std::string &line : lines_of(all_output(ended))) {
    // Another line, "Please correct this error.", follows some errors.
    if (!starts_with(line, "Options error: ") || starts_with(line, "Options error: Please correct")) continue;
    size_t place = line.find(" in " + file + ":");
    bool has_place = place != std::string::npos;
    unsigned number = has_place ? number_at(line, place + file.size() + 5) : 0;
    size_t option = has_place ? line.find(": ", place + file.size()) : place;
    std::string what = option != std::string::npos ? line.substr(option, line.rfind(" (") - option) : "";
    remarks.push_back({file, number, line.substr(15, place - 15) + what, is_elsewhere(line)});
  }
  bool has_read_all =
      std::any_of(remarks.begin(), remarks.end(), [](const Remark &one) { return is_elsewhere(one.message); });
  if (!has_read_all) add_unless_explained(file, ended, remarks);
}

// Adds the files of `from` that the content of a file names.
void add_named(std::string_view content, const Tree &from, Tree &files) {
  for (const auto &[path, file] : from) {
    if (S_ISREG(file.mode) && content.find("/" + path) != std::string_view::npos) files.insert({path, file});
  }
}

// With --show-digests, OpenVPN checks the options and then ends before it uses them.
void check_openvpn(const std::string &program, std::vector<Verdict> &verdicts, const Files &files) {
  for (Verdict &verdict : verdicts) {
    Job job;
    std::string content = without_active_options(verdict.file, files.at(verdict).content, script, verdict.remarks);
    job.files[&script[1]] = {S_IFREG | 0755, ""};
    job.files[verdict.file.substr(1)] = {S_IFREG | 0600, content};
    add_named(content, files.written, job.files);
    add_named(content, files.given, job.files);
    job.commands = {{{program, "--config", verdict.file, "--show-digests"}}};
    read_openvpn(verdict.file, run_checker(job)[0], verdict.remarks);
  }
}

// ---- The IPsec starter

// The file and line of `setting` in the section of `connection`, without a message.
Remark place_in_connection(const Tree &tree, const std::string &connection, const std::string &setting) {
  for (const auto &[path, file] : tree) {
    if (!matches("*/ipsec.d/conf/*", path)) continue;
    size_t section = ("\n" + file.content).find("\nconn " + connection + "\n");
    if (section == std::string::npos) continue;
    size_t found = file.content.find("\n\t" + setting, section);
    if (found != std::string::npos) return {"/" + path, line_of(file.content, found + 1), ""};
  }
  return {"", 0, ""};
}

// Messages about the syntax have a file and line. Others name the setting, after a line with the connection.
std::vector<Remark> read_starter(const std::string &file, const Ended &ended, const Tree &tree) {
  // The device's daemon knows these keywords, the installed one may not.
  static constexpr std::string_view own_keywords[] = {"'if_id'", "'righthostsweight'", "'righthostssequence'"};
  constexpr std::string_view unknown = "# unknown keyword ";
  std::vector<Remark> remarks;
  std::string connection;
  auto add = [&](const std::string &message, const std::string &setting) {
    Remark remark = place_in_connection(tree, connection, setting);
    remarks.push_back({remark.file.empty() ? file : remark.file, remark.line, message});
  };
  for (const std::string &line : lines_of(all_output(ended))) {
    size_t colon = line.find(':');
    if (starts_with(line, "Loading conn '")) {
      connection = line.substr(14, line.size() - 15);
    } else if (line[0] == '/' && colon != std::string::npos && number_at(line, colon + 1) > 0) {
      size_t message = std::min(line.find(": ", colon), line.size() - 2);
      remarks.push_back({line.substr(0, colon), number_at(line, colon + 1), line.substr(message + 2)});
    } else if (starts_with(line, "no files found matching")) {
      remarks.push_back({file, 0, line});
    } else if (starts_with(line, unknown)) {
      std::string keyword = line.substr(unknown.size());
      bool is_own = std::find(std::begin(own_keywords), std::end(own_keywords), keyword) != std::end(own_keywords);
      if (!is_own && keyword.size() > 2) add(line.substr(2), keyword.substr(1, keyword.size() - 2) + "=");
    } else if (starts_with(line, "# bad ") && line.find(": ") != std::string::npos) {
      add(line.substr(2), line.substr(line.find(": ") + 2));
    }
  }
  add_unless_explained(file, ended, remarks);
  return remarks;
}

void check_starter(const std::string &program, std::vector<Verdict> &verdicts, const Files &files) {
  for (Verdict &verdict : verdicts) {
    Job job;
    for (const auto &[path, file] : files.written) {
      if (matches("var/run/ipsec.*", path)) job.files[path] = file;
    }
    job.commands = {{{program, "--conf", verdict.file, "--conftest", "--debug"}}};
    verdict.remarks = read_starter(verdict.file, run_checker(job)[0], files.written);
  }
}

// ---- openssl

// Files for openssl to read: whole files, or blocks between a <tag> and a </tag>.
struct PemKind {
  const char *files;  // pattern of the paths
  const char *tag;    // null for whole files
  const char *command;
  const char *option;
  const char *message;
};
constexpr const char *no_key = "this is not a private key in PEM";
constexpr const char *no_certificate = "this is not a certificate in PEM";
constexpr PemKind pem_kinds[] = {
    {"*/ipsec.d/private/*.rsa", nullptr, "pkey", "-noout", no_key},
    {"*/ipsec.d/certs/*pub", nullptr, "pkey", "-pubin", "this is not a public key in PEM"},
    {"*/ipsec.d/certs/*cert", nullptr, "x509", "-noout", no_certificate},
    {"*/ipsec.d/cacerts/*", nullptr, "x509", "-noout", no_certificate},
    {"*/ipsec.d/crls/*", nullptr, "crl", "-noout", "this is not a revocation list in PEM"},
    {"*/config_file_*", "ca", "x509", "-noout", no_certificate},
    {"*/config_file_*", "cert", "x509", "-noout", no_certificate},
    {"*/config_file_*", "key", "pkey", "-noout", no_key},
    {"*/config_file_*", "dh", "dhparam", "-noout", "these are not Diffie-Hellman parameters in PEM"},
};

// A part of a file for openssl to read, and the remark to add when it cannot.
struct PemPart {
  std::vector<Remark> *remarks;
  Remark refusal;
};

void ask_openssl(const std::string &program, const PemKind &kind, const std::string &content, Job &job) {
  std::string name = std::to_string(job.files.size()) + ".pem";
  job.files[name] = {S_IFREG | 0600, content};
  job.commands.push_back({{program, kind.command, kind.option, "-in", "/" + name, "-out", "/dev/null"}});
}

// Adds the parts of a file that openssl has to read.
void add_parts(const std::string &program, const std::string &content, Verdict &verdict, Job &job,
               std::vector<PemPart> &parts) {
  auto add = [&](const PemKind &kind, const std::string &part, unsigned line) {
    // Only the daemon can check an encrypted key, because it has the passphrase.
    if (part.find("ENCRYPTED") != std::string::npos) return;
    ask_openssl(program, kind, part, job);
    parts.push_back({&verdict.remarks, {verdict.file, line, kind.message}});
  };
  std::string lines = "\n" + content;
  for (const PemKind &kind : pem_kinds) {
    if (!matches(kind.files, verdict.file)) continue;
    if (kind.tag == nullptr) {
      add(kind, content, 0);
      return;
    }
    std::string start = std::string("\n<") + kind.tag + ">\n";
    std::string end = std::string("</") + kind.tag + ">";
    for (size_t found = lines.find(start); found != std::string::npos; found = lines.find(start, found + 1)) {
      size_t first = found + start.size();
      add(kind, lines.substr(first, lines.find(end, first) - first), line_of(lines, found));
    }
  }
}

void check_openssl(const std::string &program, std::vector<Verdict> &verdicts, const Files &files) {
  Job job;
  std::vector<PemPart> parts;
  for (Verdict &verdict : verdicts) add_parts(program, files.at(verdict).content, verdict, job, parts);
  std::vector<Ended> answers = run_checker(job);
  for (size_t i = 0; i < answers.size(); i++) {
    if (answers[i].status != 0) parts[i].remarks->push_back(parts[i].refusal);
  }
}

// ---- UCI

void check_uci(const std::string & /*program*/, std::vector<Verdict> &verdicts, const Files &files) {
  for (Verdict &verdict : verdicts) verdict.remarks = read_uci(verdict.file, files.at(verdict).content);
}

// ---- All

// A checker and its files. When `program` is null, the checker is a function of this program.
struct Checker {
  const char *name;
  const char *program;
  std::initializer_list<const char *> files;  // patterns of paths in a Tree
  void (*check)(const std::string &program, std::vector<Verdict> &verdicts, const Files &files);
};
const Checker checkers[] = {
    {"dnsmasq", "dnsmasq", {"var/run/dnsmasq.conf"}, check_dnsmasq},
    {"IPsec starter", "starter", {"var/run/ipsec.conf"}, check_starter},
    {"OpenVPN", "openvpn", {"var/run/config_file_*"}, check_openvpn},
    {"UCI reader", nullptr, {"var/run/uci/network"}, check_uci},
    {"openssl",
     "openssl",
     {"var/run/ipsec.d/private/*", "var/run/ipsec.d/*certs/*", "var/run/ipsec.d/crls/*", "var/run/config_file_*"},
     check_openssl},
};

std::vector<Verdict> check_files(const Checker &checker, const Files &files) {
  std::string program;
  if (checker.program != nullptr) {
    program = installed_program(checker.program, {"/usr/lib/ipsec", "/usr/libexec/ipsec", "/usr/libexec/strongswan"});
  }
  bool is_installed = checker.program == nullptr || !program.empty();
  std::vector<Verdict> verdicts;
  for (const auto &[path, file] : files.written) {
    // Links lead to files of other programs.
    bool is_checked =
        S_ISREG(file.mode) && std::any_of(checker.files.begin(), checker.files.end(),
                                          [&name = path](const char *pattern) { return matches(pattern, name); });
    if (is_checked) verdicts.push_back({checker.name, "/" + path, is_installed, {}});
  }
  if (is_installed) checker.check(program, verdicts, files);
  return verdicts;
}

}  // namespace

std::vector<Verdict> verify_files(const Tree &written, const Tree &given) {
  std::vector<Verdict> all;
  for (const Checker &checker : checkers) {
    for (Verdict &verdict : check_files(checker, {written, given})) all.push_back(std::move(verdict));
  }
  std::stable_sort(all.begin(), all.end(),
                   [](const Verdict &one, const Verdict &other) { return one.file < other.file; });
  return all;
}

bool is_refused(const Verdict &verdict) {
  return std::any_of(verdict.remarks.begin(), verdict.remarks.end(),
                     [](const Remark &remark) { return !remark.is_warning; });
}
