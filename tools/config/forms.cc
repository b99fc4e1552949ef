#include "tools/config/forms.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <map>
#include <string_view>

#include "config/characters.h"
#include "tools/config/outcome.h"

namespace {

const RuleWords &words(const Finding &finding) {
  return words_of(finding.rule);
}

// " here, there is one in PLACE" for an unknown key that is known at another place; otherwise "".
std::string place_hint(const Finding &finding) {
  const std::string place = finding.message == unknown_key_message ? config_place_of_key(finding.path) : "";
  return place.empty() ? place : " here, there is one in " + place;
}

// "WRONG; OUTCOME; CURE"
std::string sentence(const Finding &finding) {
  return finding.message + place_hint(finding) + "; " + outcome_of(finding) + "; " + cure_of(finding);
}

// The name of a file with escapes for control characters, which must not reach a terminal.
std::string shown_file(std::string_view file) {
  std::string out;
  for (const char letter : file) {
    char escaped[5];
    const auto code = static_cast<unsigned char>(letter);
    if ((code < 0x20 || code == 0x7f) && snprintf(escaped, sizeof escaped, "\\x%02x", code) > 0)
      out += escaped;
    else
      out += letter;
  }
  return out;
}

// The string in JSON. When a file name is not UTF-8, its bytes above ASCII are shown as "?".
std::string quoted(std::string_view text) {
  std::string out = "\"";
  const std::string copy(text);
  const bool valid = find_invalid_utf8(copy.c_str(), static_cast<uint32_t>(copy.size()), 0) == no_position;
  for (const char letter : text) {
    char escaped[8];
    const auto code = static_cast<unsigned char>(letter);
    if (letter == '"' || letter == '\\')
      out.append("\\").append(1, letter);
    else if (code < 0x20 && snprintf(escaped, sizeof escaped, "\\u%04x", code) > 0)
      out += escaped;
    else
      out += code < 0x80 || valid ? letter : '?';
  }
  return out + '"';
}

void print_member(const char *name, std::string_view value, const char *after) {
  printf("\"%s\": %s%s", name, quoted(value).c_str(), after);
}

// Escapes the characters that have a meaning in a workflow command, with `property` also those of its properties.
std::string for_github(std::string_view text, bool property) {
  std::string out;
  for (const char letter : text) {
    if (strchr(property ? "%\r\n:," : "%\r\n", letter) != nullptr && letter != '\0') {
      char code[4];
      snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(letter));
      out += code;
    } else {
      out += letter;
    }
  }
  return out;
}

// The name of a file as a relative or absolute URI reference.
std::string uri_of(std::string_view file) {
  std::string out;
  for (const char letter : file == "-" ? "stdin" : file) {
    const auto code = static_cast<unsigned char>(letter);
    char escaped[4];
    if (isalnum(code) != 0 || (letter != '\0' && strchr("-._~/", letter) != nullptr))
      out += letter;
    else if (snprintf(escaped, sizeof escaped, "%%%02X", code) > 0)
      out += escaped;
  }
  return out;
}

void print_sarif_rule(const RuleWords &row, bool last) {
  printf("      {");
  print_member("id", rule_name(row.name), ", ");
  printf("\"shortDescription\": {\"text\": %s}, ", quoted(row.about).c_str());
  printf("\"defaultConfiguration\": {\"level\": \"%s\"}}%s\n", severity_name(row.severity), last ? "" : ",");
}

void print_sarif_result(const Listed &each, bool last) {
  const Finding &finding = each.finding;
  printf("    {");
  print_member("ruleId", rule_name(words(finding).name), ", ");
  printf("\"ruleIndex\": %u, \"level\": \"%s\", ", static_cast<unsigned>(finding.rule),
         severity_name(words(finding).severity));
  printf("\"message\": {\"text\": %s}, ", quoted(sentence(finding)).c_str());
  printf("\"locations\": [{\"physicalLocation\": {\"artifactLocation\": {\"uri\": %s}",
         quoted(uri_of(each.file)).c_str());
  if (finding.line > 0) printf(", \"region\": {\"startLine\": %u, \"startColumn\": %u}", finding.line, finding.column);
  printf("}");
  if (!finding.path.empty())
    printf(", \"logicalLocations\": [{\"fullyQualifiedName\": %s}]", quoted(finding.path).c_str());
  printf("}]}%s\n", last ? "" : ",");
}

// The words of a rule for the manual page: "{name}" becomes "NAME".
std::string for_manual(std::string_view words) {
  std::string out;
  bool inside = false;
  for (const char letter : words) {
    if (letter == '{' || letter == '}')
      inside = letter == '{';
    else
      out += inside ? static_cast<char>(toupper(static_cast<unsigned char>(letter))) : letter;
  }
  return out;
}

// "d007" of "devices/d007.json".
std::string short_name(std::string_view file) {
  file.remove_prefix(file.rfind('/') + 1);
  if (file.ends_with(".json")) file.remove_suffix(5);
  return std::string(file);
}

// The files with findings of one rule at one path, once for each finding.
using Group = std::pair<std::pair<Rule, std::string>, std::vector<std::string>>;

