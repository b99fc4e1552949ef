// Fuzz target: the mapper SERVICE on valid configurations and runtime facts, on a private file system. Checks the files
// and their modes, that no value adds or removes a line, that the lines of the UCI file are correct, that null strings
// read as empty strings, and that no secret is in a public place.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fts.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "config/report.h"
#include "fuzz/generator.h"
#include "fuzz/stand_ins.h"
#include "ipsec/base64.h"
#include "main/mappers.h"
#include "platform/runt.h"

#define MAPPER_OF(service) map_##service
#define MAPPER(service) MAPPER_OF(service)
#define NAME_OF(service) #service
#define NAME(service) NAME_OF(service)

namespace {

const std::string_view service = NAME(SERVICE);

enum class Lines { several, one, uci };  // a value may have several lines; one line; one line in the form of UCI

struct FileRule {
  const char *service;
  const char *pattern;
  Lines lines;
  mode_t mode = 0600;
};
const FileRule file_rules[] = {
    {"dnsmasq", "dnsmasq.conf", Lines::one, 0644},
    {"dnsmasq", "hostnamesniffer.cfg", Lines::one, 0644},
    {"pam", "*.conf", Lines::one},
    {"ipsec", "ipsec.conf", Lines::one},
    {"ipsec", "ipsec.secrets", Lines::one},
    {"ipsec", "ipsec.d/conf/*.conf", Lines::one},
    {"ipsec", "ipsec.d/secrets/*.secret", Lines::one},
    {"ipsec", "ipsec.d/private/*.rsa", Lines::several},
    {"ipsec", "ipsec.d/certs/*", Lines::several},
    {"ipsec", "ipsec.d/cacerts/*.cacert", Lines::several},
    {"ipsec", "ipsec.d/crls/*.crl", Lines::several},
    {"network", "uci/network", Lines::uci},
    {"network", "ipsec.d/conf/*.conf", Lines::several},
    {"network", "serviceproviders-*.txt", Lines::one},
    {"network", "userpass_*.cfg", Lines::one},
    {"network", "config_file_*", Lines::several},
    {"network", "openvpn/*.ovpn", Lines::several},
    {nullptr, nullptr, Lines::one},
};
// clang-format off
const std::string_view directories[] = {
    "", "uci", "runt", "openvpn", "ipsec.d", "ipsec.d/conf", "ipsec.d/secrets", "ipsec.d/private", "ipsec.d/certs",
    "ipsec.d/cacerts", "ipsec.d/acerts", "ipsec.d/aacerts", "ipsec.d/ocspcerts", "ipsec.d/crls"};
// clang-format on

void write_file(const std::string &path, std::string_view text) {
  FILE *file = fopen(path.c_str(), "we");
  if (file == nullptr || fwrite(text.data(), 1, text.size(), file) != text.size() || fclose(file) != 0)
    wrong("cannot write", path);
  chmod(path.c_str(), 0600);
}

std::string read_file(const char *path) {
  std::string text;
  FILE *file = fopen(path, "re");
  if (file == nullptr) wrong("cannot read", path);
  char buffer[8192];
  while (size_t length = fread(buffer, 1, sizeof buffer, file)) text.append(buffer, length);
  fclose(file);
  return text;
}

void make_directories(std::initializer_list<const char *> paths) {
  for (const char *path : paths)
    if (mkdir(path, 0755) != 0 && errno != EEXIST) wrong("cannot make", path);
}

// Counts the entries of a directory, which stays open for the next count.
struct WatchedDirectory {
  const char *path;
  DIR *directory = nullptr;
  size_t at_start = 0;

