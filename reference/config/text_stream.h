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

#include "config/blocks.h"

// The bytes of a block that mean something to the parser within a string.
inline unsigned special_bytes(Block block) {
  return set_bytes((block == '"') | (block == '\\') | (block < 0x20));
}

// The first byte from `at` on that means something to the parser within a string; a zero byte at the latest.
inline char *plain_end(char *at) {
  for (;; at += block_size) {
    unsigned special = special_bytes(block_at(at));
    if (special != 0) return at + std::countr_zero(special);
  }
}

// What is read next, and where what the parser makes of it is written.
struct Places {
  char *source;
  char *target;
};

// Takes plain bytes over. In a string with escapes, whose target lies behind, only whole blocks: the parser gets the
// loose ends.
[[gnu::noinline]] inline Places take_plain(Places at) {
  if (at.source == at.target) {
    char *end = plain_end(at.source);
    return {end, end};
  }
  for (;; at.source += block_size, at.target += block_size) {
    Block block = block_at(at.source);
    if (special_bytes(block) != 0) return at;
    memcpy(at.target, &block, sizeof block);
  }
}

// The first byte from `at` on that is no blank.
[[gnu::noinline]] inline char *blanks_end(char *at) {
  while (static_cast<unsigned char>(*at) <= ' ') {
    if (*at != ' ' && *at != '\n' && *at != '\r' && *at != '\t') break;
    if (*at++ != '\n') continue;
    unsigned others = 0;
    while ((others = set_bytes(block_at(at) != ' ')) == 0) at += block_size;
    at += std::countr_zero(others);
  }
  return at;
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

  // Also goes to the end of the plain bytes that a string starts with.
  char *PutBegin() {
    char *begin = source;
    source = target = plain_end(source);
    return begin;
  }
  size_t PutEnd(const char *begin) const { return static_cast<size_t>(target - begin); }

  // Besides the character also takes over plain ones that follow it. (A zero byte ends the string.)
  void Put(char character) {
    *target++ = character;
    if (character == '\0') return;
    Places places = take_plain({source, target});
    source = places.source;
    target = places.target;
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

// Mostly there is one blank or none, or a new line.
template <>
inline void SkipWhitespace(TextStream &stream) {
  if (*stream.source == ' ') stream.source++;
  if (static_cast<unsigned char>(*stream.source) <= ' ') stream.source = blanks_end(stream.source);
}

}  // namespace rapidjson

#endif