std::vector<Group> groups_of(const std::vector<Listed> &listed) {
  std::map<std::pair<Rule, std::string>, std::vector<std::string>> groups;
  for (const auto &[file, finding] : listed) groups[{finding.rule, finding.path}].push_back(file);
  std::vector<Group> order(groups.begin(), groups.end());
  std::stable_sort(order.begin(), order.end(),
                   [](const Group &a, const Group &b) { return a.second.size() > b.second.size(); });
  return order;
}

}  // namespace

const char *outcome_of(const Finding &finding) {
  return finding.outcome.empty() ? words(finding).outcome : finding.outcome.c_str();
}

const char *cure_of(const Finding &finding) {
  return finding.cure.empty() ? words(finding).cure : finding.cure.c_str();
}

const char *severity_name(Severity severity) {
  constexpr const char *names[] = {"error", "warning", "note"};
  return names[static_cast<size_t>(severity)];
}

void print_finding(FILE *out, const char *file, const Finding &finding) {
  fprintf(out, "%s:", shown_file(file).c_str());
  if (finding.line > 0) fprintf(out, "%u:%u:", finding.line, finding.column);
  fprintf(out, " %s[%s]: ", severity_name(words(finding).severity), rule_name(words(finding).name).c_str());
  if (!finding.path.empty()) fprintf(out, "%s: ", finding.path.c_str());
  fprintf(out, "%s\n", sentence(finding).c_str());
}

void print_text(const std::vector<Listed> &listed) {
  for (const auto &[file, finding] : listed) print_finding(stdout, file.c_str(), finding);
}

void print_json(const std::vector<Listed> &listed) {
  unsigned counts[3] = {};
  puts("{\"findings\": [");
  for (const auto &[file, finding] : listed) {
    const Severity severity = words(finding).severity;
    printf("  {");
    print_member("rule", rule_name(words(finding).name), ", ");
    print_member("severity", severity_name(severity), ", ");
    print_member("file", file, ", ");
    printf("\"line\": %u, \"column\": %u, ", finding.line, finding.column);
    print_member("path", finding.path, ", ");
    print_member("wrong", finding.message + place_hint(finding), ", ");
    print_member("outcome", outcome_of(finding), ", ");
    print_member("cure", cure_of(finding), &listed.back().finding == &finding ? "}\n" : "},\n");
    counts[static_cast<size_t>(severity)]++;
  }
  printf("], \"summary\": {\"errors\": %u, \"warnings\": %u, \"notes\": %u}}\n", counts[0], counts[1], counts[2]);
}

void print_github(const std::vector<Listed> &listed) {
  constexpr const char *commands[] = {"error", "warning", "notice"};
  for (const auto &[file, finding] : listed) {
    printf("::%s file=%s", commands[static_cast<size_t>(words(finding).severity)], for_github(file, true).c_str());
    if (finding.line > 0) printf(",line=%u,col=%u", finding.line, finding.column);
    const std::string path = finding.path.empty() ? "" : finding.path + ": ";
    printf(",title=%s::%s\n", rule_name(words(finding).name).c_str(),
           for_github(path + sentence(finding), false).c_str());
  }
}

void print_sarif(const std::vector<Listed> &listed) {
  puts("{\"$schema\": \"https://json.schemastore.org/sarif-2.1.0.json\", \"version\": \"2.1.0\", \"runs\": [{");
  puts("  \"tool\": {\"driver\": {\"name\": \"tessera-config\", \"version\": \"" TESSERA_VERSION "\", \"rules\": [");
  for (size_t rule = 0; rule < rule_count(); rule++)
    print_sarif_rule(words_of(static_cast<Rule>(rule)), rule + 1 == rule_count());
  puts("  ]}},\n  \"results\": [");
  for (const Listed &each : listed) print_sarif_result(each, &each == &listed.back());
  puts("  ]\n}]}");
}

void print_summary(const std::vector<Listed> &listed) {
  constexpr size_t most_files = 5;
  for (const auto &[place, files] : groups_of(listed)) {
    printf("%zu × %s %s (", files.size(), rule_name(words_of(place.first).name).c_str(), place.second.c_str());
    for (size_t index = 0; index < std::min(files.size(), most_files); index++)
      printf("%s%s", index > 0 ? " " : "", shown_file(short_name(files[index])).c_str());
    puts(files.size() > most_files ? " …)" : ")");
  }
}

void print_summary_json(const std::vector<Listed> &listed) {
  const char *separator = "";
  printf("{\"groups\": [");
  for (const auto &[place, files] : groups_of(listed)) {
    printf("%s\n  {", separator);
    separator = ",";
    print_member("rule", rule_name(words_of(place.first).name), ", ");
    print_member("severity", severity_name(words_of(place.first).severity), ", ");
    print_member("path", place.second, ", ");
    printf("\"count\": %zu, \"files\": [", files.size());
    for (size_t index = 0; index < files.size(); index++)
      printf("%s%s", index > 0 ? ", " : "", quoted(files[index]).c_str());
    printf("]}");
  }
  puts("\n]}");
}

void print_rules() {
  for (size_t rule = 0; rule < rule_count(); rule++) {
    const RuleWords &row = words_of(static_cast<Rule>(rule));
    printf(".It Li %s , %s\n%s:\n", rule_name(row.name).c_str(), severity_name(row.severity), row.about);
    // Leave out words that consist only of what a finding fills in.
    if (*row.outcome != '{') printf("%s.\n", for_manual(row.outcome).c_str());
    if (*row.cure != '{') printf("Cure: %s.\n", for_manual(row.cure).c_str());
  }
}
