#include "check/findings.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "config/document.h"

namespace {

// The values of one finding, by the names that they have in the row.
struct Values {
  std::initializer_list<std::string> values;
  std::vector<std::string_view> names = {};

  // `gap` is a name in braces.
  std::string_view of(std::string_view gap) {
    const auto number = static_cast<size_t>(std::find(names.begin(), names.end(), gap) - names.begin());
    if (number == names.size()) names.push_back(gap);
    return number < values.size() ? std::string_view(values.begin()[number]) : gap;
  }

  std::string fill(std::string_view words) {
    std::string string;
    while (!words.empty()) {
      const size_t open = std::min(words.find('{'), words.size());
      string += words.substr(0, open);
      words.remove_prefix(open);
      if (words.empty()) break;
      const size_t end = words.find('}') + 1;
      string += of(words.substr(0, end));
      words.remove_prefix(end);
    }
    return string;
  }
};

}  // namespace

Finding finding_with_words(Rule rule, std::initializer_list<std::string> values) {
  const RuleWords &words = words_of(rule);
  Values filled{.values = values};
  return {.rule = rule,
          .grade = grade_of(rule),
          .line = 0,
          .column = 0,
          .path = {},
          .message = filled.fill(words.wrong),
          .outcome = filled.fill(words.outcome),
          .cure = filled.fill(words.cure)};
}

void report(const ConfigNode *node, Rule rule, std::initializer_list<std::string> values) {
  Finding finding = finding_with_words(rule, values);
  if (document_of(node).in_lan_mode && words_of(rule).severity == Severity::error)
    finding = finding_with_words(Rule::dhcp_lan_mode, {finding.message, finding.outcome, finding.cure});
  config_add_finding(node, finding.rule, std::move(finding.message), std::move(finding.outcome),
                     std::move(finding.cure));
}