  size_t count() {
    if (directory == nullptr) directory = opendir(path);
    rewinddir(directory);
    size_t entries = 0;
    while (readdir(directory) != nullptr) entries++;
    return entries;
  }
};
WatchedDirectory watched[] = {{"/"}, {"/var"}, {"/etc"}, {"/etc/config"}};

// Mounts private file systems over everything that a mapper reads and writes.
void enter_sandbox() {
  unsigned user = geteuid();
  if (unshare(CLONE_NEWNS | (user != 0 ? CLONE_NEWUSER : 0)) != 0) wrong("unshare", strerror(errno));
  if (user != 0) write_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1\n");
  mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr);
  base64_encode("", 0);  // loads its library while /etc is still visible
  for (const char *path : {"/var", "/etc", "/sys"})
    if (mount("tmpfs", path, "tmpfs", 0, "mode=0755") != 0) wrong("cannot mount on", path);
  make_directories({"/var/run", "/var/run/uci", "/sys/class", "/sys/class/net", "/sys/class/net/eth0", "/etc/config",
                    "/etc/ssl", "/etc/ssl/certs", "/etc/config/scep_client", "/etc/config/scep_client/a",
                    "/etc/config/scep_client/b"});
  write_file("/sys/class/net/eth0/address", "02:00:00:00:00:01\n");
  write_file("/etc/ssl/certs/ca.crt", "-----BEGIN CERTIFICATE-----\n");
  for (const char *file : {"scep_cert.pem", "scep_key.pem", "scep_crl.pem", "scep_peer_ca.pem"})
    write_file(std::string("/etc/config/scep_client/a/") + file, "");
  for (const char *file : {"scep_cert.pem", "scep_key.pem", "scep_peer_ca.pem-1", "scep_peer_ca.pem-2"})
    write_file(std::string("/etc/config/scep_client/b/") + file, "");
  for (WatchedDirectory &place : watched) place.at_start = place.count();
  if (freopen("/dev/null", "w", stdout) == nullptr) wrong("cannot silence", "stdout");
}

// Whether the string is one value in double quotes, with the escapes that a reader expects.
bool is_quoted(std::string_view text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return false;
  text = text.substr(1, text.size() - 2);
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] == '"') return false;
    if (text[i] == '\\' && ++i == text.size()) return false;
  }
  return true;
}

bool take(std::string_view &text, std::string_view head) {
  if (!text.starts_with(head)) return false;
  text.remove_prefix(head.size());
  return true;
}

// Whether it is a line of a UCI file. The name of a section may be any string: device names are written unchanged.
bool is_uci_line(std::string_view line) {
  if (line.empty() || line == "config route" || line == "config device" || line == "config globals globals")
    return true;
  if (take(line, "config interface ")) return !line.empty();
  if (!take(line, "\toption ") && !take(line, "\tlist ")) return false;
  size_t name = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_");
  if (name == line.npos || line[name] != ' ') return false;
  // This value is written without escapes; a quote in it stays in its line, and the checker reports it.
  if (line.substr(0, name) == "ip6addr") return line.size() > name + 2 && line[name + 1] == '"' && line.back() == '"';
  line.remove_prefix(name + 1);
  if (is_quoted(line)) return true;
  take(line, "-");
  return !line.empty() && line.find_first_not_of("0123456789") == line.npos;
}

// Checks and counts the lines of a file in which every value has one line.
size_t check_lines(const std::string &path, std::string_view text, Lines lines) {
  if (!text.empty() && text.back() != '\n') wrong("the last line is cut", path);
  size_t count = 0;
  for (; !text.empty(); count++) {
    std::string_view line = text.substr(0, text.find('\n'));
    if (lines == Lines::uci && !is_uci_line(line)) wrong("no line of a UCI file", line);
    text.remove_prefix(line.size() + 1);
  }
  return count;
}

using LineCounts = std::map<std::string, size_t>;

void check_file(const FTSENT *entry, const std::string &path, LineCounts &counts) {
  const FileRule *rule = file_rules;
  while (rule->service != nullptr &&
         (service != rule->service || fnmatch(rule->pattern, path.c_str(), FNM_PATHNAME | FNM_PERIOD) != 0))
    rule++;
  if (rule->service == nullptr) wrong("a file that should not be there", path);
  if (S_ISLNK(entry->fts_statp->st_mode)) return;
  if ((entry->fts_statp->st_mode & 07777) != rule->mode) wrong("wrong mode", path);
  std::string text = rule->lines != Lines::several ? read_file(entry->fts_accpath) : "";
  if (rule->mode != 0600) expect_no_secret("a public file shows a secret", text);
  if (trouble.null_strings && text.find("(null)") != text.npos) wrong("null is written", path);
  counts[path] = check_lines(path, text, rule->lines);
}

