// The whole result as one JSON object, for pipelines.
#ifndef TESSERA_PREVIEW_JSON_H
#define TESSERA_PREVIEW_JSON_H

#include <string>
#include <vector>

#include "preview/plan.h"
#include "preview/verify.h"

// One run of tessera; its texts are masked.
struct ServiceRun {
  std::string service;
  int status;
  std::string output;
  std::string messages;
};

// All that there is to tell.
struct Report {
  int exit_status;
  std::vector<ServiceRun> runs;
  std::vector<PlannedFile> plan;
  std::vector<RuntimeChange> runtime;
  bool is_verified;
  std::vector<Verdict> verdicts;
};

// Prints the object. A text that is not UTF-8 is given in base64, under a name that says so.
void print_json(const Report &report);

#endif
