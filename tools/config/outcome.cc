#include "tools/config/outcome.h"

#include <algorithm>
#include <map>

#include "check/check.h"
#include "platform/network.h"
#include "util/owned.h"
#include "util/strings.h"

namespace {

bool is_index(std::string_view name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

// Two findings are the same when these strings are equal: the path without indices, and the message. After a rename,
// only the message without quoted names.
std::string identity(const Finding &finding, bool renamed) {
  std::string key;
  if (!renamed) {
    for (std::string_view name : split(finding.path, '.')) key.append(is_index(name) ? "N" : name).append(".");
    return key + finding.message;
  }
  bool quoted = false;
  for (std::string_view piece : split(finding.message, '\'')) {
    if (!quoted) key += piece;
    quoted = !quoted;
  }
  return key;
}

}  // namespace

std::vector<Finding> find_problems(const std::string &content) {
  std::vector<Finding> findings;
  OwnedTree root(config_check_content(content, &findings));
  if (root != nullptr) {
    OwnedModel model(network_load(root.get()));
    network_check(root.get(), model.get());
  }
  return findings;
}

bool is_error(const Finding &finding) {
  return words_of(finding.rule).severity == Severity::error;
}

std::vector<Finding> new_findings(const std::vector<Finding> &before, const std::vector<Finding> &after, bool renamed) {
  std::map<std::string, size_t> known;
  for (const Finding &finding : before) known[identity(finding, renamed)]++;
  std::vector<Finding> fresh;
  for (const Finding &finding : after) {
    size_t &left = known[identity(finding, renamed)];
    if (left == 0) {
      fresh.push_back(finding);
    } else {
      left--;
    }
  }
  return fresh;
}

void print_findings(const char *file, const std::vector<Finding> &findings) {
  for (const Finding &finding : findings) print_finding(stderr, file, finding);
}

void print_errors(const char *file, const std::vector<Finding> &findings) {
  for (const Finding &finding : findings)
    if (is_error(finding)) print_finding(stderr, file, finding);
}
