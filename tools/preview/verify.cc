#include "preview/verify.h"

#include <fnmatch.h>
#include <sched.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "preview/child.h"
#include "preview/inside.h"
#include "preview/readers.h"

namespace {

// The lines of a program's output, without their ends.
std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  for (size_t start = 0; start < text.size();) {
    size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

bool starts_with(const std::string &text, std::string_view start) {
  return text.compare(0, start.size(), start) == 0;
}

unsigned number_at(const std::string &text, size_t at) {
  return static_cast<unsigned>(strtoul(text.c_str() + at, nullptr, 10));
}

// Where a text stands in a text, as a line number.
unsigned line_of(std::string_view text, size_t position) {
  return 1 + static_cast<unsigned>(std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(position), '\n'));
}

// A checker that fails says why, whatever it says.
void add_unless_explained(const std::string &file, int status, const std::string &output,
                          std::vector<Finding> &findings) {
  if (status == 0 || !findings.empty()) return;
  std::vector<std::string> lines = lines_of(output);
  findings.push_back({file, 0, lines.empty() ? "ends with status " + std::to_string(status) : lines.front()});
}

// "dnsmasq: PROBLEM at line N of FILE"
std::vector<Finding> run_dnsmasq(const std::string &program, const std::string &file, const Tree & /*tree*/) {
  std::string output;
  int status = capture_program({program, "--test", "-C", file}, output, &output);
  std::vector<Finding> findings;
  for (const std::string &line : lines_of(output)) {
    size_t place = line.find(" at line ");
    if (place == std::string::npos || !starts_with(line, "dnsmasq: ")) continue;
    findings.push_back({file, number_at(line, place + 9), line.substr(9, place - 9)});
  }
  add_unless_explained(file, status, output, findings);
  return findings;
}

// What OpenVPN says of a file that it misses, around the path.
struct Missing {
  const char *before;
  const char *after;
  mode_t type;
};
constexpr Missing missing[] = {
    {" script fails with '", "': No such file or directory", S_IFREG},
    {"Error opening configuration file: ", "", S_IFREG},
    {"cd to '", "' failed: No such file or directory", S_IFDIR},
};

// Puts something in the place of the file that the output names; false when it names none, or that cannot be done.
bool supply_missing(const std::string &output) {
  for (const std::string &line : lines_of(output)) {
    for (const Missing &row : missing) {
      size_t start = line.find(row.before);
      if (start == std::string::npos) continue;
      start += strlen(row.before);
      size_t end = *row.after != '\0' ? line.rfind(row.after) : line.size();
      if (end != std::string::npos && end > start) return place_stand_in(line.substr(start, end - start), row.type);
    }
  }
  return false;
}

// "Options error: PROBLEM in FILE:LINE: OPTION (VERSION)". To list the digests comes after the check of the options,
// and before anything is done with them. Scripts that are missing are no trouble, they are on the router; but OpenVPN
// reads no further than to the first one.
std::vector<Finding> run_openvpn(const std::string &program, const std::string &file, const Tree & /*tree*/) {
  constexpr int most_missing = 100;
  std::string output;
  int status;
  for (int supplied = 0;; supplied++) {
    output.clear();
    status = capture_program({program, "--config", file, "--show-digests"}, output, &output);
    if (status == 0 || supplied == most_missing || !supply_missing(output)) break;
  }
  std::vector<Finding> findings;
  if (status == 0) return findings;
  for (const std::string &line : lines_of(output)) {
    // "Please correct this error." follows some.
    if (!starts_with(line, "Options error: ") || starts_with(line, "Options error: Please correct")) continue;
    size_t place = line.find(" in " + file + ":");
    bool has_place = place != std::string::npos;
    unsigned number = has_place ? number_at(line, place + file.size() + 5) : 0;
    size_t option = has_place ? line.find(": ", place + file.size()) : place;
    std::string what = option != std::string::npos ? line.substr(option, line.rfind(" (") - option) : "";
    findings.push_back({file, number, line.substr(15, place - 15) + what});
  }
  add_unless_explained(file, status, output, findings);
  return findings;
}

// Where SETTING stands in the section of `connection`.
Finding place_in_connection(const Tree &tree, const std::string &connection, const std::string &setting) {
  for (const auto &[path, file] : tree) {
    if (fnmatch("*/ipsec.d/conf/*", path.c_str(), 0) != 0) continue;
    size_t section = ("\n" + file.content).find("\nconn " + connection + "\n");
    if (section == std::string::npos) continue;
    size_t found = file.content.find("\n\t" + setting, section);
    if (found != std::string::npos) return {"/" + path, line_of(file.content, found + 1), ""};
  }
  return {"", 0, ""};
}

// Messages with a place are of the syntax; others name the setting, after the connection that is being loaded.
std::vector<Finding> run_starter(const std::string &program, const std::string &file, const Tree &tree) {
  // The device's daemon knows these, others may not.
  static constexpr std::string_view own_keywords[] = {"'if_id'", "'righthostsweight'", "'righthostssequence'"};
  constexpr std::string_view unknown = "# unknown keyword ";
  std::string output;
  int status = capture_program({program, "--conf", file, "--conftest", "--debug"}, output, &output);
  std::vector<Finding> findings;
  std::string connection;
  for (const std::string &line : lines_of(output)) {
    size_t colon = line.find(':');
    if (starts_with(line, "Loading conn '")) {
      connection = line.substr(14, line.size() - 15);
    } else if (line[0] == '/' && colon != std::string::npos && number_at(line, colon + 1) > 0) {
      size_t message = line.find(": ", colon);
      findings.push_back({line.substr(0, colon), number_at(line, colon + 1), line.substr(message + 2)});
    } else if (starts_with(line, "no files found matching")) {
      findings.push_back({file, 0, line});
    } else if (starts_with(line, unknown)) {
      std::string keyword = line.substr(unknown.size());
      if (std::find(std::begin(own_keywords), std::end(own_keywords), keyword) != std::end(own_keywords)) continue;
      Finding finding = place_in_connection(tree, connection, keyword.substr(1, keyword.size() - 2) + "=");
      findings.push_back({finding.file.empty() ? file : finding.file, finding.line, line.substr(2)});
    } else if (starts_with(line, "# bad ") && line.find(": ") != std::string::npos) {
      Finding finding = place_in_connection(tree, connection, line.substr(line.find(": ") + 2));
      findings.push_back({finding.file.empty() ? file : finding.file, finding.line, line.substr(2)});
    }
  }
  add_unless_explained(file, status, output, findings);
  return findings;
}

// What `openssl` is asked to read, by the name of a file or of a block in one.
struct PemKind {
  const char *files;  // a pattern; of a block the name of its tags
  const char *command;
  const char *option;
  const char *message;
};
constexpr PemKind pem_files[] = {
    {"*/private/*.rsa", "pkey", "-noout", "this is no private key in PEM"},
    {"*/certs/*pub", "pkey", "-pubin", "this is no public key in PEM"},
    {"*/certs/*cert", "x509", "-noout", "this is no certificate in PEM"},
    {"*/cacerts/*", "x509", "-noout", "this is no certificate in PEM"},
    {"*/crls/*", "crl", "-noout", "this is no revocation list in PEM"},
};
constexpr PemKind pem_blocks[] = {
    {"ca", "x509", "-noout", "this is no certificate in PEM"},
    {"cert", "x509", "-noout", "this is no certificate in PEM"},
    {"key", "pkey", "-noout", "this is no private key in PEM"},
    {"dh", "dhparam", "-noout", "these are no Diffie-Hellman parameters in PEM"},
};

bool is_read_as(const std::string &program, const PemKind &kind, const std::string &content) {
  // Whether it fits its passphrase only the daemon can tell.
  if (content.find("ENCRYPTED") != std::string::npos) return true;
  Fd file = memory_file(content);
  std::string output;
  return capture_program({program, kind.command, kind.option, "-in", "/proc/self/fd/" + std::to_string(file.get()),
                          "-out", "/dev/null"},
                         output, &output) == 0;
}

std::vector<Finding> run_openssl(const std::string &program, const std::string &file, const Tree &tree) {
  std::vector<Finding> findings;
  const std::string &content = tree.at(file.substr(1)).content;
  for (const PemKind &kind : pem_files) {
    if (fnmatch(kind.files, file.c_str(), 0) != 0) continue;
    if (!is_read_as(program, kind, content)) findings.push_back({file, 0, kind.message});
    break;
  }
  return findings;
}

std::vector<Finding> run_openssl_on_blocks(const std::string &program, const std::string &file, const Tree &tree) {
  std::vector<Finding> findings;
  std::string text = "\n" + tree.at(file.substr(1)).content;
  for (const PemKind &kind : pem_blocks) {
    std::string start = std::string("\n<") + kind.files + ">\n";
    std::string end = std::string("</") + kind.files + ">";
    for (size_t found = text.find(start); found != std::string::npos; found = text.find(start, found + 1)) {
      size_t first = found + start.size();
      std::string block = text.substr(first, text.find(end, first) - first);
      if (!is_read_as(program, kind, block)) findings.push_back({file, line_of(text, found), kind.message});
    }
  }
  return findings;
}

// Reads with one of the readers here.
template <std::vector<Finding> (*reader)(const std::string &, std::string_view)>
std::vector<Finding> read_here(const std::string & /*program*/, const std::string &file, const Tree &tree) {
  return reader(file, tree.at(file.substr(1)).content);
}

// Who checks which files. Without a program the checker is here.
struct Checker {
  const char *files;  // a pattern of the paths in a Tree
  const char *name;
  const char *program;
  std::vector<Finding> (*check)(const std::string &program, const std::string &file, const Tree &tree);
};
constexpr Checker checkers[] = {
    {"var/run/dnsmasq.conf", "dnsmasq", "dnsmasq", run_dnsmasq},
    {"var/run/ipsec.conf", "IPsec starter", "starter", run_starter},
    {"var/run/ipsec.secrets", "IPsec secrets reader", nullptr, read_here<read_secrets>},
    {"var/run/ipsec.d/secrets/*", "IPsec secrets reader", nullptr, read_here<read_secrets>},
    {"var/run/ipsec.d/private/*", "openssl", "openssl", run_openssl},
    {"var/run/ipsec.d/*certs/*", "openssl", "openssl", run_openssl},
    {"var/run/ipsec.d/crls/*", "openssl", "openssl", run_openssl},
    {"var/run/config_file_*", "OpenVPN", "openvpn", run_openvpn},
    {"var/run/config_file_*", "openssl", "openssl", run_openssl_on_blocks},
    {"var/run/uci/network", "UCI reader", nullptr, read_here<read_uci>},
    {"var/run/pam.conf", "PAM reader", nullptr, read_here<read_pam>},
    {"var/run/radius.conf", "RADIUS reader", nullptr, read_here<read_radius>},
    {nullptr, nullptr, nullptr, nullptr},
};

constexpr const char *program_directories[] = {
    "/usr/sbin", "/usr/bin", "/usr/lib/ipsec", "/usr/libexec/ipsec", "/usr/libexec/strongswan", nullptr,
};

}  // namespace

std::vector<Verdict> verify_files(const Tree &tree) {
  // Some checkers look names up: from here on there is no network.
  if (unshare(CLONE_NEWNET) != 0) fputs("tessera-preview: the checkers see the machine's network\n", stderr);
  std::vector<Verdict> verdicts;
  for (const auto &[path, file] : tree) {
    // What a link leads to is another program's.
    if (!S_ISREG(file.mode)) continue;
    for (const Checker *checker = checkers; checker->files != nullptr; checker++) {
      if (fnmatch(checker->files, path.c_str(), 0) != 0) continue;
      std::string program = checker->program != nullptr ? find_installed(checker->program, program_directories) : "";
      Verdict verdict{checker->name, "/" + path, checker->program == nullptr || !program.empty(), {}};
      if (verdict.is_installed) verdict.findings = checker->check(program, verdict.file, tree);
      verdicts.push_back(std::move(verdict));
    }
  }
  return verdicts;
}

bool are_accepted(const std::vector<Verdict> &verdicts) {
  return std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict &verdict) { return verdict.findings.empty(); });
}
