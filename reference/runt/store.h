// The store behind platform/runt.h: its place and its keys.
//
// It is one LMDB database. A key is stored with a zero byte in place of each dot. No other byte sorts before it, so a
// key and all below it lie next to each other, and one step of the search tree leads past them.
#ifndef TESSERA_REFERENCE_RUNT_STORE_H
#define TESSERA_REFERENCE_RUNT_STORE_H

#include <cstddef>

// Lives in memory on a router and is empty after each boot.
inline constexpr char runt_directory[] = "/var/run/runt";

inline constexpr size_t runt_key_limit = 500;

// A key in its stored form.
struct StoredKey {
  size_t length;                   // 0 for the place above all keys
  char bytes[runt_key_limit + 2];  // with room for a byte behind the key to seek past it
};

// False for a key that no value can have: null, empty, too long, or with an empty component.
bool runt_encode_key(const char *key, StoredKey *encoded);

// The meaning of a non-zero result of runt_init and of the changes, in words.
const char *runt_error_text(int error);

#endif
