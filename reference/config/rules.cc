#include "config/rules.h"

#include <iterator>

namespace {

constexpr RuleWords rules[] = {
#define RULE(name, severity, grade, about, wrong, outcome, cure) \
  {#name, Severity::severity, about, wrong, outcome, cure},
    TESSERA_DOCUMENT_RULES(RULE) TESSERA_CHECK_RULES(RULE)
#undef RULE
};

}  // namespace

const RuleWords &words_of(Rule rule) {
  return rules[static_cast<size_t>(rule)];
}

size_t rule_count() {
  return std::size(rules);
}
