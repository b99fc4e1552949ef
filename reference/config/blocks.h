// Texts in blocks of bytes that the compiler puts into vectors, on any processor.
#ifndef TESSERA_REFERENCE_CONFIG_BLOCKS_H
#define TESSERA_REFERENCE_CONFIG_BLOCKS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>

inline constexpr size_t block_size = 16;

using Block = unsigned char __attribute__((vector_size(block_size)));

inline Block block_at(const char *text) {
  Block block;
  memcpy(&block, text, sizeof block);
  return block;
}

// Of a mask of 0x00 and 0xFF bytes: one bit for each that is set, the lowest for the first.
template <typename Mask>
inline unsigned set_bytes(Mask mask) {
#ifdef __SSE2__
  using Bytes = char __attribute__((vector_size(block_size)));
  return static_cast<unsigned>(__builtin_ia32_pmovmskb128(Bytes(mask)));
#else
  uint64_t words[2];
  memcpy(words, &mask, sizeof words);
  auto bits = [](uint64_t word) {
    if (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    // Keeps of the n-th byte its n-th bit, and adds up all bytes in the highest one.
    return static_cast<unsigned>((word & 0x8040201008040201) * 0x0101010101010101 >> 56);
  };
  return bits(words[0]) | bits(words[1]) << 8;
#endif
}

// Whether two texts of that length are the same. Both have to go on with block_size bytes that may be read.
inline bool same_blocks(const char *one, const char *other, size_t length) {
  for (size_t at = 0; at < length; at += block_size) {
    unsigned different = set_bytes(block_at(one + at) != block_at(other + at));
    if (different != 0) return at + static_cast<unsigned>(std::countr_zero(different)) >= length;
  }
  return true;
}

#endif
