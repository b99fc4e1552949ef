#include "check/pem.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace {

constexpr std::string_view dashes = "-----";

// Appends the decoded bytes of a base64 string, which may hold line ends and spaces. False for any other string.
bool decode(std::string_view string, std::string &bytes) {
  static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  uint32_t collected = 0;
  unsigned count = 0;
  unsigned padding = 0;
  for (const char letter : string) {
    if (strchr(" \t\r\n", letter) != nullptr) continue;
    const char *digit = letter != '\0' ? strchr(digits, letter) : nullptr;
    if (letter == '=') padding++;
    if ((digit == nullptr || padding > 0) && letter != '=') return false;
    collected = collected << 6 | (digit != nullptr ? static_cast<uint32_t>(digit - digits) : 0);
    if (++count % 4 != 0) continue;
    for (const int shift : {16, 8, 0}) bytes += static_cast<char>(collected >> shift);
  }
  if (count % 4 != 0 || padding > 2 || bytes.size() < padding) return false;
  bytes.resize(bytes.size() - padding);
  return true;
}

// Removes one element from the front of `der`. False when the element, or one inside it, is incomplete.
bool take_element(std::string_view &der, unsigned depth) {
  constexpr unsigned deepest = 32;
  if (der.size() < 2 || depth > deepest) return false;
  const bool holds_others = (der[0] & 0x20) != 0;
  size_t length = static_cast<unsigned char>(der[1]);
  der.remove_prefix(2);
  if (length > 0x80) {
    const size_t bytes = length - 0x80;
    if (bytes > 4 || bytes > der.size()) return false;
    length = 0;
    for (size_t i = 0; i < bytes; i++) length = length << 8 | static_cast<unsigned char>(der[i]);
    der.remove_prefix(bytes);
  }
  if (length > der.size()) return false;
  std::string_view inner = der.substr(0, length);
  der.remove_prefix(length);
  while (holds_others && !inner.empty())
    if (!take_element(inner, depth + 1)) return false;
  return true;
}

// Removes the first line from `string` and returns it without its end. Like OpenSSL, this cuts off control characters
// at the end of the line, and bytes outside of ASCII where char is signed.
std::string_view take_line(std::string_view &string) {
  std::string_view line = string.substr(0, string.find('\n'));
  string.remove_prefix(line.size() < string.size() ? line.size() + 1 : line.size());
  while (!line.empty() && line.back() <= ' ') line.remove_suffix(1);
  return line;
}

bool is_body(std::string_view body, bool encrypted) {
  std::string bytes;
  if (!decode(body, bytes) || bytes.empty()) return false;
  std::string_view der = bytes;
  return encrypted || (take_element(der, 0) && der.empty());
}

}  // namespace

bool is_pem(std::string_view string, std::string_view label, bool more_may_follow) {
  std::string name;
  std::string body;
  while (!string.empty()) {
    const std::string_view line = take_line(string);
    const std::string end = std::string(dashes).append("END ").append(name).append(dashes);
    if (!name.empty() && (more_may_follow ? line.starts_with(end) : line == end)) {
      const bool encrypted = name.find("ENCRYPTED") != std::string::npos || body.find(':') != std::string::npos;
      // An empty line ends the headers.
      const size_t headers = body.find(':') != std::string::npos ? body.find("\n\n") : std::string::npos;
      return is_body(headers != std::string::npos ? std::string_view(body).substr(headers) : body, encrypted);
    }
    if (!name.empty()) body.append(line).append("\n");
    if (line.starts_with("-----BEGIN ") && line.ends_with(std::string(label).append(dashes))) {
      name = line.substr(11, line.size() - 11 - dashes.size());
      body.clear();
    }
  }
  return false;
}
