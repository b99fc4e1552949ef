// A set of strings that finds what appears twice in a list of thousands. It borrows the strings: they have to stay
// where they are. (A set of the C++ library allocates memory for each string, or loads the mathematical library at each
// start.)
#ifndef TESSERA_MAIN_STRING_SET_H
#define TESSERA_MAIN_STRING_SET_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class StringSet {
 public:
  // With room for that many strings; more are taken.
  explicit StringSet(size_t expected = 0) {
    size_t size = 16;
    while (size * 3 < expected * 4) size *= 2;
    slots_.resize(size);
  }

  // Adds a string; false when the set holds it already.
  bool insert(const char *string) {
    if ((count_ + 1) * 4 > slots_.size() * 3) grow();
    const char *&slot = slots_[index_of(string)];
    if (slot != nullptr) return false;
    slot = string;
    count_++;
    return true;
  }

  bool contains(const char *string) const { return slots_[index_of(string)] != nullptr; }

 private:
  static size_t hash(const char *string) {
    uint32_t hash = 2166136261U;
    for (; *string != '\0'; string++) hash = (hash ^ static_cast<unsigned char>(*string)) * 16777619U;
    return hash ^ hash >> 15;
  }

  // Where the string is, or the free slot where it belongs.
  size_t index_of(const char *string) const {
    size_t mask = slots_.size() - 1;
    size_t index = hash(string) & mask;
    while (slots_[index] != nullptr && strcmp(slots_[index], string) != 0) index = (index + 1) & mask;
    return index;
  }

  void grow() {
    std::vector<const char *> old(2 * slots_.size());
    old.swap(slots_);
    for (const char *string : old)
      if (string != nullptr) slots_[index_of(string)] = string;
  }

  std::vector<const char *> slots_;  // null where free; a power of two, a quarter of them free
  size_t count_ = 0;
};

#endif
