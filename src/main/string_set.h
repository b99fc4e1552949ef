// A set of strings, for finding duplicates among thousands. It borrows the strings, which must stay valid. The sets of
// the C++ library are no substitute: std::set allocates memory for each string, and std::unordered_set loads libm at
// each start.
#ifndef TESSERA_MAIN_STRING_SET_H
#define TESSERA_MAIN_STRING_SET_H

#include <sys/random.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class StringSet {
 public:
  // Reserves room for that many strings. The set grows beyond that.
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
  // Two random numbers, so that nobody can make a configuration whose strings all have the same hash.
  struct Key {
    uint64_t start;
    uint64_t factor;
  };

  static Key random_key() {
    Key key;
    bool is_random = getrandom(&key, sizeof key, GRND_NONBLOCK) == sizeof key;
    if (!is_random) key = {14695981039346656037U, 1099511628211U};  // early at boot: the constants of FNV-1a
    key.factor |= 1;
    return key;
  }

  size_t hash(const char *string) const {
    uint64_t hash = key_.start;
    for (; *string != '\0'; string++) hash = (hash ^ static_cast<unsigned char>(*string)) * key_.factor;
    return static_cast<size_t>(hash >> 32);
  }

  // The slot of the string, or the free slot where it belongs.
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

  std::vector<const char *> slots_;  // null: free. The size is a power of two, and at least a quarter is free.
  size_t count_ = 0;
  Key key_ = random_key();
};

#endif
