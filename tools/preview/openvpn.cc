// Removes options from an OpenVPN file that have an effect as soon as OpenVPN reads it: they write and read other
// files, and load code.
#include <algorithm>
#include <cctype>

#include "preview/strings.h"
#include "preview/verify.h"
#include "util/strings.h"

namespace {

// The options to remove. A name that ends in "-" means all options that begin with it.
constexpr std::string_view left_out[] = {
    "cd",          "chroot",          "config",
    "daemon",      "engine",          "genkey",
    "help",        "inetd",           "iproute",
    "log",         "log-append",      "management",
    "management-", "mktun",           "mlock",
    "nice",        "pkcs11-",         "plugin",
    "providers",   "remap-usr1",      "replay-persist",
    "rmtun",       "service",         "setcon",
    "show-",       "status",          "syslog",
    "test-crypto", "tls-export-cert", "tmp-dir",
    "version",     "writepid",        "ifconfig-pool-persist",
};

// Options whose value is a command.
constexpr std::string_view commands[] = {
    "auth-user-pass-verify",
    "client-connect",
    "client-crresponse",
    "client-disconnect",
    "dns-updown",
    "down",
    "ipchange",
    "learn-address",
    "route-pre-down",
    "route-up",
    "tls-verify",
    "up",
    "tls-crypt-v2-verify",
};

// The programs that tessera itself writes into the files.
constexpr std::string_view own_programs[] = {"/lib/netifd/openvpn-up", "/lib/netifd/openvpn-down", "/bin/client_updown",
                                             "/bin/openvpn_password"};

template <typename List>
bool is_in(const List &list, std::string_view word) {
  return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

bool is_left_out(const std::string &name) {
  return std::any_of(std::begin(left_out), std::end(left_out), [&name](std::string_view row) {
    return row.back() == '-' ? name.compare(0, row.size(), row) == 0 : name == row;
  });
}

bool is_space(char c) {
  return isspace(static_cast<unsigned char>(c)) != 0;
}

// The words of a line as OpenVPN reads them, without "--" before the first word, and without "setenv opt".
std::vector<std::string> words_of(std::string_view line) {
  std::vector<std::string> words;
  bool in_word = false;
  char quote = '\0';
  for (size_t at = 0; at < line.size(); at++) {
    char c = line[at];
    bool is_escaped = c == '\\' && quote != '\'' && at + 1 < line.size();
    if (is_escaped) c = line[++at];
    if (!in_word && (is_space(c) && !is_escaped)) continue;
    if (!in_word && (c == '#' || c == ';')) break;
    if (!in_word) {
      words.emplace_back();
      in_word = true;
      quote = !is_escaped && (c == '"' || c == '\'') ? c : '\0';
      if (quote == '\0') words.back() += c;
    } else if (!is_escaped && (quote != '\0' ? c == quote : is_space(c))) {
      in_word = false;
      quote = '\0';
    } else {
      words.back() += c;
    }
  }
  if (!words.empty() && words[0].size() > 2 && words[0].compare(0, 2, "--") == 0) words[0].erase(0, 2);
  if (words.size() > 2 && words[0] == "setenv" && words[1] == "opt") words.erase(words.begin(), words.begin() + 2);
  return words;
}

std::string quoted(const std::string &word) {
  return " \"" + with_replaced(with_replaced(word, "\\", "\\\\"), "\"", "\\\"") + "\"";
}

// The state of reading a file line by line.
struct Reader {
  std::string file;
  std::string script;
  std::vector<Remark> &remarks;
  unsigned line = 0;
  std::string end_tag = {};  // of the block that the line is in; "" outside of blocks
  bool drops_block = false;

  void warn(const std::string &message) { remarks.push_back({file, line, message, true}); }
};

// The line inside of a block that OpenVPN gets.
std::string in_block(const std::string &line, Reader &reader) {
  auto start = std::find_if_not(line.begin(), line.end(), is_space);
  bool is_end = line.compare(static_cast<size_t>(start - line.begin()), reader.end_tag.size(), reader.end_tag) == 0;
  if (is_end) reader.end_tag.clear();
  return reader.drops_block ? "" : line;
}

// The line outside of blocks that OpenVPN gets: without a removed option, and with the script in place of a command.
std::string outside_block(const std::string &line, Reader &reader) {
  constexpr size_t longest_line = 255;  // OpenVPN refuses longer lines
  std::vector<std::string> words = words_of(line);
  if (words.empty() || line.size() > longest_line) return line;
  bool is_block = words.size() == 1 && words[0].size() > 2 && words[0].front() == '<' && words[0].back() == '>';
  std::string name = is_block ? words[0].substr(1, words[0].size() - 2) : words[0];
  reader.drops_block = is_left_out(name) || (is_block && is_in(commands, name));
  // Lines in <connection> are options, too.
  if (is_block && name != "connection" && name != "/connection") reader.end_tag = "</" + name + ">";
  if (reader.drops_block) {
    reader.warn("\"" + name + "\" is left out of the check: OpenVPN would act on it");
    return "";
  }
  if (!is_in(commands, name) || words.size() < 2) return line;
  std::string program = words[1].substr(0, words[1].find(' '));
  if (!is_in(own_programs, program)) reader.warn("the command of \"" + name + "\" is not checked");
  std::string result = name + " " + reader.script;
  for (size_t i = 2; i < words.size(); i++) result += quoted(words[i]);
  return result;
}

}  // namespace

std::string without_active_options(const std::string &file, const std::string &content, const std::string &script,
                                   std::vector<Remark> &remarks) {
  constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
  Reader reader{file, script, remarks};
  std::string result;
  for (std::string line : lines_of(content)) {
    reader.line++;
    if (reader.line == 1 && line.compare(0, byte_order_mark.size(), byte_order_mark) == 0) line.erase(0, 3);
    result += (reader.end_tag.empty() ? outside_block(line, reader) : in_block(line, reader)) + "\n";
  }
  return result;
}
