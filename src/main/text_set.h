// A set of texts for finding what stands twice in a list of thousands. It borrows the texts: they have to stay where
// they are. (The one of the C++ library takes an allocation per text, and the mathematical library at every start.)
#ifndef TESSERA_MAIN_TEXT_SET_H
#define TESSERA_MAIN_TEXT_SET_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class TextSet {
 public:
  // With room for that many texts; more are taken.
  explicit TextSet(size_t expected = 0) {
    size_t size = 16;
    while (size * 3 < expected * 4) size *= 2;
    slots_.resize(size);
  }

  // Adds a text; false when the set holds it already.
  bool insert(const char *text) {
    if ((count_ + 1) * 4 > slots_.size() * 3) grow();
    const char *&slot = slots_[place_of(text)];
    if (slot != nullptr) return false;
    slot = text;
    count_++;
    return true;
  }

  bool contains(const char *text) const { return slots_[place_of(text)] != nullptr; }

 private:
  static size_t hash(const char *text) {
    uint32_t hash = 2166136261U;
    for (; *text != '\0'; text++) hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619U;
    return hash ^ hash >> 15;
  }

  // Where the text is, or the free slot where it belongs.
  size_t place_of(const char *text) const {
    size_t mask = slots_.size() - 1;
    size_t place = hash(text) & mask;
    while (slots_[place] != nullptr && strcmp(slots_[place], text) != 0) place = (place + 1) & mask;
    return place;
  }

  void grow() {
    std::vector<const char *> old(2 * slots_.size());
    old.swap(slots_);
    for (const char *text : old)
      if (text != nullptr) slots_[place_of(text)] = text;
  }

  std::vector<const char *> slots_;  // null where free; a power of two, a quarter of them free
  size_t count_ = 0;
};

#endif
