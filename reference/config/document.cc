// Loads documents from files and strings, for a run or for a check.
#include "config/document.h"

#include <climits>
#include <memory>

#include "platform/config.h"

namespace {

std::unique_ptr<Document> new_document(const char *path, const SchemaKey &table, std::vector<Finding> *findings,
                                       const Cures *cures) {
  auto document = std::make_unique<Document>();
  document->schema = &table;
  document->file = path;
  document->findings = findings;
  document->cures = cures;
  return document;
}

const ConfigNode *build_tree(std::unique_ptr<Document> document) {
  // A check reads each file once, as it may be a pipe.
  if (document->findings != nullptr) document->original = document->content;
  if (!parse_document(*document)) return nullptr;
  accept_document(*document);
  return &document.release()->root;  // config_free deletes the document
}

const ConfigNode *load_file(const char *path, const SchemaKey &table, std::vector<Finding> *findings,
                            const Cures *cures) {
  auto document = new_document(path, table, findings, cures);
  std::string problem;
  if (!read_file(path, &document->content, &problem)) {
    report_at(*document, Rule::unreadable, no_position, {}, "%s", problem.c_str());
    return nullptr;
  }
  return build_tree(std::move(document));
}

}  // namespace

const ConfigNode *config_load_file(const char *path) {
  return load_file(path, schema, nullptr, nullptr);
}

const ConfigNode *config_check_file(const char *path, std::vector<Finding> *findings) {
  return load_file(path, described_schema, findings, &cures);
}

const ConfigNode *config_check_content(const std::string &content, std::vector<Finding> *findings) {
  auto document = new_document("", described_schema, findings, &cures);
  document->content = content;
  document->most = UINT_MAX;
  return build_tree(std::move(document));
}

const ConfigNode *config_load() {
  return config_load_file("/etc/config/config.json");
}

void config_free(const ConfigNode *root) {
  if (root == nullptr) return;
  report_unlogged(document_of(root));
  delete &document_of(root);
}
