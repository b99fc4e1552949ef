// Owners for everything that has to be released: each alias says what it holds and releases it the one right way.
#ifndef TESSERA_MAIN_OWNED_H
#define TESSERA_MAIN_OWNED_H

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "platform/network.h"
#include "platform/runt.h"
#include "platform/tools.h"

struct FreeText {
  void operator()(char *text) const { free(text); }
};
struct FreeList {
  void operator()(char **list) const { sl_free(list); }
};
struct CloseStream {
  void operator()(FILE *stream) const { fclose(stream); }
};
struct FreeModel {
  void operator()(NetworkModel *model) const { network_free(model); }
};
struct FreeEntries {
  void operator()(RuntEntry **entries) const { runt_entries_free(entries); }
};

using OwnedText = std::unique_ptr<char, FreeText>;
using OwnedList = std::unique_ptr<char *, FreeList>;
using OwnedStream = std::unique_ptr<FILE, CloseStream>;
using OwnedModel = std::unique_ptr<NetworkModel, FreeModel>;
using OwnedEntries = std::unique_ptr<RuntEntry *, FreeEntries>;

// Appends a copy of `text`; the list keeps its owner although appending may move it.
inline void append(OwnedList &list, const char *text) {
  list.reset(_sl_append(list.release(), text, 0));
}

// True for a text that holds at least one character; null and "" both count as unset.
inline bool is_set(const char *text) {
  return text != nullptr && *text != '\0';
}

// The text itself, or "" in place of null, for use as a format argument.
inline const char *or_empty(const char *text) {
  return text != nullptr ? text : "";
}

// True for a text that can be one component of a path: not empty, neither "." nor "..", and without "/".
inline bool is_path_component(const char *text) {
  return is_set(text) && strchr(text, '/') == nullptr && strcmp(text, ".") != 0 && strcmp(text, "..") != 0;
}

// Running out of memory ends the run at once, with a message: what it was writing stays in its buffers, nothing that
// lacks a part is installed, and no core is dumped.
[[noreturn]] void end_without_memory();

// A printf-built text.
std::string format(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The same of arguments that a function was given.
std::string format_arguments(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

#endif
