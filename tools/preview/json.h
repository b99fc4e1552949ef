// Prints the whole result as one JSON object, for pipelines.
#ifndef TESSERA_PREVIEW_JSON_H
#define TESSERA_PREVIEW_JSON_H

#include <string>
#include <vector>

#include "preview/plan.h"
#include "preview/verify.h"

// One run of tessera; its strings are masked.
struct ServiceRun {
  std::string service;
  int status;
  std::string output;
  std::string messages;
  bool has_no_tunnel = false;  // the service is ipsec, and failed because it wrote no tunnel
  bool counts = true;          // in the exit status
};

// The whole result of a preview.
struct Report {
  int exit_status;
  std::vector<ServiceRun> runs;
  std::vector<PlannedFile> plan;
  std::vector<RuntimeChange> runtime;
  bool is_verified;
  std::vector<Verdict> verdicts;
};

// Prints the object. Bytes that are not UTF-8 are printed as "?".
void print_json(const Report &report);

#endif
