#include "preview/encodings.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>

namespace {

// The length of the character that `text` starts with; 0 when it starts with none.
size_t character_length(std::string_view text) {
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::StringBuffer unused;
  return rapidjson::UTF8<>::Validate(stream, unused) ? stream.Tell() : 0;
}

}  // namespace

std::string in_base64(std::string_view text) {
  static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (size_t at = 0; at < text.size(); at += 3) {
    size_t count = std::min<size_t>(3, text.size() - at);
    unsigned bits = 0;
    for (size_t i = 0; i < 3; i++) bits = bits << 8 | (i < count ? static_cast<unsigned char>(text[at + i]) : 0U);
    for (size_t i = 0; i < 4; i++) result += i <= count ? digits[bits >> (18 - 6 * i) & 63] : '=';
  }
  return result;
}

bool is_utf8(std::string_view text) {
  return repaired_utf8(text) == text;
}

std::string repaired_utf8(std::string_view text) {
  std::string repaired;
  while (!text.empty()) {
    size_t length = static_cast<unsigned char>(text[0]) < 0x80 ? 1 : character_length(text);
    repaired += length > 0 ? text.substr(0, length) : "?";
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return repaired;
}

std::string with_replaced(std::string_view text, std::string_view from, std::string_view to) {
  std::string result;
  size_t done = 0;
  for (size_t found; (found = text.find(from, done)) != std::string_view::npos; done = found + from.size()) {
    result.append(text, done, found - done).append(to);
  }
  return result.append(text, done);
}
