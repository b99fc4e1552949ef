// The trace of a run, which tessera-trace writes: what the run read, and how long the files were then.
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
  std::string kind;  // bool, int, string or list for a fact; "read" for a setting, "tree" for all below a path
  bool is_fact;

  bool operator==(const Read &) const = default;
};

struct Trace {
  std::vector<Read> reads;
  std::map<std::string, std::vector<size_t>> settings;  // indexes in `reads`, by path
  std::map<std::string, std::vector<size_t>> facts;     // by key
  // By file: a length of the file, and the number of reads before it got longer.
  std::map<std::string, std::vector<std::pair<size_t, size_t>>> progress;

  bool operator==(const Trace &) const = default;
};

Trace parse_trace(std::string_view record);

// True when the run has read the value at the path, or all values of an object or array above it.
bool is_read(const Trace &trace, const std::string &path, bool is_fact);

// True when the run has read a value at or below the path, or all values of an object or array above it.
bool reads_any(const Trace &trace, const std::string &path, bool is_fact);

// The number of reads between the last read of the setting and the end of a line, at that number of bytes in the file;
// SIZE_MAX when the run had not read the setting by then.
size_t distance_to(const Trace &trace, const Setting &setting, const std::string &file, size_t bytes);

#endif
