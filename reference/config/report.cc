// Locates findings in the document, and logs or collects them.
#include "config/report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "config/characters.h"
#include "config/document.h"
#include "platform/tools.h"
#include "util/memory.h"
#include "util/owned.h"

namespace {

const std::vector<uint32_t> &line_starts(Document &document) {
  std::vector<uint32_t> &starts = document.line_starts;
  if (!starts.empty()) return starts;
  starts.push_back(0);
  const std::string &content = original_content(document);
  for (size_t end = content.find('\n'); end != content.npos; end = content.find('\n', end + 1)) {
    starts.push_back(static_cast<uint32_t>(end + 1));
  }
  return starts;
}

// Fills in the line and column of a position. They stay 0 when the file has become shorter than that.
void locate(Document &document, uint32_t position, Finding &finding) {
  if (position > original_content(document).size()) return;
  const std::vector<uint32_t> &starts = line_starts(document);
  auto next = std::upper_bound(starts.begin(), starts.end(), position);
  finding.line = static_cast<unsigned>(next - starts.begin());
  finding.column = position - next[-1] + 1;
}

// A run logs at most this number of findings of a rule, and at its end how many more there are.
constexpr unsigned most_of_a_rule = 100;

// The names of the rules whose findings a run logs. The other texts of the rules are not linked into tessera.
#define RULE(name, severity, grade, about, wrong, outcome, cure) #name,
constexpr const char *logged_rules[] = {TESSERA_DOCUMENT_RULES(RULE)};
#undef RULE

void log_finding(const Document &document, const Finding &finding) {
  const char *separator = finding.path.empty() ? "" : ": ";
  if (finding.line == 0) {
    log_error("%s: %s%s%s", document.file.c_str(), finding.path.c_str(), separator, finding.message.c_str());
  } else {
    log_error("%s:%u:%u: %s%s%s", document.file.c_str(), finding.line, finding.column, finding.path.c_str(), separator,
              finding.message.c_str());
  }
}

// True when a finding of that rule must be logged or collected. Counts the findings of a run.
bool is_wanted(Document &document, Rule rule) {
  if (document.findings != nullptr) return true;
  // A run ends with the first refused finding; later findings only follow from it.
  if (document.refused || grade_of(rule) == Grade::questionable) return false;
  return ++document.counts[rule].all <= most_of_a_rule;
}

// Collects a finding, logs it, or keeps it until the document is accepted.
void add_finding(Document &document, uint32_t position, Finding finding) {
  if (finding.grade == Grade::refused) document.refused = true;
  if (position != no_position) locate(document, position, finding);
  if (document.findings != nullptr) {
    list_finding(*document.findings, document.counts, std::move(finding), document.most);
  } else if (finding.grade == Grade::refused || document.accepted) {
    log_finding(document, finding);
  } else {
    document.held.push_back(std::move(finding));
  }
}

std::string path_string(const ConfigNode *node) {
  OwnedString path(config_path(node));
  return path.get();
}

}  // namespace

const std::string &original_content(Document &document) {
  if (document.original) return *document.original;
  document.original.emplace();
  std::string content;
  std::string problem;
  if (read_file(document.file.c_str(), &content, &problem)) document.original = std::move(content);
  return *document.original;
}

void list_finding(std::vector<Finding> &list, FindingCounts &counts, Finding finding, unsigned most) {
  FindingCount &count = counts[finding.rule];
  count.all++;
  if (count.all <= most || count.all == most + 1) {
    count.last = list.size();
    list.push_back(std::move(finding));
  }
  if (count.all <= most) return;
  Finding &rest = list[count.last];
  rest.path.clear();
  rest.message = "findings of this rule that are not listed: " + std::to_string(count.all - most);
  rest.cure = "correct those that are listed first";
}

void report_words(Document &document, Rule rule, uint32_t position, const std::string &path, FindingWords words) {
  if (!is_wanted(document, rule)) return;
  add_finding(document, position,
              {.rule = rule,
               .grade = grade_of(rule),
               .line = 0,
               .column = 0,
               .path = path,
               .message = std::move(words.message),
               .outcome = std::move(words.outcome),
               .cure = std::move(words.cure)});
}

void report_list(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) {
  OwnedString message(xvasprintf(format, arguments));
  report_words(document, rule, position, path, {.message = message.get()});
}

void accept_document(Document &document) {
  document.accepted = true;
  for (const Finding &finding : document.held) log_finding(document, finding);
  document.held.clear();
}

void report_unlogged(const Document &document) {
  if (document.refused || document.findings != nullptr) return;
  for (const auto &[rule, count] : document.counts) {
    if (count.all <= most_of_a_rule) continue;
    log_error("%s: %u more findings of the rule %s", document.file.c_str(), count.all - most_of_a_rule,
              rule_name(logged_rules[static_cast<size_t>(rule)]).c_str());
  }
}

void append_component(std::string &path, const std::string &component) {
  if (!path.empty()) path += '.';
  path += component;
}

void report_at(Document &document, Rule rule, uint32_t position, const std::string &path, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  report_list(document, rule, position, path, format, arguments);
  va_end(arguments);
}

void config_report(const ConfigNode *node, Rule rule, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  if (node == nullptr) {
    OwnedString message(xvasprintf(format, arguments));
    if (grade_of(rule) != Grade::questionable) log_error("%s", message.get());
  } else if (!node->broken) {
    report_list(document_of(node), rule, node->position, path_string(node), format, arguments);
  }
  va_end(arguments);
}

void config_add_finding(const ConfigNode *node, Rule rule, std::string message, std::string outcome, std::string cure) {
  if (node->broken || document_of(node).findings == nullptr) return;
  report_words(document_of(node), rule, node->position, path_string(node),
               {std::move(message), std::move(outcome), std::move(cure)});
}

const ConfigNode *config_nearest(const ConfigNode *node, const char *path, size_t *length) {
  std::string rest = path;
  for (;;) {
    const ConfigNode *found = config_lookup(node, rest.c_str());
    if (length != nullptr) *length = rest.size();
    if (found != nullptr || rest.empty()) return found != nullptr ? found : node;
    const size_t dot = rest.rfind('.');
    rest.resize(dot == std::string::npos ? 0 : dot);
  }
}
