// Findings of the checker's own rules.
#ifndef TESSERA_REFERENCE_CHECK_FIND_H
#define TESSERA_REFERENCE_CHECK_FIND_H

#include <initializer_list>
#include <string>

#include "check/rules.h"
#include "config/report.h"
#include "platform/config.h"

// Reports that `node` breaks the rule. The values stand for the names in the rule's words, in the order in which these
// come first; there has to be one for each. Nothing is reported about a node that stands for a refused value.
void find(const ConfigNode *node, Rule rule, std::initializer_list<std::string> values = {});

// The same as a finding without a place.
Finding finding_with_words(Rule rule, std::initializer_list<std::string> values);

#endif
