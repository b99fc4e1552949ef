// How the checker's own rules report findings.
#ifndef TESSERA_REFERENCE_CHECK_FINDINGS_H
#define TESSERA_REFERENCE_CHECK_FINDINGS_H

#include <initializer_list>
#include <string>

#include "config/report.h"
#include "platform/config.h"

// Reports that `node` breaks the rule. `values` holds one value for each {name} in the texts of the rule, in the order
// in which the names first occur. Reports nothing for a node whose value was refused, and nothing in a run.
void report(const ConfigNode *node, Rule rule, std::initializer_list<std::string> values = {});

// Returns such a finding without a path, line and column. A {name} without a value stays in the texts as it is.
Finding finding_with_words(Rule rule, std::initializer_list<std::string> values);

#endif
