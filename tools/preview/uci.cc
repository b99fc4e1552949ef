// Checks a UCI file in the way that its readers parse it.
#include <algorithm>
#include <map>
#include <set>

#include "preview/verify.h"
#include "util/strings.h"

namespace {

constexpr std::string_view name_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

// The state of reading a file, and the findings.
struct Uci {
  std::string file;
  unsigned line = 0;
  // Types of the named sections. A name may come twice: the reader merges the sections.
  std::map<std::string, std::string> types;
  std::set<std::string> options;  // since the last section line
  bool in_section = false;
  std::vector<Remark> remarks;

  void refuse(const std::string &message) { remarks.push_back({file, line, message}); }
};

bool is_name(const std::string &word) {
  return !word.empty() && word.find_first_not_of(name_characters) == std::string::npos;
}

bool is_space(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// Splits a line into words, with or without quotes. Returns what is wrong with the line; null when nothing is.
const char *split(const std::string &line, std::vector<std::string> &words) {
  char quote = '\0';
  bool in_word = false;
  for (size_t at = 0; at < line.size(); at++) {
    char c = line[at];
    if (quote == '\0' && is_space(c)) {
      in_word = false;
      continue;
    }
    if (quote == '\0' && (c == ';' || (in_word && c == '#'))) return "a ';' or '#' outside of quotes ends the word";
    if (!in_word && c == '#') break;
    if (!in_word) words.emplace_back();
    in_word = true;
    if (c == '\\' && quote != '\'') {
      if (++at == line.size()) return "a backslash ends the line";
      words.back() += line[at];
    } else if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    } else {
      words.back() += c;
    }
  }
  return quote == '\0' ? nullptr : "a quote is not closed";
}

void read_section(const std::vector<std::string> &words, Uci &uci) {
  uci.in_section = true;
  uci.options.clear();
  if (words.size() < 2 || words.size() > 3) {
    uci.refuse("expected \"config\", a type and at most one name");
  } else if (!is_name(words[1])) {
    uci.refuse("a section type may hold letters, digits and \"_\" only, and cannot be empty");
  } else if (words.size() == 3 && !is_name(words[2])) {
    uci.refuse("a section name may hold letters, digits and \"_\" only");
  } else if (words.size() == 3 && uci.types.try_emplace(words[2], words[1]).first->second != words[1]) {
    uci.refuse("another section of this name has another type");
  }
}

void read_option(const std::vector<std::string> &words, Uci &uci) {
  if (!uci.in_section) {
    uci.refuse("an option outside of a section");
  } else if (words.size() != 3) {
    uci.refuse("expected \"" + words[0] + "\", a name and a value");
  } else if (!is_name(words[1])) {
    uci.refuse("an option name may hold letters, digits and \"_\" only");
  } else if (words[0] == "option" && !uci.options.insert(words[1]).second) {
    uci.remarks.push_back({uci.file, uci.line, "the option \"" + words[1] + "\" is repeated: this value counts", true});
  }
}

}  // namespace

std::vector<Remark> read_uci(const std::string &file, std::string_view content) {
  Uci uci;
  uci.file = file;
  for (const std::string &line : lines_of(content)) {
    uci.line++;
    std::vector<std::string> words;
    const char *problem = split(line, words);
    if (line.find('\0') != std::string::npos) problem = "a NUL byte ends the line";
    if (problem != nullptr) {
      uci.refuse(problem);
    } else if (words.empty()) {
      continue;
    } else if (words[0] == "config") {
      read_section(words, uci);
    } else if (words[0] == "option" || words[0] == "list") {
      read_option(words, uci);
    } else {
      uci.refuse("expected config, option or list");
    }
  }
  return uci.remarks;
}
