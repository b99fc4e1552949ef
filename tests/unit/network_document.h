// A configuration document given as text, its findings, and the network model made from it.
#ifndef TESSERA_TESTS_UNIT_NETWORK_DOCUMENT_H
#define TESSERA_TESTS_UNIT_NETWORK_DOCUMENT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "config/report.h"
#include "platform/network.h"

struct LoadedDocument {
  std::vector<Finding> findings;
  const ConfigNode *root = nullptr;
  NetworkModel *model = nullptr;

  explicit LoadedDocument(const std::string &text) {
    std::string path = testing::TempDir() + "network_document.XXXXXX";
    const int descriptor = mkstemp(path.data());
    FILE *file = descriptor >= 0 ? fdopen(descriptor, "w") : nullptr;
    if (file == nullptr) return;
    fwrite(text.data(), 1, text.size(), file);
    fclose(file);
    root = config_load_file(path.c_str(), &findings);
    unlink(path.c_str());
    if (root != nullptr) model = network_load(root);
  }
  ~LoadedDocument() {
    network_free(model);
    config_free(root);
  }
  LoadedDocument(const LoadedDocument &) = delete;
  LoadedDocument &operator=(const LoadedDocument &) = delete;

  // "PATH: MESSAGE" of each finding, a line each, in the order they were made.
  std::string reports(Grade grade) const {
    std::string text;
    for (const Finding &finding : findings)
      if (finding.grade == grade) text += finding.path + ": " + finding.message + "\n";
    return text;
  }
};

#endif
