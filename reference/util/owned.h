// Owner types: each releases what it holds when it goes out of scope.
#ifndef TESSERA_REFERENCE_UTIL_OWNED_H
#define TESSERA_REFERENCE_UTIL_OWNED_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/config.h"
#include "platform/network.h"
#include "platform/tools.h"

struct FreeMemory {
  void operator()(void *memory) const { free(memory); }
};
struct FreeList {
  void operator()(char **list) const { sl_free(list); }
};
struct CloseStream {
  void operator()(FILE *stream) const { fclose(stream); }
};
struct FreeTree {
  void operator()(const ConfigNode *root) const { config_free(root); }
};
struct FreeModel {
  void operator()(NetworkModel *model) const { network_free(model); }
};
using OwnedString = std::unique_ptr<char, FreeMemory>;
using OwnedList = std::unique_ptr<char *, FreeList>;
using OwnedStream = std::unique_ptr<FILE, CloseStream>;
using OwnedTree = std::unique_ptr<const ConfigNode, FreeTree>;
using OwnedModel = std::unique_ptr<NetworkModel, FreeModel>;

// Owns a file descriptor and closes it; -1 for none.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int number) : number_(number) {}
  Fd(Fd &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Fd &operator=(Fd &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Fd() {
    if (number_ >= 0) close(number_);
  }
  int get() const { return number_; }
  bool is_open() const { return number_ >= 0; }

 private:
  int number_ = -1;
};

#endif
