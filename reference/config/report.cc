// Findings: where they are in the document and where they go.
#include "config/report.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "config/characters.h"
#include "config/document.h"
#include "platform/tools.h"

namespace {

// The lines of a document are counted in a copy of its file: the parser has written into the loaded text.
const std::string &pristine_text(Document &document) {
  if (!document.pristine_known) {
    document.pristine_known = true;
    std::string problem;
    uint32_t size = 0;
    std::unique_ptr<char, void (*)(void *)> text(read_padded(document.file.c_str(), 1, &size, &problem), free);
    if (text != nullptr) document.pristine.assign(text.get(), size);
  }
  return document.pristine;
}

// Moves the document's place to `position`; false when it lies past the end of the file as it is now.
bool locate(Document &document, uint32_t position) {
  const std::string &text = pristine_text(document);
  if (position > text.size()) return false;
  Place &place = document.place;
  if (position < place.position) place = Place{};
  const char *start = text.data();
  const char *from = start + place.position;
  const char *end = start + position;
  while (from < end) {
    const auto *line_end = static_cast<const char *>(memchr(from, '\n', static_cast<size_t>(end - from)));
    if (line_end == nullptr) break;
    from = line_end + 1;
    place.line++;
    place.line_start = static_cast<uint32_t>(from - start);
  }
  place.position = position;
  return true;
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

void report_list(Document &document, Grade grade, uint32_t position, const std::string &path, const char *format,
                 va_list arguments) {
  if (document.findings == nullptr) {
    // A run ends with the first refused finding: what follows from it is no news.
    if (document.refused || grade == Grade::questionable) return;
  }
  if (grade == Grade::refused) document.refused = true;
  Finding finding{.grade = grade, .line = 0, .column = 0, .path = path, .message = {}};
  if (position != no_position && locate(document, position)) {
    finding.line = document.place.line;
    finding.column = position - document.place.line_start + 1;
  }
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
  } else if ((node->flags & node_broken) == 0) {
    std::unique_ptr<char, void (*)(void *)> path(config_path(node), free);
    report_list(*header_of(node).document, grade, node->position, path.get(), format, arguments);
  }
  va_end(arguments);
}
