// The document's text as RapidJSON reads it, with what the parser makes of it written in its place.
//
// A document is mostly texts without escapes and blanks between them. The parser goes through both one character at a
// time; this stream takes the plain stretches in blocks.
#ifndef TESSERA_REFERENCE_CONFIG_TEXT_STREAM_H
#define TESSERA_REFERENCE_CONFIG_TEXT_STREAM_H

#include <rapidjson/reader.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>

// As many bytes may be read behind the end of a text.
inline constexpr size_t block_size = 16;

using Block = unsigned char __attribute__((vector_size(block_size)));

inline Block block_at(const char *text) {
  Block block;
  memcpy(&block, text, sizeof block);
  return block;
}

// How many bytes stand before the first one that is set in a mask of 0x00 and 0xFF bytes.
inline size_t bytes_before_set(const void *mask) {
  uint64_t words[2];
  memcpy(words, mask, sizeof words);
  bool first = words[0] != 0;
  uint64_t word = first ? words[0] : words[1];
  if (word == 0) return block_size;
  int bits = std::endian::native == std::endian::little ? std::countr_zero(word) : std::countl_zero(word);
  return (first ? 0 : sizeof word) + static_cast<size_t>(bits) / 8;
}

// How many of the bytes at `text`, up to a block, mean nothing to the parser within a string.
inline size_t plain_bytes(Block block) {
  auto special = (block == '"') | (block == '\\') | (block < 0x20);
  return bytes_before_set(&special);
}

struct TextStream {
  using Ch = char;

  char *source;
  char *target = nullptr;
  char *const start;

  explicit TextStream(char *text) : source(text), start(text) {}
  TextStream(const TextStream &) = default;
  // The parser works on a copy and puts it back: the two have the same start.
  TextStream &operator=(const TextStream &copy) {
    if (this == &copy) return *this;
    source = copy.source;
    target = copy.target;
    return *this;
  }

  char Peek() const { return *source; }
  char Take() { return *source++; }
  size_t Tell() const { return static_cast<size_t>(source - start); }

  char *PutBegin() { return target = source; }
  size_t PutEnd(const char *begin) const { return static_cast<size_t>(target - begin); }

  // Besides the character also takes over the plain ones that follow it. (A zero byte ends the string.)
  void Put(char character) {
    *target++ = character;
    if (character == '\0') return;
    for (size_t taken = block_size; taken == block_size;) {
      Block block = block_at(source);
      taken = plain_bytes(block);
      if (target != source) {
        if (taken < block_size) return;  // a string with escapes: leave its loose ends to the parser
        memcpy(target, &block, sizeof block);
      }
      source += taken;
      target += taken;
    }
  }
};

// The encoding of a TextStream. The bytes of a character that was written by its number follow one another: none of
// them goes through Put. (Inlined, because a stream whose address is taken lives in memory and not in registers.)
struct TextEncoding : rapidjson::UTF8<> {
  using rapidjson::UTF8<>::Encode;
  [[gnu::always_inline]] static void Encode(TextStream &out, unsigned code) {
    auto put = [&out](unsigned byte) { *out.target++ = static_cast<char>(byte); };
    if (code < 0x80) {
      put(code);
      return;
    }
    if (code < 0x800) {
      put(0xC0 | code >> 6);
    } else {
      if (code < 0x10000) {
        put(0xE0 | code >> 12);
      } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
      }
      put(0x80 | (code >> 6 & 0x3F));
    }
    put(0x80 | (code & 0x3F));
  }
};

namespace rapidjson {

template <>
struct StreamTraits<TextStream> {
  enum { copyOptimization = 1 };
};

template <>
inline void SkipWhitespace(TextStream &stream) {
  char *at = stream.source;
  while (static_cast<unsigned char>(*at) <= ' ') {
    if (*at != ' ' && *at != '\n' && *at != '\r' && *at != '\t') break;
    if (*at++ != '\n') continue;
    for (size_t blanks = block_size; blanks == block_size; at += blanks) {
      auto others = block_at(at) != ' ';
      blanks = bytes_before_set(&others);
    }
  }
  stream.source = at;
}

}  // namespace rapidjson

#endif
