// Owner types: each releases what it holds when it goes out of scope.
#ifndef TESSERA_MAIN_OWNED_H
#define TESSERA_MAIN_OWNED_H

#include <unistd.h>

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

// An open file; -1 when it could not be opened.
class OwnedFile {
 public:
  explicit OwnedFile(int fd) : fd_(fd) {}
  OwnedFile(const OwnedFile &) = delete;
  OwnedFile &operator=(const OwnedFile &) = delete;
  ~OwnedFile() {
    if (fd_ >= 0) close(fd_);
  }
  int fd() const { return fd_; }

 private:
  int fd_;
};

// Appends a copy of `string`. The list may move in memory; `list` then owns the new place.
inline void append(OwnedList &list, const char *string) {
  list.reset(_sl_append(list.release(), string, 0));
}

// Ends the run at once, with a message and status 1, when memory runs out. Buffered output is not written, no
// incomplete file is installed, and no core is dumped.
[[noreturn]] void end_without_memory();

#endif