// Checks all files below /var/run and removes them.
LineCounts take_files() {
  LineCounts counts;
  char run[] = "/var/run";
  char *const roots[] = {run, nullptr};
  FTS *walk = fts_open(roots, FTS_PHYSICAL | FTS_NOCHDIR, nullptr);
  while (FTSENT *entry = fts_read(walk)) {
    if (entry->fts_info == FTS_D) continue;
    std::string path = entry->fts_path + std::min<size_t>(entry->fts_pathlen, sizeof run);
    if (entry->fts_info == FTS_DP) {
      if (std::find(std::begin(directories), std::end(directories), path) == std::end(directories))
        wrong("a directory that should not be there", path);
      if (!path.empty() && path != "uci") rmdir(entry->fts_accpath);
    } else {
      if (!path.starts_with("runt/")) check_file(entry, path, counts);
      unlink(entry->fts_accpath);
    }
  }
  fts_close(walk);
  for (WatchedDirectory &place : watched)
    if (place.count() != place.at_start) wrong("a file that should not be there is in", place.path);
  return counts;
}

void set_facts(const Case &made, std::string Variants::*variant) {
  if (made.facts.empty()) return;
  runt_init();
  runt_edit_start();
  for (const auto &[key, value] : made.facts) runt_set_string_pathf((value.*variant).c_str(), "%s", key.c_str());
  if (runt_edit_commit() != 0) wrong("the facts cannot be stored", made.facts[0].first);
  runt_deinit();
}

void run_network_diagnostic(const ConfigNode *root, unsigned choice) {
  char dump[] = "-p";
  char device[] = "--device";
  char path[] = "network.device.eth0";
  char *const shown[] = {device, path, nullptr};
  char *const dumped[] = {dump, nullptr};
  if (choice == 0) map_network(root, 1, const_cast<char **>(dumped));
  if (choice == 1) map_network(root, 2, const_cast<char **>(shown));
}

LineCounts run(const Case &made, std::string Variants::*variant, Trouble in_run = {}) {
  trouble = {};
  set_facts(made, variant);
  static const char *const identities[] = {nullptr, "0123456789abcdef", "0123456789abcdefg", "$(reboot) \"\n"};
  static const char identity_path[] = "/etc/config/web-filter-id";
  if ((made.options & 3) != 0) write_file(identity_path, identities[made.options & 3]);
  static const char *const outputs[] = {"C=US, O=x, CN=y\n", "d41d8cd98f00b204e9800998ecf8427e  -\n", "", "\n\n"};
  program_outcome = {(made.options & 12) != 12, outputs[made.options >> 2 & 3]};
  if (service == "network") {
    make_directories({"/var/run/ipsec.d", "/var/run/ipsec.d/conf"});
    for (const char *name : {"lan", "a", "tun1"})
      write_file(std::string("/var/run/ipsec.d/conf/") + name + ".conf", "");
  }
  document_text = made.document.*variant;
  const ConfigNode *root = config_load_file("fuzz");
  if (root == nullptr) wrong("the document is not valid", document_text);
  if (service == "network" && (made.options & 0xf0) == 0xf0) run_network_diagnostic(root, made.options & 1);
  char *const arguments[] = {nullptr};
  trouble = in_run;
  MAPPER(SERVICE)(root, 0, const_cast<char **>(arguments));
  config_free(root);
  if ((made.options & 3) != 0) unlink(identity_path);
  return take_files();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  secret_mark = "S3CR3T";
  lines_decide = service == "network";
  umask(022);
  enter_sandbox();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  Case made = generate(bytes, size);
  LineCounts counts = run(made, &Variants::hostile);
  if (run(made, &Variants::tame, {.null_strings = true}) != counts)
    wrong("values make lines more or less", made.document.hostile);
  if (size % 4 == 0) run(made, &Variants::hostile, {.no_model = true});
  if (size % 4 == 1) run(made, &Variants::hostile, {.no_store = true});
  return 0;
}
