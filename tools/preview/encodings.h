// Encodings of texts.
#ifndef TESSERA_PREVIEW_ENCODINGS_H
#define TESSERA_PREVIEW_ENCODINGS_H

#include <string>
#include <string_view>

// Base64 without line breaks.
std::string in_base64(std::string_view text);

bool is_utf8(std::string_view text);

// The text with "?" for every byte that is not part of UTF-8.
std::string repaired_utf8(std::string_view text);

// The text with `to` in place of each `from`.
std::string with_replaced(std::string_view text, std::string_view from, std::string_view to);

#endif
