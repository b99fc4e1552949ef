// A set of texts for finding what stands twice in a list of thousands. It borrows the texts: they have to stay where
// they are. (The one of the C++ library takes an allocation per text, and the mathematical library at every start.)
#ifndef TESSERA_MAIN_TEXT_SET_H
#define TESSERA_MAIN_TEXT_SET_H

#include <cstddef>
#include <cstdint>
#include <string_view>
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
  bool insert(std::string_view text) {
    if ((count_ + 1) * 4 > slots_.size() * 3) grow();
    Slot &slot = slots_[place_of(text)];
    if (slot.data() != nullptr) return false;
    slot = text.data() != nullptr ? text : std::string_view("");
    count_++;
    return true;
  }

  bool contains(std::string_view text) const { return slots_[place_of(text)].data() != nullptr; }

 private:
  using Slot = std::string_view;  // one without data is free

  static size_t hash(std::string_view text) {
    uint32_t hash = 2166136261U;
    for (char character : text) hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
    return hash ^ hash >> 15;
  }

  // Where the text is, or the free slot where it belongs.
  size_t place_of(std::string_view text) const {
    size_t mask = slots_.size() - 1;
    size_t place = hash(text) & mask;
    while (slots_[place].data() != nullptr && slots_[place] != text) place = (place + 1) & mask;
    return place;
  }

  void grow() {
    std::vector<Slot> old(2 * slots_.size());
    old.swap(slots_);
    for (const Slot &slot : old)
      if (slot.data() != nullptr) slots_[place_of(slot)] = slot;
  }

  std::vector<Slot> slots_;  // a power of two, a quarter of them free
  size_t count_ = 0;
};

#endif
