// The rules as a table, and findings made from its rows.
#include "check/rules.h"

#include <iterator>
#include <string_view>
#include <vector>

#include "check/find.h"
#include "config/document.h"
#include "config/report.h"

namespace {

constexpr RuleWords rules[] = {
#define RULE(name, severity, grade, about, wrong, outcome, cure) \
  {#name, Severity::severity, about, wrong, outcome, cure},
    TESSERA_DOCUMENT_RULES(RULE) TESSERA_CHECK_RULES(RULE)
#undef RULE
};

// The values of one finding, by the names that they have in the row.
struct Values {
  std::initializer_list<std::string> values;
  std::vector<std::string_view> names = {};

  const std::string &of(std::string_view name) {
    size_t number = 0;
    while (number < names.size() && names[number] != name) ++number;
    if (number == names.size()) names.push_back(name);
    return values.begin()[number];
  }

  std::string fill(std::string_view words) {
    std::string string;
    while (!words.empty()) {
      const size_t open = words.find('{');
      string += words.substr(0, open);
      if (open == std::string_view::npos) break;
      const size_t close = words.find('}', open);
      string += of(words.substr(open + 1, close - open - 1));
      words.remove_prefix(close + 1);
    }
    return string;
  }
};

}  // namespace

const RuleWords &words_of(Rule rule) {
  return rules[static_cast<size_t>(rule)];
}

size_t rule_count() {
  return std::size(rules);
}

Finding finding_with_words(Rule rule, std::initializer_list<std::string> values) {
  const RuleWords &words = words_of(rule);
  Values filled{.values = values};
  Finding finding{.rule = rule,
                  .grade = grade_of(rule),
                  .line = 0,
                  .column = 0,
                  .path = {},
                  .message = filled.fill(words.wrong),
                  .outcome = filled.fill(words.outcome),
                  .cure = filled.fill(words.cure)};
  return finding;
}

void find(const ConfigNode *node, Rule rule, std::initializer_list<std::string> values) {
  Finding finding = finding_with_words(rule, values);
  if (document_of(node).in_lan_mode && words_of(rule).severity == Severity::error)
    finding = finding_with_words(Rule::dhcp_lan_mode, {finding.message, finding.outcome, finding.cure});
  config_add_finding(node, finding.rule, std::move(finding.message), std::move(finding.outcome),
                     std::move(finding.cure));
}
