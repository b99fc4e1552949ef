// Owners for everything that has to be released: each alias says what it holds and releases it the one right way.
#ifndef TESSERA_MAIN_OWNED_H
#define TESSERA_MAIN_OWNED_H

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/network.h"
#include "platform/runt.h"
#include "platform/tools.h"

struct FreeString {
  void operator()(char *string) const { free(string); }
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

using OwnedString = std::unique_ptr<char, FreeString>;
using OwnedList = std::unique_ptr<char *, FreeList>;
using OwnedStream = std::unique_ptr<FILE, CloseStream>;
using OwnedModel = std::unique_ptr<NetworkModel, FreeModel>;
using OwnedEntries = std::unique_ptr<RuntEntry *, FreeEntries>;

// Appends a copy of `string`; the list keeps its owner although appending may move it.
inline void append(OwnedList &list, const char *string) {
  list.reset(_sl_append(list.release(), string, 0));
}

// Running out of memory ends the run at once, with a message: what it was writing stays in its buffers, nothing that
// lacks a part is installed, and no core is dumped.
[[noreturn]] void end_without_memory();

#endif
