#include "explain/trace.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>

#include "util/strings.h"

namespace {

// Removes the first word from a line and returns it.
std::string_view take_word(std::string_view &line) {
  size_t end = std::min(line.find(' '), line.size());
  std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

size_t take_number(std::string_view &line) {
  std::string_view word = take_word(line);
  size_t number = 0;
  std::from_chars(word.data(), word.data() + word.size(), number);
  return number;
}

// The index of the last read of the path among the first `limit` reads; -1 when there is none.
ptrdiff_t last_read(const Trace &trace, const std::string &path, bool is_fact, size_t limit, bool only_trees) {
  const auto &places = is_fact ? trace.facts : trace.settings;
  auto found = places.find(path);
  if (found == places.end()) return -1;
  auto end = std::lower_bound(found->second.begin(), found->second.end(), limit);
  while (end != found->second.begin()) {
    --end;
    if (!only_trees || trace.reads[*end].kind == "tree") return static_cast<ptrdiff_t>(*end);
  }
  return -1;
}

// The same, for the path or what it was read with: all of an object or array above it, or the list that a fact is in.
ptrdiff_t last_read_of(const Trace &trace, const std::string &path, bool is_fact, size_t limit) {
  ptrdiff_t last = last_read(trace, path, is_fact, limit, false);
  for (size_t dot = path.rfind('.'); dot != std::string::npos && dot > 0; dot = path.rfind('.', dot - 1)) {
    last = std::max(last, last_read(trace, path.substr(0, dot), is_fact, limit, !is_fact));
    if (is_fact) break;
  }
  return last;
}

}  // namespace

Trace parse_trace(std::string_view record) {
  Trace trace;
  std::map<size_t, std::vector<std::pair<size_t, size_t>>> progress;  // by stream
  std::map<size_t, size_t> inodes;                                    // by stream
  std::map<size_t, std::string_view> files;                           // by inode
  for (std::string_view line : line_views(record)) {
    std::string_view event = take_word(line);
    if (event == "open") {
      size_t stream = take_number(line);
      inodes[stream] = take_number(line);
    } else if (event == "at") {
      size_t stream = take_number(line);
      progress[stream].emplace_back(take_number(line), trace.reads.size());
    } else if (event == "file") {
      size_t inode = take_number(line);
      files[inode] = line;
    } else {
      std::string kind(event == "fact" ? take_word(line) : event);
      (event == "fact" ? trace.facts : trace.settings)[std::string(line)].push_back(trace.reads.size());
      trace.reads.push_back({std::string(line), kind, event == "fact"});
    }
  }
  for (auto &[stream, steps] : progress) {
    auto file = files.find(inodes[stream]);
    if (file != files.end()) trace.progress[std::string(file->second)] = std::move(steps);
  }
  return trace;
}

bool is_read(const Trace &trace, const std::string &path, bool is_fact) {
  return last_read_of(trace, path, is_fact, SIZE_MAX) >= 0;
}

bool reads_any(const Trace &trace, const std::string &path, bool is_fact) {
  const auto &places = is_fact ? trace.facts : trace.settings;
  auto below = places.lower_bound(path + ".");
  return is_read(trace, path, is_fact) || (below != places.end() && lies_in(below->first, path));
}

size_t distance_to(const Trace &trace, const Setting &setting, const std::string &file, size_t bytes) {
  size_t limit = trace.reads.size();
  auto steps = trace.progress.find(file);
  if (steps != trace.progress.end()) {
    auto is_before = [](const std::pair<size_t, size_t> &step, size_t end) { return step.first < end; };
    auto step = std::lower_bound(steps->second.begin(), steps->second.end(), bytes, is_before);
    if (step != steps->second.end()) limit = step->second;
  }
  ptrdiff_t last = last_read_of(trace, setting.path, setting.is_fact, limit);
  return last < 0 ? SIZE_MAX : limit - static_cast<size_t>(last);
}
