// Texts that may be missing: null reads as "" everywhere.
#ifndef TESSERA_MAIN_TEXT_H
#define TESSERA_MAIN_TEXT_H

#include <cstring>
#include <string>
#include <string_view>

#include "main/owned.h"
#include "platform/config.h"

// True when the text is that word.
inline bool equals(const char *text, const char *word) {
  return strcmp(or_empty(text), word) == 0;
}

// The text at a path, "" in place of null.
inline const char *text_at(const ConfigNode *node, const char *path) {
  return or_empty(config_get_string(node, path));
}

// A copy of what stands before the first such character, or of the whole text without one.
inline std::string text_before(const char *text, char character) {
  std::string_view whole = or_empty(text);
  return std::string(whole.substr(0, whole.find(character)));
}

#endif
