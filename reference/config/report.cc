// Findings: where they are in the document and where they go.
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

// Fills in the line and column of a position. They stay 0 when it lies past the end of the file as it is now.
void locate(Document &document, uint32_t position, Finding &finding) {
  if (position > original_content(document).size()) return;
  const std::vector<uint32_t> &starts = line_starts(document);
  auto next = std::upper_bound(starts.begin(), starts.end(), position);
  finding.line = static_cast<unsigned>(next - starts.begin());
  finding.column = position - next[-1] + 1;
}

void log_finding(const Document &document, const Finding &finding) {
  const char *separator = finding.path.empty() ? "" : ": ";
  if (finding.line == 0) {
    log_error("%s: %s%s%s", document.file.c_str(), finding.path.c_str(), separator, finding.message.c_str());
  } else {
    log_error("%s:%u:%u: %s%s%s", document.file.c_str(), finding.line, finding.column, finding.path.c_str(), separator,
              finding.message.c_str());
  }
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

void report_list(Document &document, Grade grade, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) {
  if (document.findings == nullptr) {
    // A run ends with the first refused finding: what follows from it is no news.
    if (document.refused || grade == Grade::questionable) return;
  }
  if (grade == Grade::refused) document.refused = true;
  Finding finding{.grade = grade, .line = 0, .column = 0, .path = path, .message = {}};
  if (position != no_position) locate(document, position, finding);
  char *message = xvasprintf(format, arguments);
  finding.message = message;
  free(message);
  if (document.findings != nullptr) {
    document.findings->push_back(std::move(finding));
  } else if (grade == Grade::refused || document.accepted) {
    log_finding(document, finding);
  } else {
    document.held.push_back(std::move(finding));
  }
}

void accept_document(Document &document) {
  document.accepted = true;
  for (const Finding &finding : document.held) log_finding(document, finding);
  document.held.clear();
}

void append_component(std::string &path, const std::string &component) {
  if (!path.empty()) path += '.';
  path += component;
}

void report_at(Document &document, Grade grade, uint32_t position, const std::string &path, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  report_list(document, grade, position, path, format, arguments);
  va_end(arguments);
}

void config_report(const ConfigNode *node, Grade grade, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  if (node == nullptr) {
    char *message = xvasprintf(format, arguments);
    if (grade != Grade::questionable) log_error("%s", message);
    free(message);
  } else if (!node->broken) {
    std::unique_ptr<char, void (*)(void *)> path(config_path(node), free);
    report_list(document_of(node), grade, node->position, path.get(), format, arguments);
  }
  va_end(arguments);
}
