// The record of a run that tessera-trace leaves: what was read, and how far the files were by then.
#ifndef TESSERA_EXPLAIN_TRACE_H
#define TESSERA_EXPLAIN_TRACE_H

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "explain/document.h"

struct Read {
  std::string path;
  std::string kind;  // of a fact how it was read, of a setting "read", or "tree" for all below it
  bool is_fact;

  bool operator==(const Read &) const = default;
};

struct Trace {
  std::vector<Read> reads;
  std::map<std::string, std::vector<size_t>> settings;  // by path: its indexes in `reads`
  std::map<std::string, std::vector<size_t>> facts;     // by key
  // By file: after how many bytes how many reads had happened.
  std::map<std::string, std::vector<std::pair<size_t, size_t>>> progress;

  bool operator==(const Trace &) const = default;
};

Trace parse_trace(std::string_view record);

// True when the run has read the value at the path: itself, or everything in an object or array above it.
bool is_read(const Trace &trace, const std::string &path, bool is_fact);

// True when the run has read something at or below the path, or everything in what is above it.
bool reads_any(const Trace &trace, const std::string &path, bool is_fact);

// How many reads lie between the last one of the setting and the end of a line, which lies `bytes` into the file; the
// largest number when the run had not read it by then.
size_t distance_to(const Trace &trace, const Setting &setting, const std::string &file, size_t bytes);

#endif
