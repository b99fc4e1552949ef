#include "preview/readers.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace {

constexpr const char *blanks = " \t\r";

// The lines of a text with their numbers, and the findings about them.
struct Lines {
  std::string file;
  std::string_view rest;
  std::string_view line;
  unsigned number = 0;
  std::vector<Finding> findings;

  bool next() {
    if (rest.empty()) return false;
    line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    number++;
    return true;
  }
  void find(std::string message, unsigned at = 0) {
    findings.push_back({file, at > 0 ? at : number, std::move(message)});
  }
};

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// Blank lines and comments.
bool says_nothing(std::string_view line) {
  size_t start = line.find_first_not_of(blanks);
  return start == std::string_view::npos || line[start] == '#';
}

std::string_view next_word(std::string_view &line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

bool is_one_of(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool holds_only(std::string_view text, const char *characters) {
  return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

// The number that a text is; -1 for other texts.
long number_in(std::string_view text) {
  if (!holds_only(text, "0123456789") || text.size() > 9) return -1;
  return strtol(std::string(text).c_str(), nullptr, 10);
}

bool is_port(long number) {
  return number >= 1 && number <= 65535;
}

constexpr const char *identifier = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
constexpr const char *base64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

// ---- UCI

// The words of a line, in quotes or not; false when a quote is not closed.
bool split_uci(std::string_view line, std::vector<std::string> &words) {
  char quote = '\0';
  bool in_word = false;
  for (size_t at = 0; at < line.size(); at++) {
    char c = line[at];
    if (quote == '\0' && is_blank(c)) {
      in_word = false;
      continue;
    }
    if (!in_word) words.emplace_back();
    in_word = true;
    if (c == '\\' && quote != '\'') {
      if (++at == line.size()) return false;
      words.back() += line[at];
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    } else {
      words.back() += c;
    }
  }
  return quote == '\0';
}

struct UciState {
  // Types of the named sections. A name may come again: the reader makes one section of both.
  std::map<std::string, std::string> types;
  std::set<std::string> options;  // since the last section line
  bool in_section = false;
};

void read_uci_section(const std::vector<std::string> &words, UciState &state, Lines &lines) {
  state.in_section = true;
  state.options.clear();
  if (words.size() < 2 || words.size() > 3) {
    lines.find("expected \"config\", a type and at most a name");
  } else if (words.size() == 3 && !holds_only(words[2], identifier)) {
    lines.find("a section name may hold letters, digits and \"_\" only");
  } else if (words.size() == 3 && state.types.try_emplace(words[2], words[1]).first->second != words[1]) {
    lines.find("another section of this name has another type");
  }
}

void read_uci_option(const std::vector<std::string> &words, UciState &state, Lines &lines) {
  if (!state.in_section) {
    lines.find("an option outside of a section");
  } else if (words.size() != 3) {
    lines.find("expected \"" + words[0] + "\", a name and a value");
  } else if (!holds_only(words[1], identifier)) {
    lines.find("an option name may hold letters, digits and \"_\" only");
  } else if (words[0] == "option" && !state.options.insert(words[1]).second) {
    lines.find("the option \"" + words[1] + "\" stands twice in its section");
  }
}

// ---- PAM

// The next word; one that begins with a bracket reaches to the closing one, which a backslash hides.
bool next_pam_word(std::string_view &line, std::string_view &word) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  if (line.empty() || line[0] != '[') {
    word = next_word(line);
    return true;
  }
  size_t end = line.find(']');
  while (end != std::string_view::npos && line[end - 1] == '\\') end = line.find(']', end + 1);
  if (end == std::string_view::npos) return false;
  word = line.substr(0, end + 1);
  line.remove_prefix(end + 1);
  return true;
}

constexpr std::string_view pam_results[] = {
    "success",
    "open_err",
    "symbol_err",
    "service_err",
    "system_err",
    "buf_err",
    "perm_denied",
    "auth_err",
    "cred_insufficient",
    "authinfo_unavail",
    "user_unknown",
    "maxtries",
    "session_err",
    "cred_unavail",
    "cred_expired",
    "cred_err",
    "no_module_data",
    "conv_err",
    "authtok_err",
    "authtok_recover_err",
    "acct_expired",
    "ignore",
    "abort",
    "authtok_disable_aging",
    "try_again",
    "authtok_expired",
    "module_unknown",
    "bad_item",
    "conv_again",
    "incomplete",
    "default",
    "authtok_recovery_err",
    "new_authtok_reqd",
    "authtok_lock_busy",
};

// A rule that skips some of those that follow it in its stack.
struct Jump {
  unsigned line;
  size_t position;  // of the rule in its stack
  long count;
};
struct Stack {
  size_t rules = 0;
  std::vector<Jump> jumps;
};

// A control in brackets.
void read_pam_control(std::string_view control, Stack &stack, Lines &lines) {
  control = control.substr(1, control.size() - 2);
  for (std::string_view pair = next_word(control); !pair.empty(); pair = next_word(control)) {
    std::string_view result = pair.substr(0, pair.find('='));
    std::string_view action = pair.substr(std::min(result.size() + 1, pair.size()));
    if (std::find(std::begin(pam_results), std::end(pam_results), result) == std::end(pam_results)) {
      lines.find("\"" + std::string(result) + "\" is no result of a module");
    } else if (number_in(action) > 0) {
      stack.jumps.push_back({lines.number, stack.rules, number_in(action)});
    } else if (!is_one_of(action, {"ignore", "bad", "die", "ok", "done", "reset"})) {
      lines.find("\"" + std::string(action) + "\" is no action for a result");
    }
  }
}

void read_pam_rule(std::string_view line, std::map<std::string, Stack> &stacks, Lines &lines) {
  std::string_view service = next_word(line);
  std::string_view type = next_word(line);
  std::string_view control;
  std::string_view module;
  if (!is_one_of(type, {"auth", "account", "password", "session"})) {
    lines.find("expected auth, account, password or session after the service");
    return;
  }
  if (!next_pam_word(line, control)) {
    lines.find("the control's bracket is not closed");
    return;
  }
  Stack &stack = stacks[std::string(service) + " " + std::string(type)];
  if (!control.empty() && control[0] == '[') {
    read_pam_control(control, stack, lines);
  } else if (!is_one_of(control, {"required", "requisite", "sufficient", "optional", "include", "substack"})) {
    lines.find("\"" + std::string(control) + "\" is no control");
  }
  stack.rules++;
  if (!next_pam_word(line, module) || module.empty()) lines.find("no module is named");
  for (std::string_view argument = " "; !argument.empty();) {
    if (next_pam_word(line, argument)) continue;
    lines.find("an argument's bracket is not closed");
    return;
  }
}

// ---- IPsec secrets

// What is wrong with the value of a secret, null for nothing.
const char *secret_problem(std::string_view type, std::string_view value) {
  bool is_quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
  if (type == "PSK") {
    bool is_encoded = value.substr(0, 2) == "0s" && (value.size() == 2 || holds_only(value.substr(2), base64));
    return is_encoded ? nullptr : "expected a pre-shared key in base64";
  }
  if (type == "XAUTH") {
    bool is_whole = is_quoted && value.find('"', 1) == value.size() - 1;
    return is_whole ? nullptr : "expected a password in quotes, with none inside";
  }
  if (type != "RSA") return "expected PSK, XAUTH or RSA after the colon";
  size_t end = value.find('"', 1);
  if (value.empty() || value[0] != '"' || end == std::string_view::npos) return "expected a file name in quotes";
  std::string path = "/var/run/ipsec.d/private/" + std::string(value.substr(1, end - 1));
  return access(path.c_str(), R_OK) == 0 ? nullptr : "the private key that is named is not there";
}

}  // namespace

std::vector<Finding> read_uci(const std::string &file, std::string_view text) {
  Lines lines{file, text, {}, 0, {}};
  UciState state;
  while (lines.next()) {
    if (says_nothing(lines.line)) continue;
    std::vector<std::string> words;
    if (!split_uci(lines.line, words)) {
      lines.find("a quote is not closed");
    } else if (words[0] == "config") {
      read_uci_section(words, state, lines);
    } else if (words[0] == "option" || words[0] == "list") {
      read_uci_option(words, state, lines);
    } else {
      lines.find("expected config, option or list");
    }
  }
  return lines.findings;
}

std::vector<Finding> read_pam(const std::string &file, std::string_view text) {
  Lines lines{file, text, {}, 0, {}};
  std::map<std::string, Stack> stacks;
  while (lines.next()) {
    if (says_nothing(lines.line)) continue;
    if (lines.line.back() == '\\') lines.find("a backslash at its end joins this line with the next");
    read_pam_rule(lines.line, stacks, lines);
  }
  for (const auto &[name, stack] : stacks) {
    for (const Jump &jump : stack.jumps) {
      if (jump.position + static_cast<size_t>(jump.count) < stack.rules) continue;
      lines.find("jumps over more rules than follow in the stack \"" + name + "\"", jump.line);
    }
  }
  return lines.findings;
}

std::vector<Finding> read_radius(const std::string &file, std::string_view text) {
  Lines lines{file, text, {}, 0, {}};
  while (lines.next()) {
    if (says_nothing(lines.line)) continue;
    std::string_view rest = lines.line;
    std::string_view server = next_word(rest);
    std::string_view secret = next_word(rest);
    std::string_view timeout = next_word(rest);
    size_t colon = server.rfind(':');
    if (secret.empty() || timeout.empty() || !next_word(rest).empty()) {
      lines.find("expected a server, a secret without blanks and a time-out");
    } else if (colon == 0 || colon == std::string_view::npos || !is_port(number_in(server.substr(colon + 1)))) {
      lines.find("expected a server's name or address with a port from 1 to 65535");
    } else if (number_in(timeout) < 0) {
      lines.find("expected a time-out in seconds");
    }
  }
  return lines.findings;
}

std::vector<Finding> read_secrets(const std::string &file, std::string_view text) {
  Lines lines{file, text, {}, 0, {}};
  while (lines.next()) {
    if (says_nothing(lines.line)) continue;
    if (lines.line.rfind("include ", 0) == 0) {
      if (access(std::string(lines.line.substr(8)).c_str(), R_OK) != 0) lines.find("the included file is not there");
      continue;
    }
    size_t colon = (" " + std::string(lines.line)).find(" : ");
    if (colon == std::string::npos) {
      lines.find("expected identities, a colon and a secret");
      continue;
    }
    std::string_view rest = lines.line.substr(colon + 2);
    std::string_view type = next_word(rest);
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    const char *problem = secret_problem(type, rest);
    if (problem != nullptr) lines.find(problem);
  }
  return lines.findings;
}
